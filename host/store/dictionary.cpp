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

}  // namespace qvk
