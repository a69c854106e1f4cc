// rates.h: collects the rates of one run and prints them beside what the machine reached in the same run, so that a
// figure is a ratio and not a property of the moment.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

// A benchmark, the one that stands for what the machine can do, and the one that does the same in a plain loop, with
// whose rates in the same run it is compared.
struct NamedRate {
    std::string name, machine_loop, plain_loop;
};

// Keeps the best of the repetitions and prints a table at the end: rates, rows a cycle, share of the machine loop,
// multiple of the plain one.
class RateTable : public benchmark::ConsoleReporter {
  public:
    // In the order of the table.
    explicit RateTable(std::vector<NamedRate> rates) : rates_(std::move(rates)) {}
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

  private:
    struct Rate {
        double bytes_per_second = 0, rows_per_second = 0, nanoseconds = 0;
    };
    std::vector<NamedRate> rates_;
    std::map<std::string, Rate> best_;
    Rate best_of(const std::string &name) const;
};
