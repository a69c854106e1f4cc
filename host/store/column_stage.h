// A column while its rows come in and its encoding is still open: provisional codes in order of first appearance as
// long as a dictionary may pay, plain values from then on.
#pragma once

#include "plain_values.h"

#include <array>
#include <optional>
#include <unordered_map>

namespace qvk {

enum class EncodingKind : uint8_t { dict, rle, fixed, dynp, plain };

// By EncodingKind.
inline constexpr std::array<std::string_view, 5> kEncodingNames = {"dict", "rle", "fixed", "dynp", "plain"};

constexpr std::string_view name_of(EncodingKind kind) { return kEncodingNames[static_cast<size_t>(kind)]; }

constexpr bool has_dictionary(EncodingKind kind) { return kind == EncodingKind::dict || kind == EncodingKind::rle; }

struct ColumnStage {
    std::optional<EncodingKind> wanted;  // without, choose_encoding decides
    bool is_coded = true;
    std::vector<Value> distinct;  // by provisional code, NULL among them; empty if not coded
    std::vector<uint32_t> codes;  // one a row; empty if not coded
    PlainValues plain;            // all rows, if not coded

    // What the values take: in the source, in a dictionary without its codes, as plain values.
    uint64_t source_bytes = 0, distinct_bytes = 0, plain_bytes = 0;
    uint64_t distinct_count = 0;  // as long as it was coded
    uint64_t runs = 0;            // of rows with one value, as long as it was coded

    void add(const ValueView &value);
    void go_plain();
    size_t rows() const { return is_coded ? codes.size() : plain.types.size(); }
    ValueView at(size_t row) const { return is_coded ? distinct[codes[row]].view() : plain.at(row); }

  private:
    std::unordered_map<std::string, uint32_t> code_of_identity;
    std::string identity;  // kept between rows for its memory

    void add_coded(const ValueView &value);
};

// Whether a dictionary is the better encoding of the rows so far. The rule is with choose_encoding.
bool dictionary_pays(const ColumnStage &stage);

}  // namespace qvk
