// What encodings with kernels have in common: rows are kept as codes, so predicates become comparisons of codes.
#pragma once

#include "encoding.h"

namespace qvk {

// How many comparisons take as long as a look into a set. Measured: see host/README.md.
uint32_t comparisons_of_a_set(const KernelFamily &family);

// From how many values on a list is probed for by a filter; never where there are sets. Measured: see host/README.md.
uint32_t values_of_a_filter(const KernelFamily &family);

struct CodedEncoding : Encoding {
    KernelFamily family;
    std::vector<std::unique_ptr<Segment>> parts;

    const KernelFamily *kernels() const final { return &family; }
    std::span<const std::unique_ptr<Segment>> segments() const final { return parts; }
    ColumnScan scan_for(const Predicate &predicate) const final;
    ColumnScan typical_scan(const Predicate &predicate) const final;

  protected:
    virtual CodeRange codes() const = 0;  // of values, the lowest and the highest among them
    virtual CodeRange locate(const Value &value) const = 0;
    virtual uint64_t rows_in(const CodeRun &run) const = 0;  // exactly or about
    virtual KernelCall call_for(const CodeTest &test) const = 0;
    // For a column with NULLs and others: how to find the ones or the others.
    virtual ColumnScan null_test(bool nulls) const = 0;

  private:
    bool is_probed(const Predicate &predicate) const;
    std::vector<CodeRun> runs_for(const Predicate &predicate) const;
    ColumnScan scan_for_nulls(bool nulls) const;
    ColumnScan scan_for_runs(const Predicate &predicate, const std::vector<CodeRun> &runs,
                             const CodeRange &values) const;
};

}  // namespace qvk
