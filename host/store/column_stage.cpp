// Taking in a column's rows.
#include "column_stage.h"

namespace qvk {
namespace {

// Fewer distinct values wait for the last row. More would take much memory for a dictionary that may never pay, so the
// rows so far decide.
constexpr size_t kPatientDistinct = 1u << 20;

}  // namespace

void ColumnStage::add(const ValueView &value) {
    source_bytes += record_bytes(value);
    plain_bytes += PlainValues::bytes_of(value);
    if (is_coded) {
        add_coded(value);
    } else {
        plain.add(value);
    }
}

void ColumnStage::add_coded(const ValueView &value) {
    write_identity(value, identity);
    const auto [known, is_new] = code_of_identity.try_emplace(identity, static_cast<uint32_t>(distinct.size()));
    runs += codes.empty() || codes.back() != known->second;
    codes.push_back(known->second);
    if (!is_new) {
        return;
    }
    distinct.emplace_back(value);
    ++distinct_count;
    distinct_bytes += sizeof(Value) + value.bytes.size();
    const bool has_to_stay = wanted && has_dictionary(*wanted);
    if (distinct.size() > kPatientDistinct && !has_to_stay && !dictionary_pays(*this)) {
        go_plain();
    }
}

void ColumnStage::go_plain() {
    is_coded = false;
    for (const uint32_t code : codes) {
        plain.add(distinct[code].view());
    }
    distinct = {};
    codes = {};
    code_of_identity = {};
}

}  // namespace qvk
