// Finding the runs of rows.
#include "runs.h"

#include <algorithm>

namespace qvk {

uint32_t Runs::run_of(uint32_t row) const {
    const auto behind = std::upper_bound(starts.begin(), starts.end(), row, [](uint32_t wanted, uint32_t stored) {
        return wanted < __builtin_bswap32(stored);
    });
    return static_cast<uint32_t>(behind - starts.begin()) - 1;
}

void Runs::find(std::span<const uint32_t> rows, uint32_t *runs) const {
    uint32_t run = rows.empty() ? 0 : run_of(rows.front());
    for (const uint32_t row : rows) {
        while (start(run + 1) <= row) {
            ++run;
        }
        *runs++ = run;
    }
}

}  // namespace qvk
