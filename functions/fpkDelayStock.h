// DELAYSTOCK: a purchases budget whose closing stock covers the demand of the
// next LEVEL periods or days.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKDelayStock {
public:
    enum coverUnit { PERIODS = 0, DAYS = 1 };

    FPKDelayStock(ColumnBase* prime, ColumnBase* demand, ColumnBase* level, ColumnBase* days, ColumnBase* indicator,
                  InternalTable* result)
        : primeCol(prime), demandCol(demand), levelCol(level), daysCol(days), indicatorCol(indicator),
          resultTab(result) {}
    void execute();

private:
    ColumnBase* primeCol;
    ColumnBase* demandCol;
    ColumnBase* levelCol;
    ColumnBase* daysCol;
    ColumnBase* indicatorCol;
    InternalTable* resultTab;
};

namespace kernel {
// The common part of the intervals [a, b] and [c, e] (0 when they do not meet).
inline double overlap(double a, double b, double c, double e) {
    const double hi = b < e ? b : e;
    const double lo = a > c ? a : c;
    return hi > lo ? hi - lo : 0.0;
}

// CLOSING[t] = the demand inside (T[t+1], T[t+1] + cover[t]], the demand after
// the last row continuing at the last period's rate; OPENING chains from
// prime; PURCHASES = CLOSING + DEMAND - OPENING. `length` holds the period
// lengths (0 for a period that takes no time), `cover` the covers (already
// 0 where the input was not a positive finite number).
void delayStock(double prime, const double* demand, const double* cover, const double* length, std::size_t n,
                double* opening, double* closing, double* purchases);
}  // namespace kernel

}  // namespace businessFunctions
