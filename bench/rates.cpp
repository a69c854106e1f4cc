#include "rates.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kdzk.h"
#include "memory_loops.h"

extern "C" void host_raise_internal_error(void *, void *, const char *message, int) {
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

namespace {

std::vector<NamedRate> all_measured;
std::string csv_path;

#ifdef __clang__
constexpr char kCompiler[] = __VERSION__;
#else
constexpr char kCompiler[] = "g++ " __VERSION__;
#endif

}  // namespace

std::vector<const PlainLoops *> plain_loops() {
    std::vector<const PlainLoops *> all = {&gnu_plain_loops, &clang_plain_loops};
    std::erase(all, nullptr);
    return all;
}

const std::vector<NamedRate> &measured_rates() { return all_measured; }

void add_measured_rate(NamedRate rate) { all_measured.push_back(std::move(rate)); }

bool begin_program(int argc, char **argv) {
    constexpr char csv[] = "--csv=";
    benchmark::AddCustomContext("compiler", kCompiler);
    benchmark::Initialize(&argc, argv);
    if (argc > 1 && std::strncmp(argv[1], csv, sizeof csv - 1) == 0) {
        csv_path = argv[1] + sizeof csv - 1;
        argv[1] = argv[0];
        --argc, ++argv;
    }
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return false;
    measure(kDependentAdds, "", {0, 1 << 16}, [] { return [] { benchmark::DoNotOptimize(dependent_adds(1 << 16)); }; });
    return true;
}

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

double RateTable::of_plain(const NamedRate &named) const {
    double plain = 0;
    for (const PlainLoops *loops : plain_loops())
        plain = std::max(plain, best_of(plain_loop_name(*loops, named.plain_loop)).rows_per_second);
    return plain > 0 ? best_of(named.name).rows_per_second / plain : 0;
}

RateTable::Ratios RateTable::ratios_of(const NamedRate &named) const {
    const Rate rate = best_of(named.name), machine = best_of(named.machine_loop);
    const auto ratio = [](double value, double of) { return of > 0 ? value / of : 0; };
    return {ratio(rate.rows_per_second, cycles_per_second()),
            rate.bytes_per_second > 0 ? ratio(rate.bytes_per_second, machine.bytes_per_second)
                                      : ratio(rate.rows_per_second, machine.rows_per_second),
            of_plain(named)};
}

// Ratios are left empty where there is nothing to compare with.
void RateTable::write_csv(const std::string &path) const {
    FILE *const file = std::fopen(path.c_str(), "w");
    if (!file) {
        std::perror(path.c_str());
        return;
    }
    std::fprintf(file, "name,gb_per_second,rows_per_second,rows_a_cycle,of_machine,of_plain,ns_a_call\n");
    for (const NamedRate &named : measured_rates()) {
        const Rate rate = best_of(named.name);
        const Ratios ratios = ratios_of(named);
        if (rate.nanoseconds == 0)
            continue;
        std::fprintf(file, "%s,%.6g,%.6g", named.name.c_str(), rate.bytes_per_second / 1e9, rate.rows_per_second);
        for (const double ratio : {ratios.rows_a_cycle, ratios.of_machine, ratios.of_plain})
            std::fprintf(file, ratio > 0 ? ",%.6g" : ",", ratio);
        std::fprintf(file, ",%.6g\n", rate.nanoseconds);
    }
    std::fclose(file);
}

namespace {

void print_ratio(double ratio) {
    if (ratio > 0)
        std::printf(" %12.2f", ratio);
    else
        std::printf(" %12s", "-");
}

}  // namespace

void RateTable::Finalize() {
    std::printf("\n%.2f GHz by a chain of dependent additions\n", cycles_per_second() / 1e9);
    std::printf("%-48s %10s %10s %12s %12s %12s %12s\n", "", "GB/s", "Grows/s", "rows/cycle", "of machine",
                "x plain loop", "ns a call");
    for (const NamedRate &named : measured_rates()) {
        const Rate rate = best_of(named.name);
        const Ratios ratios = ratios_of(named);
        if (rate.nanoseconds == 0)
            continue;
        std::printf("%-48s %10.2f %10.3f", named.name.c_str(), rate.bytes_per_second / 1e9, rate.rows_per_second / 1e9);
        for (const double ratio : {ratios.rows_a_cycle, ratios.of_machine, ratios.of_plain})
            print_ratio(ratio);
        std::printf(" %12.1f\n", rate.nanoseconds);
    }
    if (!csv_path.empty())
        write_csv(csv_path);
}
