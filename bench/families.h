// families.h: what kernels_bench measures, family by family.
#pragma once

#include "kdzk.h"
#include "working_sets.h"

// Each slot's kernel by name. Benchmarks of a kernel have its name, then nothing or a variant behind a colon, then a
// slash and what it is measured over.
extern "C" const char *const kdzk_dispatch_names[KDZK_TABLE_SLOTS];

inline bool is_live(uint32_t slot) {
    return kdzk_dispatch_table[slot].invalid != kdzk_dispatch_table[KDZK_TABLE_SLOTS - 1].invalid;
}

void register_bit_vectors(const WorkingSet &set);

// Walks over bit vectors, by where their ones are.
void register_iteration();

// Every predicate kernel, with the plain loops that they are compared with.
void register_predicates(const WorkingSet &set);

// What calls of predicate kernels cost apart from their blocks.
void register_small_predicate_calls();

// Unpacking, sets, and symbols by list and of unpacked codes.
void register_decoding();

// Unpacking from memory to memory, for some widths.
void register_unpacking_of_memory();

// Probes of a Bloom filter of so many bytes.
void register_bloom(uint64_t filter_bytes);

// Bits of runs to bits of rows.
void register_bursts();
