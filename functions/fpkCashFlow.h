// DISCOUNTEDCASHFLOW and INFLATEDCASHFLOW: a period-by-period cash-flow plan
// stated at its value on the switch-over date (discounted), or planned
// amounts in switch-over prices carried to the prices of their own periods
// (inflated). History rows are copied unchanged.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKCashFlow {
public:
    enum cashFlowType { DISCOUNTED = 0, INFLATED = 1 };
    enum aprType { PER_PERIOD = 0, ANNUAL = 1 };

    FPKCashFlow(cashFlowType type, ColumnBase* prime, ColumnBase* time, ColumnBase* rate, ColumnBase* apr,
                ColumnBase* switchover, ColumnBase* switchoverDate, InternalTable* result)
        : type(type),
          primeCol(prime),
          timeCol(time),
          rateCol(rate),
          aprCol(apr),
          switchoverCol(switchover),
          switchoverDateCol(switchoverDate),
          resultTab(result) {}

    void execute();

private:
    // The last history row (-1 for none): TIME is walked up to the first key
    // whose period does not start before the switch-over date.
    long historyOffset(std::size_t n, int year, int month, int day) const;
    // Periods per year: 1 for a per-period rate, else from the key length.
    double periodsPerYear(std::size_t n, aprType apr) const;

    cashFlowType type;
    ColumnBase* primeCol;
    ColumnBase* timeCol;
    ColumnBase* rateCol;
    ColumnBase* aprCol;
    ColumnBase* switchoverCol;
    ColumnBase* switchoverDateCol;
    InternalTable* resultTab;
};

namespace cashflow {
// Computes rows [first, first + count) of the plan. `prime`, `primeNull`,
// `rate`, `rateNull`, `out` and `outNull` hold those rows only (index 0 is
// row `first`). Rows up to `offset` are history (copied); a planned row r is
// divided (DISCOUNTED) or multiplied (INFLATED) by
// pow(1 + rate/100, (r - offset) / periodsPerYear); a null PRIME gives a null
// result, a null RATE is 0 %. `work` is scratch for 2 * count doubles. The
// powers come from the library's vector pow (within one unit in the last
// place of the exact power).
void rows(FPKCashFlow::cashFlowType type, std::size_t first, std::size_t count, const double* prime,
          const unsigned char* primeNull, const double* rate, const unsigned char* rateNull, long offset,
          double periodsPerYear, double* out, unsigned char* outNull, double* work);
// The planned rates of n rows that fail the check (not greater than -100,
// NaN included; a null rate is 0 % and passes).
std::size_t countBadRates(const double* rate, const unsigned char* null, std::size_t n);
}  // namespace cashflow

}  // namespace businessFunctions
