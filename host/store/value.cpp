// The order, identity and size of values.
#include "value.h"

#include <cmath>
#include <cstring>

namespace qvk {
namespace {

int sign(auto a, auto b) { return a < b ? -1 : a > b ? 1 : 0; }

// Exact where a conversion of the integer to double would round. Both casts back are in range.
int compare_integer_real(int64_t integer, double real) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (real >= kTwoTo63) {
        return -1;
    }
    if (real < -kTwoTo63) {
        return 1;
    }
    const double floor = std::floor(real);
    const int whole = sign(integer, static_cast<int64_t>(floor));
    return whole != 0 ? whole : floor < real ? -1 : 0;
}

int compare_numbers(const ValueView &a, const ValueView &b) {
    if (a.type == Type::integer) {
        return b.type == Type::integer ? sign(a.integer, b.integer) : compare_integer_real(a.integer, b.real);
    }
    return b.type == Type::real ? sign(a.real, b.real) : -compare_integer_real(b.integer, a.real);
}

int rank(Type type) {
    switch (type) {
    case Type::null:
        return 0;
    case Type::integer:
    case Type::real:
        return 1;
    case Type::text:
        return 2;
    case Type::blob:
        break;
    }
    return 3;
}

uint64_t integer_bytes(int64_t value) {
    const uint64_t magnitude = static_cast<uint64_t>(value < 0 ? ~value : value);
    if (value == 0 || value == 1) {
        return 0;
    }
    const int bits = magnitude == 0 ? 1 : 65 - __builtin_clzll(magnitude);
    return bits <= 32 ? static_cast<uint64_t>(bits + 7) / 8 : bits <= 48 ? 6 : 8;
}

}  // namespace

int compare(const ValueView &a, const ValueView &b) {
    if (rank(a.type) != rank(b.type)) {
        return sign(rank(a.type), rank(b.type));
    }
    if (a.type == Type::null) {
        return 0;
    }
    return is_number(a) ? compare_numbers(a, b) : a.bytes.compare(b.bytes);
}

void write_identity(const ValueView &value, std::string &identity) {
    identity.assign(1, static_cast<char>(value.type));
    if (value.type == Type::integer) {
        identity.append(reinterpret_cast<const char *>(&value.integer), sizeof value.integer);
    } else if (value.type == Type::real) {
        identity.append(reinterpret_cast<const char *>(&value.real), sizeof value.real);
    } else {
        identity.append(value.bytes);
    }
}

uint64_t record_bytes(const ValueView &value) {
    switch (value.type) {
    case Type::null:
        return 1;
    case Type::integer:
        return 1 + integer_bytes(value.integer);
    case Type::real:
        return 1 + sizeof value.real;
    case Type::text:
    case Type::blob:
        break;
    }
    const uint64_t type_code_bytes = value.bytes.size() < 58 ? 1 : value.bytes.size() < 8186 ? 2 : 4;
    return type_code_bytes + value.bytes.size();
}

}  // namespace qvk
