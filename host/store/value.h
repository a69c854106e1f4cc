// Dynamically typed values, as rows bring them, and the one order that dictionaries and predicates share.
//
// Order: NULL, then numbers by exact numerical value whatever their type, then texts and then blobs by bytes. 1 and 1.0
// are two values of one rank, and so are 0.0 and -0.0: a column gives back exactly what was put in, while a comparison
// sees them as equal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qvk {

enum class Type : uint8_t { null, integer, real, text, blob };

struct ValueView {
    Type type = Type::null;
    int64_t integer = 0;
    double real = 0;
    std::string_view bytes;  // text and blob
};

struct Value {
    Type type = Type::null;
    int64_t integer = 0;
    double real = 0;
    std::string bytes;

    Value() = default;
    explicit Value(const ValueView &view)
        : type(view.type), integer(view.integer), real(view.real), bytes(view.bytes) {}
    ValueView view() const { return {type, integer, real, bytes}; }
};

inline bool is_number(const ValueView &value) { return value.type == Type::integer || value.type == Type::real; }

inline bool has_bytes(const ValueView &value) { return value.type == Type::text || value.type == Type::blob; }

// Negative, zero or positive. NaN never occurs: the sources turn it into NULL.
int compare(const ValueView &a, const ValueView &b);

// Two values have the same identity if they agree in type and in every bit.
void write_identity(const ValueView &value, std::string &identity);

// What the value takes in a row of an SQLite file: its type code and its bytes. The yardstick of qvk_stats.
uint64_t record_bytes(const ValueView &value);

}  // namespace qvk
