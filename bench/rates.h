// rates.h: collects the rates of one run and prints them beside what the machine reached in the same run, so that a
// figure is a ratio and not a property of the moment.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plain_loops.h"

// A benchmark, the one that stands for what the machine can do, and the plain loop of the same task, with whose rates
// in the same run it is compared.
struct NamedRate {
    std::string name, machine_loop, plain_loop;
};

// All benchmarks that measure() registered, in that order.
const std::vector<NamedRate> &measured_rates();
void add_measured_rate(NamedRate rate);

inline std::string plain_loop_name(const PlainLoops &loops, const std::string &name) {
    return loops.compiler + (":" + name);
}

// What one call of a benchmark moves and deals with: rows of a column, codes of a stream.
struct Work {
    size_t bytes, rows;
};

// Measures calls of what body() gives.
template <typename Body>
void measure(const std::string &name, const std::string &machine_loop, Work work, Body body,
             const std::string &plain_loop = "") {
    add_measured_rate({name, machine_loop, plain_loop});
    benchmark::RegisterBenchmark(name.c_str(), [work, body](benchmark::State &state) {
        auto call = body();
        for (auto _ : state)
            call();
        state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(work.bytes));
        state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(work.rows));
    });
}

// Measures a plain loop once a compiler, by names that begin with the compiler's; body(loops) gives the calls. The name
// without it, as another benchmark's plain_loop, stands for the best of them.
template <typename Body>
void measure_plain(const std::string &name, const std::string &machine_loop, Work work, Body body) {
    for (const PlainLoops *loops : plain_loops())
        measure(plain_loop_name(*loops, name), machine_loop, work, [=] { return body(*loops); });
}

// By this benchmark, one item a cycle, rates become cycles.
inline constexpr const char *kDependentAdds = "dependent_adds/core";

// Begins a benchmark program: takes the arguments of Google Benchmark and our own, --csv=FILE, into which the table
// goes besides, and registers the chain of additions. False, with a message, where other arguments are left.
bool begin_program(int argc, char **argv);

// Keeps the best of the repetitions and prints a table at the end: rates, rows a cycle, share of the machine loop,
// multiple of the plain one.
class RateTable : public benchmark::ConsoleReporter {
  public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

  protected:
    struct Rate {
        double bytes_per_second = 0, rows_per_second = 0, nanoseconds = 0;
    };
    Rate best_of(const std::string &name) const;
    // The multiple of the plain loop's rate; zero where there is none.
    double of_plain(const NamedRate &rate) const;
    double cycles_per_second() const { return best_of(kDependentAdds).rows_per_second; }

  private:
    // Zero where there is nothing to compare with.
    struct Ratios {
        double rows_a_cycle, of_machine, of_plain;
    };
    Ratios ratios_of(const NamedRate &rate) const;
    void write_csv(const std::string &path) const;

    std::map<std::string, Rate> best_;
};
