// kernels_bench.cpp: rates of the kernels and of the bit-vector functions, over working sets in the first cache, in the
// second, and beyond the last.
#include <benchmark/benchmark.h>

#include "families.h"
#include "memory_loops.h"
#include "rates.h"

namespace {

void register_machine(const WorkingSet &set) {
    const size_t bytes = set.bytes;
    const std::string read = "read/" + set.name;
    measure(read, read, {bytes, 0}, [=] { return [=] { benchmark::DoNotOptimize(read_all(shared_bytes(), bytes)); }; });
}

}  // namespace

int main(int argc, char **argv) {
    if (!begin_program(argc, argv))
        return 2;
    for (const WorkingSet &set : working_sets()) {
        register_machine(set);
        register_bit_vectors(set);
        register_predicates(set);
    }
    register_small_predicate_calls();
    register_decoding();
    register_unpacking_of_memory();
    register_bursts();
    for (const uint64_t kibibytes : {8u, 256u, 16u << 10, 64u << 10, 256u << 10})
        register_bloom(kibibytes << 10);
    register_iteration();
    RateTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
}
