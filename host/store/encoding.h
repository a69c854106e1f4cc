// What a column's encoding has to answer. One file for each encoding; choose_encoding.cpp picks.
//
// A new encoding says what it is called and how large it is, turns a predicate into kernel calls, hands out its
// segments as the library's vectors, and gives a row's value back. Nothing outside its file knows more of it.
#pragma once

#include "column_stage.h"
#include "dictionary.h"
#include "host_services.h"
#include "kernel_library.h"
#include "lane_values.h"
#include "predicate.h"
#include "value_set.h"

#include <memory>
#include <span>

namespace qvk {

// One kernel call, the same for every segment. Keys are laid out as the kernel reads them.
struct KernelCall {
    uint32_t operation = KDZK_OP_EQ;
    uint32_t form = KDZK_FORM_PLAIN;
    uint64_t lower_key = 0;  // the only key of an operation with one
    uint64_t upper_key = 0;
    uint8_t lower_field = 0, upper_field = 0;  // the length fields of keys, for forms with lengths
    std::vector<uint64_t> set{};               // by code, instead of keys
};

// A predicate as one encoding answers it. If tested, a row passes if any of the calls hits; if probed, if its value is
// among those that are wanted. The segments tell themselves which rows are NULL.
struct ColumnScan {
    enum class Rows : uint8_t { none, all, nulls, not_nulls, tested, probed } rows = Rows::tested;
    std::vector<KernelCall> any_of;
    uint64_t hits = 0;  // of some but not all: about how many rows of the whole column pass, fewer than it has
    std::unique_ptr<const ValueSet> wanted{};
};

struct ValueCounts {
    uint64_t rows = 0, nulls = 0;
    uint64_t distinct = 0;  // as far as they were counted
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
    virtual uint32_t width_bits() const = 0;  // of one row, the longest if they differ; 0 without kernels
    virtual uint64_t bytes() const = 0;       // of all that is stored
    virtual ValueView value(size_t segment, uint32_t row, HostServices &services) const = 0;

    // Whether the bytes that value points at stay in place as long as the table; else until the next value is asked
    // for.
    virtual bool keeps_bytes_in_place() const { return true; }
    virtual ValueCounts counts() const = 0;

    // Null: no kernel compares such rows, and all tests but lists of values are left to the caller.
    virtual const KernelFamily *kernels() const { return nullptr; }
    virtual const Dictionary *dictionary() const { return nullptr; }
    // Null: kernels give bits of rows. Else bits of runs, and this one makes bits of rows of them.
    virtual const Kernel *burst() const { return nullptr; }
    virtual ColumnScan scan_for(const Predicate &) const { return {ColumnScan::Rows::all, {}}; }
    // The calls for a predicate of this shape whose values aren't known yet, taken to be inside the column's range.
    virtual ColumnScan typical_scan(const Predicate &) const { return {ColumnScan::Rows::all, {}}; }
    // What kernels look at; none without kernels.
    virtual std::span<const std::unique_ptr<Segment>> segments() const { return {}; }
};

PayloadBytes payload_bytes(const Encoding &encoding);

// A test whether values of so many rows are among the predicate's. Of what it lets through nothing is known.
ColumnScan probe_for(const Predicate &predicate, uint64_t rows);

// A column doesn't fit into the encoding that was asked for.
struct CannotEncode : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The one place where a column's encoding is chosen. The column's name is for CannotEncode.
std::unique_ptr<Encoding> choose_encoding(ColumnStage &&stage, const std::string &column, uint32_t segment_rows);

// For choose_encoding: one maker for each encoding.
std::unique_ptr<Encoding> make_dict_encoding(ColumnStage &&stage, uint32_t segment_rows);
std::unique_ptr<Encoding> make_rle_encoding(ColumnStage &&stage, uint32_t segment_rows);
std::unique_ptr<Encoding> make_fixed_encoding(ColumnStage &&stage, const LaneValues &values, uint32_t segment_rows);
std::unique_ptr<Encoding> make_dynp_encoding(ColumnStage &&stage, const LaneValues &values, uint32_t segment_rows);
std::unique_ptr<Encoding> make_plain_encoding(ColumnStage &&stage, uint32_t segment_rows);

}  // namespace qvk
