// What a column's encoding has to answer. One file for each encoding; choose_encoding.cpp picks.
//
// A new encoding says what it is called and how large it is, turns a predicate into kernel calls, hands out its
// segments as the library's vectors, and gives a row's value back. Nothing outside its file knows more of it.
#pragma once

#include "column_stage.h"
#include "dictionary.h"
#include "host_services.h"
#include "kernel_library.h"
#include "predicate.h"

#include <memory>
#include <span>

namespace qvk {

// One kernel call, the same for every segment. Keys are laid out as the kernel reads them.
struct KernelCall {
    uint32_t operation = KDZK_OP_EQ;
    uint32_t form = KDZK_FORM_PLAIN;
    uint64_t lower_key = 0;  // the only key of an operation with one
    uint64_t upper_key = 0;
};

// A predicate as one encoding answers it: a row passes if any of the calls hits.
struct ColumnScan {
    enum class Rows : uint8_t { none, all, tested } rows = Rows::tested;
    std::vector<KernelCall> any_of;
    uint64_t hits = 0;  // if tested: the rows of the whole column that pass
};

// What the segments of a column take, in bytes.
struct PayloadBytes {
    uint64_t packed = 0;   // before compression
    uint64_t stored = 0;   // as they are kept
    uint64_t decoded = 0;  // besides, decoded at the moment
};

struct Encoding {
    virtual ~Encoding() = default;
    virtual std::string_view name() const = 0;
    virtual uint32_t width_bits() const = 0;  // of one code; 0 if rows aren't of one width
    virtual uint64_t bytes() const = 0;       // of all that is stored
    virtual ValueView value(size_t segment, uint32_t row, HostServices &services) const = 0;

    // Null: no kernel serves this encoding yet, and the column is left to the caller.
    virtual const KernelFamily *kernels() const { return nullptr; }
    virtual const Dictionary *dictionary() const { return nullptr; }
    virtual ColumnScan scan_for(const Predicate &) const { return {ColumnScan::Rows::all, {}}; }
    // The calls for a predicate of this shape whose values aren't known yet, taken to be inside the column's range.
    virtual ColumnScan typical_scan(const Predicate &) const { return {ColumnScan::Rows::all, {}}; }
    // What kernels look at; none without kernels.
    virtual std::span<const std::unique_ptr<Segment>> segments() const { return {}; }
};

PayloadBytes payload_bytes(const Encoding &encoding);

// The one place where a column's encoding is chosen.
std::unique_ptr<Encoding> choose_encoding(ColumnStage &&stage, uint32_t segment_rows);

// For choose_encoding: one maker for each encoding.
std::unique_ptr<Encoding> make_dict_encoding(ColumnStage &&stage, uint32_t segment_rows);
std::unique_ptr<Encoding> make_plain_encoding(ColumnStage &&stage, uint32_t segment_rows);

}  // namespace qvk
