// slots_check.cpp: fails if any kernel is slower than the plain loop of its task by either compiler, out of the first
// cache. Walks the dispatch table, so that no slot is forgotten.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "families.h"
#include "rates.h"

namespace {

// What is nearly as slow as its plain loop, or slower, is measured in so many more rounds before the verdict.
constexpr double kSuspect = 1.1;
constexpr int kMoreRounds = 4;

// Rates that differ by less can't be told apart: where the same instructions set the pace, either may come out ahead.
constexpr double kTie = 0.98;

struct Measured {
    double of_plain;
    std::string name;
};
bool operator<(const Measured &a, const Measured &b) { return a.of_plain < b.of_plain; }

class Comparisons : public RateTable {
  public:
    bool ReportContext(const Context &) override { return true; }
    void Finalize() override {}

    // An expression for the suspects and their plain loops; empty if there are none.
    std::string suspects() const {
        std::string names;
        for (const NamedRate &rate : measured_rates()) {
            const double ratio = of_plain(rate);
            if (ratio == 0 || ratio >= kSuspect)
                continue;
            names += (names.empty() ? "^(" : "|") + rate.name;
            for (const PlainLoops *loops : plain_loops())
                names += "|" + plain_loop_name(*loops, rate.plain_loop);
        }
        return names.empty() ? names : std::regex_replace(names, std::regex("\\+"), "\\+") + ")$";
    }

    // The worst benchmark of each kernel or function.
    std::map<std::string, Measured> worst_by_name() const {
        std::map<std::string, Measured> worst;
        for (const NamedRate &rate : measured_rates())
            if (const double ratio = of_plain(rate); ratio > 0) {
                const Measured measured = {ratio, rate.name};
                Measured &least =
                    worst.try_emplace(rate.name.substr(0, rate.name.find_first_of(":/")), measured).first->second;
                least = std::min(least, measured);
            }
        return worst;
    }
};

bool is_stub(uint32_t slot) { return slot % 32 == KDZK_OP_SUM || slot % 32 == KDZK_OP_DISTINCT; }

// The class and form of comparisons, the operation and form of all others.
std::string family_of(const std::string &kernel) {
    static const std::regex comparison("kdzk_(eq|ne|[lg][te](_l[te])?)_([a-z]+)_\\d+bit(\\w*)");
    static const std::regex other("kdzk_([a-z_]+)_[a-z]+_\\d+bit(\\w*)");
    if (std::regex_match(kernel, comparison))
        return std::regex_replace(kernel, comparison, "$3$4");
    return std::regex_replace(kernel, other, "$1$2");
}

void print_family(const std::string &family, std::vector<Measured> measured) {
    constexpr size_t kShown = 4;
    std::sort(measured.begin(), measured.end());
    std::printf("%-18s %8zu", family.c_str(), measured.size());
    for (size_t i = 0; i < std::min(kShown, measured.size()); ++i)
        std::printf("   %.2f %s", measured[i].of_plain, measured[i].name.c_str());
    std::printf("\n");
}

bool print_verdict(std::map<std::string, Measured> worst) {
    std::map<std::string, std::vector<Measured>> families;
    std::vector<Measured> slower;
    std::vector<std::string> missing;
    uint32_t live = 0, stubs = 0;
    const auto add = [&](const std::string &family, const Measured &measured) {
        families[family].push_back(measured);
        if (measured.of_plain < kTie)
            slower.push_back(measured);
    };
    for (uint32_t slot = 0; slot < KDZK_TABLE_SLOTS; ++slot) {
        if (!is_live(slot))
            continue;
        ++live;
        const std::string name = kdzk_dispatch_names[slot];
        if (is_stub(slot))
            ++stubs;
        else if (const auto measured = worst.extract(name))
            add(family_of(name), measured.mapped());
        else
            missing.push_back(name);
    }
    for (const auto &[name, measured] : worst)
        add("functions", measured);
    std::printf("%-18s %8s   %s\n", "", "measured", "least multiples of the faster plain loop");
    for (const auto &[family, measured] : families)
        print_family(family, measured);
    for (const Measured &kernel : slower)
        std::printf("SLOWER than its plain loop: %s, %.2f\n", kernel.name.c_str(), kernel.of_plain);
    if (!missing.empty())
        std::printf("NOT MEASURED: %zu slots, %s the first\n", missing.size(), missing.front().c_str());
    std::printf("%u live slots: %zu measured, %u stubs that do nothing; plain loops by", live,
                live - stubs - missing.size(), stubs);
    for (const PlainLoops *loops : plain_loops())
        std::printf(" %s", loops->compiler);
    std::printf("; %zu slower\n", slower.size());
    return slower.empty() && missing.empty();
}

}  // namespace

int main(int argc, char **argv) {
    if (!begin_program(argc, argv))
        return 2;
    const WorkingSet first_cache = working_sets().front();
    register_bit_vectors(first_cache);
    register_predicates(first_cache);
    register_decoding();
    register_bursts();
    register_bloom(8 << 10);
    register_iteration();
    Comparisons table;
    benchmark::RunSpecifiedBenchmarks(&table);
    std::string suspects = table.suspects();
    for (int round = 0; round < kMoreRounds && !suspects.empty(); ++round, suspects = table.suspects())
        benchmark::RunSpecifiedBenchmarks(&table, suspects);
    return print_verdict(table.worst_by_name()) ? 0 : 1;
}
