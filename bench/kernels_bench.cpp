// kernels_bench.cpp: rates of the kernels and of the bit-vector functions, over working sets in the first cache, in the
// second, and beyond the last.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "families.h"
#include "kdzk.h"
#include "memory_loops.h"
#include "rates.h"

extern "C" void host_raise_internal_error(void *, void *, const char *message, int) {
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

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
    register_bursts();
    register_bloom();
    for (const uint32_t one_in : {100u, 10u, 2u})
        register_iteration(one_in);
    RateTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
}
