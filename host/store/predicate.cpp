// Conjunctions of predicates.
#include "predicate.h"

#include <utility>

namespace qvk {
namespace {

bool complement_each_other(const Predicate &a, const Predicate &b) {
    const bool both_ranges = a.kind == Predicate::Kind::between && b.kind == Predicate::Kind::between;
    return both_ranges && a.column == b.column && !(a.lower && b.lower) && !(a.upper && b.upper);
}

}  // namespace

void add_conjunct(std::vector<Predicate> &conjunction, Predicate added) {
    for (Predicate &present : conjunction) {
        if (complement_each_other(present, added)) {
            std::optional<Bound> &bound = added.lower ? present.lower : present.upper;
            bound = std::move(added.lower ? added.lower : added.upper);
            return;
        }
    }
    conjunction.push_back(std::move(added));
}

}  // namespace qvk
