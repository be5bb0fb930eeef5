// DAYSOUTSTANDING and DELAYDEBT: receivables from days (or periods)
// outstanding, by countback of the closing balance or by delaying each
// period's invoices.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKDaysOutstanding_DelayDebt {
public:
    enum functionType { DAYSOUTSTANDING = 0, DELAYDEBT = 1 };
    enum delayUnit { PERIODS = 0, DAYS = 1 };
    enum openingType { COLLECT_FIRST = 0, RUN_OFF = 1 };

    FPKDaysOutstanding_DelayDebt(functionType fn, ColumnBase* indicator, ColumnBase* prime, ColumnBase* invoice,
                                 ColumnBase* duration, ColumnBase* level, ColumnBase* days, int flagValue,
                                 InternalTable* result)
        : selector(fn), indicatorCol(indicator), primeCol(prime), invoiceCol(invoice), durationCol(duration),
          levelCol(level), daysCol(days), flag(flagValue), resultTab(result) {}
    void execute();

private:
    functionType selector;
    ColumnBase* indicatorCol;
    ColumnBase* primeCol;
    ColumnBase* invoiceCol;
    ColumnBase* durationCol;
    ColumnBase* levelCol;
    ColumnBase* daysCol;
    int flag;
    InternalTable* resultTab;
};

namespace kernel {
// Both take the period lengths L (> 0), the period starts T[0 .. n] (T[0] = 0,
// T[i+1] = T[i] + L[i], see periodStarts), the delays d (>= 0) and the
// opening treatment; `runOff` true spreads the opening balance as invoices of
// the d[0] time units before row 0 (when d[0] > 0).
void periodStarts(const double* length, std::size_t n, double* starts);
// Countback: CLOSING[t] = the invoices of the window [T[t+1] - d[t], T[t+1]].
void daysOutstanding(double prime, const double* invoice, const double* length, const double* starts,
                     const double* delay, std::size_t n, bool runOff, double* opening, double* closing,
                     double* receipts);
// Delay: the invoices of period i fall due evenly over [T[i] + d[i], T[i+1] + d[i]].
void delayDebt(double prime, const double* invoice, const double* length, const double* starts, const double* delay,
               std::size_t n, bool runOff, double* opening, double* closing, double* receipts);
}  // namespace kernel

}  // namespace businessFunctions
