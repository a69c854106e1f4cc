#include "rates.h"

#include <algorithm>
#include <cstdio>

namespace {

std::vector<NamedRate> all_measured;

}  // namespace

const std::vector<NamedRate> &measured_rates() { return all_measured; }

void add_measured_rate(NamedRate rate) { all_measured.push_back(std::move(rate)); }

bool RateTable::ReportContext(const Context &context) {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void RateTable::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred)
            continue;
        const std::string name = run.run_name.function_name;
        Rate &best = best_[name];
        const auto rate = [&](const char *counter) {
            const auto found = run.counters.find(counter);
            return found == run.counters.end() ? 0.0 : double(found->second);
        };
        best.bytes_per_second = std::max(best.bytes_per_second, rate("bytes_per_second"));
        best.rows_per_second = std::max(best.rows_per_second, rate("items_per_second"));
        const double nanoseconds = run.cpu_accumulated_time * 1e9 / double(run.iterations);
        best.nanoseconds = best.nanoseconds == 0 ? nanoseconds : std::min(best.nanoseconds, nanoseconds);
    }
}

RateTable::Rate RateTable::best_of(const std::string &name) const {
    const auto found = best_.find(name);
    return found == best_.end() ? Rate{} : found->second;
}

namespace {

// A ratio, or a dash where there is nothing to compare with.
void print_ratio(double value, double of) {
    if (value > 0 && of > 0)
        std::printf(" %12.2f", value / of);
    else
        std::printf(" %12s", "-");
}

}  // namespace

void RateTable::Finalize() {
    std::printf("\n%.2f GHz by a chain of dependent additions\n", cycles_per_second() / 1e9);
    std::printf("%-48s %10s %10s %12s %12s %12s %12s\n", "", "GB/s", "Grows/s", "rows/cycle", "of machine",
                "x plain loop", "ns a call");
    for (const auto &[name, machine_loop, plain_loop] : measured_rates()) {
        const Rate rate = best_of(name), machine = best_of(machine_loop);
        if (rate.nanoseconds == 0)
            continue;
        std::printf("%-48s %10.2f %10.3f", name.c_str(), rate.bytes_per_second / 1e9, rate.rows_per_second / 1e9);
        print_ratio(rate.rows_per_second, cycles_per_second());
        if (rate.bytes_per_second > 0)
            print_ratio(rate.bytes_per_second, machine.bytes_per_second);
        else
            print_ratio(rate.rows_per_second, machine.rows_per_second);
        print_ratio(rate.rows_per_second, best_of(plain_loop).rows_per_second);
        std::printf(" %12.1f\n", rate.nanoseconds);
    }
}
