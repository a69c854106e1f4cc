// byte_row_test.cpp: every predicate kernel over fixed and dynp rows, with and without the lengths that tell trailing
// zeros apart, both its bodies, at every stored length, against the reference.
#include <gtest/gtest.h>

#include <algorithm>

#include "reference/byte_rows.h"
#include "support/predicate_call.h"

namespace {

using reference::ByteRows;
using reference::LaneAndField;
using support::GuardedMemory;
using KeyPair = reference::KeyPair<LaneAndField>;

class ByteRowTest : public testing::TestWithParam<ByteRows> {
  protected:
    std::string any_row() {
        std::string row(1 + random_.below(longest_), 0);
        for (char &byte : row)
            byte = static_cast<char>(random_.word());
        return row;
    }

    // A prefix of a row, its last byte a little off, zeros behind it or something else, so that ties are common.
    std::string row_near(std::string row) {
        switch (random_.below(7)) {
        case 0:
            return row.substr(0, 1 + random_.below(row.size()));
        case 1:
            row.back() = static_cast<char>(row.back() + 1 - static_cast<int>(random_.below(3)));
            return row;
        case 2:
            return row.append(random_.below(longest_ + 1 - row.size()), 0);
        case 3:
            return std::string(1 + random_.below(longest_), random_.below(2) == 0 ? '\0' : '\xFF');
        case 4:
            return any_row();
        default:
            return row;
        }
    }

    LaneAndField value_of(const std::string &row) const {
        return {columns_.lane(row), columns_.compares_lengths() ? row.size() - 1 : 0};
    }

    void lay_rows(const std::vector<std::string> &rows, size_t shift) {
        std::vector<size_t> fields;
        values_.clear();
        for (const std::string &row : rows) {
            fields.push_back(row.size() - 1);
            values_.push_back(value_of(row));
        }
        lay_bytes(columns_.payload(rows), fields, shift);
    }

    // What may be read ends shift bytes before an unreadable page.
    void lay_bytes(const std::vector<uint8_t> &bytes, const std::vector<size_t> &fields, size_t shift) {
        call_.src.data = payload_.ending_with(bytes.data(), bytes.size(), columns_.payload_slack() + shift);
        call_.dst.row_count = call_.src.row_count = static_cast<uint32_t>(fields.size());
        const std::vector<uint8_t> lens = columns_.lens(fields);
        if (columns_.is_dynp() || columns_.compares_lengths())
            call_.src.lens = lens_.ending_with(lens.data(), lens.size(), columns_.lens_slack() + shift);
    }

    void lay_keys(const KeyPair &keys) {
        keys_ = keys;
        const auto lay = [this](kdzk_pred &pred, GuardedMemory &memory, GuardedMemory &field_memory,
                                const LaneAndField &key) {
            const auto field = static_cast<uint8_t>(key.second);
            pred.data = memory.ending_with(key.first.data(), key.first.size());
            if (columns_.compares_lengths())
                pred.lens = field_memory.ending_with(&field, 1);
        };
        lay(call_.lower, lower_, lower_field_, keys.lower);
        lay(call_.upper, upper_, upper_field_, keys.upper);
    }

    // Puts the stored width where the body looks for it, and nothing anywhere else.
    void lay_width(bool selective) {
        const bool in_source = columns_.compares_lengths() && !selective;
        const bool is_read = !columns_.is_dynp() && columns_.lane_bytes() > 2;
        key_encoding_.width = static_cast<uint8_t>(8 * columns_.stored_bytes);
        call_.encoding.width = is_read && in_source ? key_encoding_.width : 0xA5;
        call_.lower.enc_ctx =
            is_read && !in_source ? &key_encoding_ : static_cast<const kdzk_enc_ctx *>(support::unreadable());
        call_.upper.enc_ctx = static_cast<const kdzk_enc_ctx *>(support::unreadable());
    }

    // key_for(row, key): what a row is compared with in place of the key.
    template <class KeyFor>
    void check(size_t shift, bool selective, KeyFor key_for) {
        const reference::Masks masks = call_.lay_masks(values_.size(), shift, selective);
        lay_width(masks.selective);
        const auto expected = reference::masked_answer(values_.size(), masks, [&](size_t row) {
            return row < values_.size()
                   && compares(columns_.kernel, values_[row],
                               KeyPair{key_for(row, keys_.lower), key_for(row, keys_.upper)});
        });
        call_.expect(expected, shift);
    }
    void check(size_t shift, bool selective) {
        check(shift, selective, [](size_t, const LaneAndField &key) { return key; });
    }

