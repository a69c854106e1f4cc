// working_sets.h: over how much the kernels are measured, and the bytes they are measured over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct WorkingSet {
    std::string name;
    size_t bytes;
};

// Half the first cache, half the second, and twice what the last holds, as far as payloads go.
std::vector<WorkingSet> working_sets();

// Random bytes for all benchmarks together, sixty-four more than the largest working set has, which is more than any
// kernel reads behind its payload.
const uint64_t *shared_words();
inline const uint8_t *shared_bytes() { return reinterpret_cast<const uint8_t *>(shared_words()); }

// A bit vector in which one bit in so many is set, in random places.
std::vector<uint64_t> random_bits(size_t rows, uint32_t one_in);
