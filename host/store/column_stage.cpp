// Taking in a column's rows.
#include "column_stage.h"

namespace qvk {

void ColumnStage::add(const ValueView &value) {
    source_bytes += record_bytes(value);
    if (few_distinct) {
        add_coded(value);
    } else {
        plain.add(value);
    }
}

void ColumnStage::add_coded(const ValueView &value) {
    write_identity(value, identity);
    const auto known = code_of_identity.find(identity);
    if (known != code_of_identity.end()) {
        codes.push_back(known->second);
    } else if (distinct.size() < kMaxDictionaryValues) {
        codes.push_back(static_cast<uint32_t>(distinct.size()));
        code_of_identity.emplace(identity, codes.back());
        distinct.emplace_back(value);
    } else {
        go_plain();
        plain.add(value);
    }
}

void ColumnStage::go_plain() {
    few_distinct = false;
    for (const uint32_t code : codes) {
        plain.add(distinct[code].view());
    }
    distinct = {};
    codes = {};
    code_of_identity = {};
}

}  // namespace qvk
