// memory_loops.h: what the machine itself can do, measured in the same run as the kernels.
#pragma once

#include <cstddef>
#include <cstdint>

// Reads all bytes, a multiple of 128, with sixteen-byte loads; returns a value that depends on all of them.
uint64_t read_all(const void *from, size_t bytes);

// So many additions, each waiting for the one before: one cycle each.
uint64_t dependent_adds(uint64_t count);
