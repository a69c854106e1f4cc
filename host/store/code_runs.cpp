// Predicates to runs of codes, and runs to comparisons.
#include "code_runs.h"

#include <kdzk.h>

#include <algorithm>

namespace qvk {
namespace {

// Takes unordered ranges, clamps them to the values' codes and joins what touches.
std::vector<CodeRun> join(std::vector<CodeRange> ranges, const CodeRange &values) {
    std::sort(ranges.begin(), ranges.end(), [](const CodeRange &a, const CodeRange &b) { return a.begin < b.begin; });
    std::vector<CodeRun> runs;
    for (CodeRange range : ranges) {
        range = {std::max(range.begin, values.begin), std::min(range.end, values.end)};
        if (range.begin >= range.end) {
            continue;
        }
        if (!runs.empty() && range.begin <= runs.back().last + 1) {
            runs.back().last = std::max(runs.back().last, range.end - 1);
        } else {
            runs.push_back({range.begin, range.end - 1});
        }
    }
    return runs;
}

std::vector<CodeRun> complement(const std::vector<CodeRun> &runs, const CodeRange &values) {
    std::vector<CodeRange> gaps;
    Code next = values.begin;
    for (const CodeRun &run : runs) {
        gaps.push_back({next, run.first});
        next = run.last + 1;
    }
    gaps.push_back({next, values.end});
    return join(std::move(gaps), values);
}

CodeRange between(const Predicate &predicate, const CodeRange &values, const Locate &locate) {
    CodeRange range = values;
    if (predicate.lower) {
        const CodeRange at = locate(predicate.lower->value);
        range.begin = predicate.lower->inclusive ? at.begin : at.end;
    }
    if (predicate.upper) {
        const CodeRange at = locate(predicate.upper->value);
        range.end = predicate.upper->inclusive ? at.end : at.begin;
    }
    return range;
}

// The one code of a value outside the runs.
Code missing_code(const std::vector<CodeRun> &runs, const CodeRange &values) {
    return runs.empty() || runs.front().first > values.begin ? values.begin : runs.front().last + 1;
}

// A test against the end of the codes needs one comparison a row instead of two.
CodeTest test_for(const CodeRun &run, const CodeRange &values) {
    if (run.first == run.last) {
        return {KDZK_OP_EQ, run.first, 0};
    }
    if (run.first == values.begin) {
        return {KDZK_OP_LE, run.last, 0};
    }
    if (run.last == values.end - 1) {
        return {KDZK_OP_GE, run.first, 0};
    }
    return {KDZK_OP_GE_LE, run.first, run.last};
}

}  // namespace

std::vector<CodeRun> runs_of(const Predicate &predicate, const CodeRange &values, const Locate &locate) {
    switch (predicate.kind) {
    case Predicate::Kind::any_of:
    case Predicate::Kind::none_of: {
        std::vector<CodeRange> hits;
        for (const Value &value : predicate.values) {
            hits.push_back(locate(value));
        }
        const std::vector<CodeRun> runs = join(std::move(hits), values);
        return predicate.kind == Predicate::Kind::any_of ? runs : complement(runs, values);
    }
    case Predicate::Kind::between:
        return join({between(predicate, values, locate)}, values);
    case Predicate::Kind::passing:  // dictionaries look for themselves
    case Predicate::Kind::is_null:
        return {};
    case Predicate::Kind::not_null:
        break;
    }
    return join({values}, values);
}

Locate typical_places(const CodeRange &values) {
    // Apart, so that two values make two runs and a lower bound comes before an upper one.
    return [at = values.begin + (values.end - values.begin) / 4](const Value &) mutable {
        at += 2;
        return CodeRange{at, at + 1};
    };
}

std::vector<uint64_t> set_of(const std::vector<CodeRun> &runs, Code codes_end) {
    std::vector<uint64_t> set(static_cast<size_t>((codes_end + 63) / 64));
    for (const CodeRun &run : runs) {
        for (Code code = run.first; code <= run.last; ++code) {
            set[static_cast<size_t>(code / 64)] |= uint64_t{1} << static_cast<uint32_t>(code % 64);
        }
    }
    return set;
}

Code codes_in(const std::vector<CodeRun> &runs) {
    Code count = 0;
    for (const CodeRun &run : runs) {
        count += run.last - run.first + 1;
    }
    return count;
}

std::vector<CodeTest> tests_for(const std::vector<CodeRun> &runs, const CodeRange &values, size_t runs_for_a_set) {
    if (codes_in(runs) == values.end - values.begin - 1) {
        return {{KDZK_OP_NE, missing_code(runs, values), 0}};
    }
    if (runs.size() >= runs_for_a_set) {
        return {{KDZK_OP_SET, 0, 0}};
    }
    std::vector<CodeTest> tests;
    for (const CodeRun &run : runs) {
        tests.push_back(test_for(run, values));
    }
    return tests;
}

}  // namespace qvk
