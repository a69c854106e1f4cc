// Finding values in a dictionary.
#include "dictionary.h"

#include <algorithm>

namespace qvk {

CodeRange Dictionary::locate(const Value &value) const {
    const auto [begin, end] = std::equal_range(values.begin(), values.end(), value, [](const Value &a, const Value &b) {
        return compare(a.view(), b.view()) < 0;
    });
    return {static_cast<Code>(begin - values.begin()), static_cast<Code>(end - values.begin())};
}

std::vector<CodeRun> Dictionary::runs_passing(const std::function<bool(const Value &)> &passes) const {
    std::vector<CodeRun> runs;
    for (Code code = codes().begin; code < codes().end; ++code) {
        if (!passes(values[static_cast<size_t>(code)])) {
            continue;
        }
        if (!runs.empty() && runs.back().last + 1 == code) {
            runs.back().last = code;
        } else {
            runs.push_back({code, code});
        }
    }
    return runs;
}

}  // namespace qvk
