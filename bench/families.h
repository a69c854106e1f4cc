// families.h: what kernels_bench measures, family by family.
#pragma once

#include "working_sets.h"

void register_bit_vectors(const WorkingSet &set);

// Walks over a bit vector in which one bit in so many is set.
void register_iteration(uint32_t one_in);

// Every predicate kernel, with the plain loops that they are compared with.
void register_predicates(const WorkingSet &set);

// What calls of predicate kernels cost apart from their blocks.
void register_small_predicate_calls();

// Unpacking, sets, and symbols by list and of unpacked codes.
void register_decoding();

// Bloom probes.
void register_bloom();

// Bits of runs to bits of rows.
void register_bursts();
