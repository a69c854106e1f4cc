// Plain: values as they came. No kernel compares them, so predicates on such a column are left to the caller; but a
// list of values is looked for among the hashes of its rows.
#include "encoding.h"

#include <bit>
#include <cstring>

namespace qvk {

void PlainValues::add(const ValueView &value) {
    types.push_back(value.type);
    if (value.type == Type::integer) {
        words.push_back(std::bit_cast<uint64_t>(value.integer));
    } else if (value.type == Type::real) {
        words.push_back(std::bit_cast<uint64_t>(value.real));
    } else {
        words.push_back(heap.size());
    }
    if (has_bytes(value)) {
        const uint32_t length = static_cast<uint32_t>(value.bytes.size());  // SQLite's limit is 2^31 - 1
        heap.append(reinterpret_cast<const char *>(&length), sizeof length);
        heap.append(value.bytes);
    }
}

uint64_t PlainValues::bytes_of(const ValueView &value) {
    const uint64_t in_heap = has_bytes(value) ? sizeof(uint32_t) + value.bytes.size() : 0;
    return sizeof(Type) + sizeof(uint64_t) + in_heap;
}

ValueView PlainValues::at(size_t row) const {
    ValueView value;
    value.type = types[row];
    if (value.type == Type::integer) {
        value.integer = std::bit_cast<int64_t>(words[row]);
    } else if (value.type == Type::real) {
        value.real = std::bit_cast<double>(words[row]);
    } else if (value.type != Type::null) {
        uint32_t length = 0;
        std::memcpy(&length, heap.data() + words[row], sizeof length);
        value.bytes = {heap.data() + words[row] + sizeof length, length};
    }
    return value;
}

namespace {

struct PlainEncoding final : Encoding {
    PlainValues values;
    size_t segment_rows;

    PlainEncoding(PlainValues &&taken, size_t rows) : values(std::move(taken)), segment_rows(rows) {}
    std::string_view name() const override { return name_of(EncodingKind::plain); }
    uint32_t width_bits() const override { return 0; }
    uint64_t bytes() const override { return values.bytes(); }
    ValueCounts counts() const override { return {.rows = values.types.size()}; }
    ValueView value(size_t segment, uint32_t row, HostServices &) const override {
        return values.at(segment * segment_rows + row);
    }
    ColumnScan scan_for(const Predicate &predicate) const override {
        return predicate.kind == Predicate::Kind::any_of ? probe_for(predicate, values.types.size())
                                                         : ColumnScan{ColumnScan::Rows::all, {}};
    }
    ColumnScan typical_scan(const Predicate &) const override { return {ColumnScan::Rows::probed, {}}; }
};

}  // namespace

std::unique_ptr<Encoding> make_plain_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    return std::make_unique<PlainEncoding>(std::move(stage.plain), segment_rows);
}

}  // namespace qvk
