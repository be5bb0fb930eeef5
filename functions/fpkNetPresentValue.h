// NETPRESENTVALUE: discounts a series of cash flows, one per row, to each
// row of the series. Time is counted in years of 365 days; each cash flow is
// placed within its period by a timing flag and, for flag 4, a pay date.
#pragma once

#include <cstddef>
#include <string_view>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"
#include "../common/fpkColumnJob.h"
#include "../platform/RhoUtils/Allocator.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKNetPresentValue {
public:
    // Timing of a cash flow within its period.
    enum FlagType { START = 1, MID = 2, END = 3, USER = 4 };

    static const double days_year;
    // Month lengths, January first; February always has 28 days.
    static const double days_month[12];

    FPKNetPresentValue(ColumnBase* rateCol, ColumnBase* valuesCol, ColumnBase* flagCol, ColumnBase* paydateCol,
                       ColumnBase* daysCol, InternalTable* result)
        : rateCol(rateCol), valuesCol(valuesCol), flagCol(flagCol), paydateCol(paydateCol), daysCol(daysCol),
          result(result) {}

    void execute();

    // 1..4 to the flag; anything else raises ERR_FPK_COMM_INVALID_COL_VALUE
    // naming the FLAG column (`flagName`).
    static void convert2Flag(double flag, FlagType& eFlag, const char* flagName);

    // The part of a period, in days, between a cash flow and the boundary of
    // its period: for the cash flow that starts a discounting chain (first)
    // the days to the period's end, for a later one the days since its start.
    // `day` and `month` come from the pay date (USER only). For USER with a
    // period that is neither monthly, quarterly nor yearly, out is left as
    // it is.
    static void calculate_days(bool first, FlagType flag, double days, int day, int month, double& out);

    // Reads DD.MM: the day from the first two characters and the month from
    // the characters at positions 3 and 4. False unless both are decimal
    // digits, the month is 1..12 and the day 1..31.
    static bool parsePayDate(std::string_view text, int& day, int& month);

private:
    void execute_netPresentValue(RhoUtils::Allocator& alloc);

    ColumnBase* rateCol;
    ColumnBase* valuesCol;
    ColumnBase* flagCol;
    ColumnBase* paydateCol;
    ColumnBase* daysCol;
    InternalTable* result;
};

// The arithmetic of the discounting, over native arrays. For a chain that
// starts at row a, a later row j is
//     t(a, j) = (first[a] + days[a+1] + ... + days[j-1] + later[j]) / 365
// years away, where first[] and later[] are calculate_days of each row.
namespace npv {

// The time of every later row from a (pows[0] = 0 for row a itself):
// pows[j - a] = t(a, j) for j in [a, end).
void chainTimes(const double* days, const double* first, const double* later, std::size_t a, std::size_t end,
                double* pows);

// The net present value at row i: values[i] plus every later value
// discounted at rate[i]: values[j] / (1 + rate)^t(i, j).
double rowValue(const double* values, const double* days, const double* first, const double* later, std::size_t n,
                std::size_t i, double rate);

// sum over k of v[k] * exp(((a + w[k]) / 365) * negLog), for negLog <= 0 and
// a + w[k] >= -365: the discounted later values of one row, with w[k] the
// days before row k plus its later part and a = first[i] - days before row
// i + 1. Four or eight terms at a time where the processor allows.
double discountedSum(const double* v, const double* w, std::size_t count, double a, double negLog);

// rowValue for whole day counts (UniformRate::daysApply) and a rate that is
// finite and not negative: times[j] = prefix[j] + later[j].
double rowValueExact(const double* values, const double* times, const double* first, const double* prefix,
                     std::size_t n, std::size_t i, double rate);

// The net present value of the rows that share one rate, block-wise: with
// the rows cut into blocks of kBlock, a row sums the later rows of its own
// block directly and takes everything after its block from one suffix sum
// per block (the later values discounted to the block's start), discounted
// once more. Every time is formed from whole day counts, exactly as the
// direct sum forms it. Requires rateApplies and daysApply.
class UniformRate {
public:
    static constexpr std::size_t kBlock = 128;

    // Whether the blocked evaluation reproduces the direct sum for a rate:
    // finite and not negative.
    static bool rateApplies(double rate);
    // Whether every day count is a whole number from 0 to 2^40 and all of
    // them add up to at most 2^50 (so that every partial sum is exact).
    static bool daysApply(const double* days, const double* first, const double* later, std::size_t n);
    // prefix[k] = days[0] + ... + days[k-1], k = 0..n.
    static void prefixSums(const double* days, std::size_t n, double* prefix);
    static std::size_t tailCount(std::size_t n) { return n / kBlock + 2; }

    // tails must hold tailCount(n) values.
    UniformRate(const double* values, const double* days, const double* first, const double* later, std::size_t n,
                double rate, const double* prefix, double* tails);
    double rowValue(std::size_t i) const;

private:
    const double* values_;
    const double* days_;
    const double* first_;
    const double* later_;
    std::size_t n_;
    double logBase_;
    const double* prefix_;  // prefix_[k] = days[0] + ... + days[k-1]
    const double* tails_;   // tails_[b] = sum over j >= b*kBlock of values[j] discounted to the start of block b
};

// Runs rowFn(row) for every row in [0, rows) on the host's parallel-for.
// Rows of these functions cost work in proportion to the rows before or
// after them, so each job index p takes two rows, p and rows - 1 - p, which
// evens out the ranges. `workPerRow` (about the terms one row sums) sets the
// smallest range so that a short series runs on the calling thread.
template <class RowFn>
class FoldedRowsvol final : public ColumnJob {
public:
    FoldedRowsvol(RowFn& fn, std::size_t rows) : fn_(&fn), rows_(rows) {}
    FoldedRowsvol(const FoldedRowsvol&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        for (std::size_t p = begin; p < end; ++p) {
            (*fn_)(p);
            const std::size_t q = rows_ - 1 - p;
            if (q != p) (*fn_)(q);
        }
    }

private:
    RowFn* fn_;
    std::size_t rows_;
};

template <class RowFn>
void runFoldedRows(RhoUtils::Allocator& alloc, RowFn& fn, std::size_t rows, std::size_t workPerRow,
                   const char* jobName, const char* file, int line) {
    if (rows == 0) return;
    const std::size_t indices = (rows + 1) / 2;
    const std::size_t work = 2 * (workPerRow == 0 ? 1 : workPerRow);
    std::size_t minRange = (kMinJobRows + work - 1) / work;
    minRange = (minRange + 63) / 64 * 64;
    auto job = makeJob<FoldedRowsvol<RowFn>>(alloc, fn, rows);
    QELProfiler::Section section(file, line, jobName);
    RhoUtils::Parallel::parallelFor(0, indices, *job, minRange, 1, jobName, file, line);
}

}  // namespace npv

}  // namespace businessFunctions
