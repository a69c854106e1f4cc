// assertion.cpp: stands in front of the runtime's __assert_fail. Apart from all else, since this one may return and
// <assert.h> promises that it doesn't.
#include "support/assertion.h"

#include <cstdio>
#include <cstdlib>

extern "C" void __assert_fail(const char *expression, const char *file, unsigned line, const char *function) {
    support::last_assertion.expressions.push_back(expression);
    support::last_assertion.file = file;
    if (support::last_assertion.returns)
        return;
    std::fprintf(stderr, "%s:%u: %s: %s\n", file, line, function, expression);
    std::abort();
}
