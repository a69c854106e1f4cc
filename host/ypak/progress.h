// progress.h: how work over many bytes says how far it is.
#pragma once

#include <cstdint>
#include <functional>

namespace qvk {

// Told now and then how many bytes are done. May be empty.
using Progress = std::function<void(uint64_t)>;

}  // namespace qvk
