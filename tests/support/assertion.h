// assertion.h: what the runtime's assertion failure was last told. Unless a test lets it return, it ends the process.
#pragma once

#include <string>

namespace support {

struct Assertion {
    std::string expression, file;
    bool returns = false;
};
inline Assertion last_assertion;

}  // namespace support
