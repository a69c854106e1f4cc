// Predicates in terms of codes.
#include "dictionary.h"

#include <algorithm>

namespace qvk {
namespace {

// Half open, so that an empty range has a place.
struct CodeRange {
    uint32_t begin, end;
};

CodeRange equal_range(const Dictionary &dictionary, const Value &value) {
    const auto [begin, end] =
        std::equal_range(dictionary.values.begin(), dictionary.values.end(), value,
                         [](const Value &a, const Value &b) { return compare(a.view(), b.view()) < 0; });
    return {static_cast<uint32_t>(begin - dictionary.values.begin()),
            static_cast<uint32_t>(end - dictionary.values.begin())};
}

// Takes unordered ranges, clamps them to [lowest, size) and joins what touches.
std::vector<CodeRun> join(std::vector<CodeRange> ranges, uint32_t lowest) {
    std::sort(ranges.begin(), ranges.end(), [](CodeRange a, CodeRange b) { return a.begin < b.begin; });
    std::vector<CodeRun> runs;
    for (CodeRange range : ranges) {
        range.begin = std::max(range.begin, lowest);
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

std::vector<CodeRun> complement(const std::vector<CodeRun> &runs, uint32_t lowest, uint32_t size) {
    std::vector<CodeRange> gaps;
    uint32_t next = lowest;
    for (const CodeRun &run : runs) {
        gaps.push_back({next, run.first});
        next = run.last + 1;
    }
    gaps.push_back({next, size});
    return join(std::move(gaps), lowest);
}

// NULL's code lies below every range, so clamping to the lowest code of a value keeps it from hitting.
std::vector<CodeRun> runs_from(const Predicate &predicate, bool has_null, uint32_t size, auto &&locate) {
    const uint32_t lowest = has_null ? 1 : 0;
    switch (predicate.kind) {
    case Predicate::Kind::any_of:
    case Predicate::Kind::none_of: {
        std::vector<CodeRange> hits;
        for (const Value &value : predicate.values) {
            hits.push_back(locate(value));
        }
        const std::vector<CodeRun> runs = join(std::move(hits), lowest);
        return predicate.kind == Predicate::Kind::any_of ? runs : complement(runs, lowest, size);
    }
    case Predicate::Kind::between: {
        CodeRange range{lowest, size};
        if (predicate.lower) {
            const CodeRange at = locate(predicate.lower->value);
            range.begin = predicate.lower->inclusive ? at.begin : at.end;
        }
        if (predicate.upper) {
            const CodeRange at = locate(predicate.upper->value);
            range.end = predicate.upper->inclusive ? at.end : at.begin;
        }
        return join({range}, lowest);
    }
    case Predicate::Kind::is_null:
        return join({{0, lowest}}, 0);
    case Predicate::Kind::not_null:
        break;
    }
    return join({{lowest, size}}, lowest);
}

}  // namespace

std::vector<CodeRun> runs_of(const Dictionary &dictionary, const Predicate &predicate) {
    return runs_from(predicate, dictionary.has_null(), dictionary.size(),
                     [&](const Value &value) { return equal_range(dictionary, value); });
}

std::vector<CodeRun> typical_runs(const Predicate &predicate, bool has_null, uint32_t size) {
    uint32_t position = size / 4;
    return runs_from(predicate, has_null, size, [&](const Value &) {
        position += 2;  // apart, so that two values make two runs and a lower bound comes before an upper one
        return CodeRange{position, position + 1};
    });
}

}  // namespace qvk