    // A selective call that wants a few of the rows that it may want.
    void check_selected(const std::vector<bool> &may_want) {
        std::vector<uint64_t> wanted((may_want.size() + 63) / 64);
        for (size_t row = 0; row < may_want.size(); ++row)
            reference::put_bit(wanted.data(), row, may_want[row] && random_.below(8) == 0);
        call_.src.filter_bv = nullptr;
        call_.context.sel_bv = wanted.data();
        call_.context.selective = 1;
        lay_width(true);
        call_.expect(reference::masked_answer(values_.size(), {nullptr, wanted.data(), true},
                                              [&](size_t row) {
                                                  return row < values_.size()
                                                         && compares(columns_.kernel, values_[row], keys_);
                                              }),
                     0);
    }

    size_t block_rows() const {
        return (columns_.is_dynp() || columns_.compares_lengths() ? 64 : 128) / columns_.lane_bytes();
    }

    const ByteRows columns_ = GetParam();
    const size_t longest_ = columns_.stored_bytes;
    support::GuardedPredicateCall call_{columns_.kernel};
    support::Random &random_ = call_.random;
    GuardedMemory payload_{8 * 1000 + 64, random_}, lens_{1000 / 2 + 64, random_}, lower_{8, random_},
        upper_{8, random_}, lower_field_{1, random_}, upper_field_{1, random_};
    kdzk_enc_ctx key_encoding_{};
    std::vector<LaneAndField> values_;
    KeyPair keys_;
};

// Each with the columns that it concerns.
class ShortRowTest : public ByteRowTest {};
class FieldTest : public ByteRowTest {};
class InvalidLengthTest : public ByteRowTest {};

TEST_P(ByteRowTest, AnswersAtEveryRowCountOffsetKeyAndMask) {
    for (const uint64_t row_count : support::kRowCounts)
        for (size_t shift = 0; shift < 8; ++shift) {
            const std::string key = row_near(any_row()), other = row_near(key);
            std::vector<std::string> rows(row_count);
            for (std::string &row : rows)
                row = row_near(random_.below(2) == 0 ? key : other);
            lay_rows(rows, shift);
            lay_keys({value_of(key), value_of(other)});
            ASSERT_NO_FATAL_FAILURE(check(shift, random_.below(2) == 0))
                << call_.scene() << ", shift " << shift << ", keys " << testing::PrintToString(keys_.lower) << " "
                << testing::PrintToString(keys_.upper);
        }
}

// Bounds that are the same, next to each other, a little apart or crossed, at either end of the order and in its
// middle.
TEST_P(ByteRowTest, AnswersForBoundsNextToEachOther) {
    std::vector<std::string> rows;
    for (size_t length = 1; length <= longest_; ++length)
        for (const char first : {'\0', '\x7F', '\xFF'})
            for (const char last : {'\0', '\1', '\2', '\x7F', '\x80', '\xFE', '\xFF'})
                rows.push_back(std::string(length - 1, first) + last);
    const auto before = [this](const std::string &a, const std::string &b) { return value_of(a) < value_of(b); };
    std::sort(rows.begin(), rows.end(), before);
    lay_rows(rows, 0);
    for (size_t lower = 0; lower < rows.size(); ++lower)
        for (size_t upper = std::max<size_t>(lower, 1) - 1; upper < std::min(lower + 5, rows.size()); ++upper) {
            lay_keys({values_[lower], values_[upper]});
            ASSERT_NO_FATAL_FAILURE(check(0, false)) << call_.scene() << ", keys " << lower << " " << upper;
        }
}

// Kept on purpose, though a fault of the host: where bytes follow the stored ones in a key, whole blocks and selected
// rows compare them, while rows behind the last block take them for zeros, but in equalities at 32 bits.
TEST_P(ShortRowTest, ComparesWhatFollowsAKeyByThePathOfTheRow) {
    const std::string start(longest_, '\x42');
    const bool is_equality = columns_.kernel.operation == KDZK_OP_EQ || columns_.kernel.operation == KDZK_OP_NE;
    const bool clears = !(is_equality && columns_.kernel.width_bits == 32);
    const std::string odd_ends[] = {std::string(1, '\1'), std::string(1, '\xFF'), std::string(1, '\0')};
    for (const std::string &lower_end : odd_ends)
        for (const std::string &upper_end : odd_ends)
            for (const bool selective : {false, true}) {
                std::vector<std::string> rows(2 * block_rows() + block_rows() - 1);
                for (std::string &row : rows)
                    row = row_near(start);
                lay_rows(rows, 0);
                lay_keys({{columns_.lane(start + lower_end), columns_.compares_lengths() ? 1 : 0},
                          {columns_.lane(start + upper_end), columns_.compares_lengths() ? 2 : 0}});
                check(0, selective, [&](size_t row, LaneAndField key) {
                    const bool in_tail = row >= 2 * block_rows() && !call_.is_selective();
                    if (in_tail && clears)
                        key.first = columns_.lane(key.first.substr(0, longest_));
                    return key;
                });
            }
}

// Rows that are tested one by one compare a key's field as a whole byte.
TEST_P(FieldTest, ComparesKeyFieldsBeyondTheirRangeWhole) {
    for (const size_t lower : {columns_.lane_bytes(), size_t{16}, size_t{255}})
        for (const size_t upper : {lower, size_t{0}})
            for (const bool selective : {false, true}) {
                const std::string key = any_row();
                std::vector<std::string> rows(selective ? 100 : block_rows() - 1);
                for (std::string &row : rows)
                    row = row_near(key);
                lay_rows(rows, 0);
                lay_keys({{columns_.lane(key), lower}, {columns_.lane(key), upper}});
                check(0, selective);
            }
}

// Required though such lengths are invalid: in whole blocks, a group with one takes sixteen bytes, and its rows are
// zeros with the fields that stand there; on the way to a selected row it takes sixteen bytes too.
TEST_P(InvalidLengthTest, PassesOverGroups) {
    std::vector<uint8_t> bytes;
    std::vector<size_t> fields;
    std::vector<bool> is_valid;
    values_.clear();
    for (size_t group = 0; group < 9 * block_rows() / 2; ++group) {
        const std::string pair[] = {any_row(), any_row()};
        const size_t invalid = random_.below(4);  // bit r: row r's field is
        for (size_t row = 0; row < 2; ++row) {
            fields.push_back((invalid >> row & 1) != 0 ? 8 + random_.below(8) : pair[row].size() - 1);
            is_valid.push_back(invalid == 0);
            values_.push_back(
                {columns_.lane(invalid != 0 ? "" : pair[row]), columns_.compares_lengths() ? fields.back() : 0});
        }
        const std::vector<uint8_t> stored = columns_.payload({pair[0], pair[1]});
        bytes.insert(bytes.end(), stored.begin(), stored.end());
        if (invalid != 0)
            bytes.resize(bytes.size() + 16 - stored.size(), 0xEE);
    }
    lay_bytes(bytes, fields, 0);
    for (const LaneAndField &key : values_) {
        lay_keys({key, values_[random_.below(values_.size())]});
        check(0, false);
        check_selected(is_valid);
    }
}

std::vector<ByteRows> all_columns() {
    std::vector<ByteRows> columns;
    for (const reference::Kernel &kernel : support::live_predicates()) {
        const size_t lane_bytes = kernel.width_bits / 8;
        if (kernel.kernel_class == KDZK_CLASS_FIXED)
            for (size_t stored = lane_bytes / 2 + 1; stored <= lane_bytes; ++stored)
                columns.push_back({kernel, stored});
        if (kernel.kernel_class == KDZK_CLASS_DYNP)
            columns.push_back({kernel, lane_bytes});
    }
    return columns;
}

std::string column_name(const testing::TestParamInfo<ByteRows> &info) {
    return name_of(info.param.kernel) + "_" + std::to_string(info.param.stored_bytes) + "_bytes";
}

template <class Concerns>
std::vector<ByteRows> columns_where(Concerns concerns) {
    std::vector<ByteRows> columns = all_columns();
    std::erase_if(columns, [&](const ByteRows &column) { return !concerns(column); });
    return columns;
}
bool has_short_rows(const ByteRows &column) { return column.stored_bytes < column.lane_bytes(); }
bool compares_lengths(const ByteRows &column) { return column.compares_lengths(); }
bool has_invalid_fields(const ByteRows &column) { return column.is_dynp() && column.kernel.width_bits == 64; }

INSTANTIATE_TEST_SUITE_P(, ByteRowTest, testing::ValuesIn(all_columns()), column_name);
INSTANTIATE_TEST_SUITE_P(, ShortRowTest, testing::ValuesIn(columns_where(has_short_rows)), column_name);
INSTANTIATE_TEST_SUITE_P(, FieldTest, testing::ValuesIn(columns_where(compares_lengths)), column_name);
INSTANTIATE_TEST_SUITE_P(, InvalidLengthTest, testing::ValuesIn(columns_where(has_invalid_fields)), column_name);

}  // namespace
