// rates.h: collects the rates of one run and prints them beside what the machine reached in the same run, so that a
// figure is a ratio and not a property of the moment.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// A benchmark is named <what>/<working set>, and counts bytes and, where it tests rows, rows. This reporter keeps the
// best of the repetitions and prints a table at the end: rates, rows a cycle, and the share of the loop that stands for
// the machine: `read` of the same working set, or `and_plain` for the bit-vector functions that store.
class RateTable : public benchmark::ConsoleReporter {
  public:
    // The names in the order of the table.
    explicit RateTable(std::vector<std::string> names) : names_(std::move(names)) {}
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

  private:
    struct Rate {
        double bytes_per_second = 0, rows_per_second = 0, nanoseconds = 0;
    };
    std::vector<std::string> names_;
    std::map<std::string, Rate> best_;
    Rate best_of(const std::string &name) const;
};
