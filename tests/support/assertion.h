// assertion.h: what the runtime's assertion failure was told. Unless a test lets it return, it ends the process.
#pragma once

#include <string>
#include <vector>

namespace support {

struct Assertion {
    std::vector<std::string> expressions;
    std::string file;
    bool returns = false;
};
inline Assertion last_assertion;

}  // namespace support
