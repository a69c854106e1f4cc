// Predicates in terms of codes. Codes are numbers that order as the values of a column do: places in a dictionary, or
// made of the values themselves. A predicate becomes runs of codes, and runs become comparisons.
#pragma once

#include "predicate.h"

#include <functional>

namespace qvk {

// A value of eight bytes and its length don't fit into 64 bits.
__extension__ typedef unsigned __int128 Code;

struct CodeRun {
    Code first, last;  // both inclusive
    bool operator==(const CodeRun &) const = default;
};

// Half open, so that an empty range has a place.
struct CodeRange {
    Code begin, end;
};

// The codes of the values that compare as equal to this one; if there are none, the place where they would be.
using Locate = std::function<CodeRange(const Value &)>;

// The codes of values that pass the predicate: ascending, disjoint, with gaps between them.
std::vector<CodeRun> runs_of(const Predicate &predicate, const CodeRange &values, const Locate &locate);

// Finds places for values that aren't known yet, well inside and apart from each other.
Locate typical_places(const CodeRange &values);

Code codes_in(const std::vector<CodeRun> &runs);

// A bit for each code below the end.
std::vector<uint64_t> set_of(const std::vector<CodeRun> &runs, Code codes_end);

// One comparison of codes; upper counts in ranges only. Or a look into the set of all runs.
struct CodeTest {
    uint32_t operation;  // KDZK_OP_*
    Code lower, upper;
};

// As few as possible, of which one has to hit. The runs cover some of the values' codes, not all.
std::vector<CodeTest> tests_for(const std::vector<CodeRun> &runs, const CodeRange &values, size_t runs_for_a_set);

}  // namespace qvk
