// Values to rows of bytes and back.
#include "lane_values.h"

#include <bit>
#include <cmath>

namespace qvk {
namespace {

constexpr uint64_t kTopBit = uint64_t{1} << 63;

uint32_t bytes_before_zeros(uint64_t word) {
    return word == 0 ? 0 : 8 - static_cast<uint32_t>(std::countr_zero(word)) / 8;
}

uint32_t bits_to_bytes_end(uint32_t bytes) { return 64 - 8 * bytes; }

// Positive reals order as their bits. Of negative ones the magnitude counts down, which leaves zeros at its end where
// they are; only if -0.0 needs a place between, they all move down by one.
uint64_t word_of_real(double value, bool has_negative_zero) {
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    return bits < kTopBit ? kTopBit + bits : kTopBit - (bits - kTopBit) - has_negative_zero;
}

double real_of_word(uint64_t word, bool has_negative_zero) {
    const uint64_t bits = word >= kTopBit ? word - kTopBit : kTopBit + (kTopBit - has_negative_zero - word);
    return std::bit_cast<double>(bits);
}

uint64_t word_of_bytes(std::string_view bytes) {
    uint64_t word = 0;
    bytes.copy(reinterpret_cast<char *>(&word), sizeof word);
    return __builtin_bswap64(word);
}

// What the values of a column have in common.
struct Extent {
    Type type = Type::null;
    bool mixed = false;
    int64_t smallest = INT64_MAX, largest = INT64_MIN;
    uint64_t real_words = 0;  // ORed
    bool has_negative_zero = false;
    size_t shortest = SIZE_MAX, longest = 0;
    bool ends_in_zero = false;

    void add(const ValueView &value);
    uint32_t row_bytes() const;
    const char *obstacle() const;

  private:
    void add_real(double value);
    void add_bytes(std::string_view bytes);
};

void Extent::add(const ValueView &value) {
    if (value.type == Type::null) {
        return;
    }
    mixed = mixed || (type != Type::null && type != value.type);
    type = value.type;
    if (type == Type::integer) {
        smallest = std::min(smallest, value.integer);
        largest = std::max(largest, value.integer);
    } else if (type == Type::real) {
        add_real(value.real);
    } else {
        add_bytes(value.bytes);
    }
}

void Extent::add_real(double value) {
    real_words |= word_of_real(value, false);
    has_negative_zero = has_negative_zero || (value == 0 && std::signbit(value));
}

void Extent::add_bytes(std::string_view bytes) {
    shortest = std::min(shortest, bytes.size());
    longest = std::max(longest, bytes.size());
    ends_in_zero = ends_in_zero || (!bytes.empty() && bytes.back() == '\0');
}

uint32_t Extent::row_bytes() const {
    if (type == Type::integer) {
        const uint64_t distance = static_cast<uint64_t>(largest) - static_cast<uint64_t>(smallest);
        return std::max(1u, static_cast<uint32_t>(std::bit_width(distance) + 7) / 8);
    }
    if (type == Type::real) {
        return has_negative_zero ? 8 : std::max(1u, bytes_before_zeros(real_words));
    }
    return std::max(1u, static_cast<uint32_t>(longest));
}

const char *Extent::obstacle() const {
    if (mixed) {
        return "values of several types";
    }
    if (longest > 8) {
        return "values of more than 8 bytes";
    }
    // A length is at least 1, so an empty value would pass for a zero byte.
    return ends_in_zero && shortest == 0 ? "empty values besides some that end in a zero byte" : nullptr;
}

}  // namespace

LaneRow LaneValues::row_of(const ValueView &value) const {
    uint64_t word = 0;
    if (type == Type::integer) {
        word = (static_cast<uint64_t>(value.integer) - static_cast<uint64_t>(smallest)) << bits_to_bytes_end(row_bytes);
    } else if (type == Type::real) {
        word = word_of_real(value.real, has_negative_zero);
    } else {
        word = word_of_bytes(value.bytes);
    }
    const uint32_t bytes = keeps_zeros ? static_cast<uint32_t>(value.bytes.size()) : bytes_before_zeros(word);
    return {word, std::max(1u, bytes)};
}

ValueView LaneValues::value_of(const LaneRow &row, const uint8_t *bytes) const {
    ValueView value;
    value.type = type;
    if (type == Type::integer) {
        const uint64_t distance = row.word >> bits_to_bytes_end(row_bytes);
        value.integer = static_cast<int64_t>(static_cast<uint64_t>(smallest) + distance);
    } else if (type == Type::real) {
        value.real = real_of_word(row.word, has_negative_zero);
    } else if (type != Type::null) {
        const uint32_t size = std::max(keeps_zeros ? row.bytes : 0, bytes_before_zeros(row.word));
        value.bytes = {reinterpret_cast<const char *>(bytes), size};
    }
    return value;
}

LaneStudy study_lanes(const ColumnStage &stage) {
    Extent extent;
    for (size_t row = 0; row < stage.rows(); ++row) {
        extent.add(stage.at(row));
    }
    LaneStudy study;
    study.obstacle = extent.obstacle();
    if (study.obstacle) {
        return study;
    }
    study.values = {extent.type, extent.row_bytes(), extent.smallest, extent.has_negative_zero, extent.ends_in_zero};
    for (size_t row = 0; row < stage.rows(); ++row) {
        const ValueView value = stage.at(row);
        study.value_bytes += value.type == Type::null ? 1 : study.values.row_of(value).bytes;
    }
    return study;
}

}  // namespace qvk
