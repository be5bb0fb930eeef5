// DELAY: invoices turned into payments received by a payment profile, the
// opening balance run off as the unpaid tail of a steady invoice history.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::InternalTable;

class FPKDelay {
public:
    FPKDelay(InternalTable* prime, InternalTable* invoice, InternalTable* paid, InternalTable* result)
        : primeTab(prime), invoiceTab(invoice), paidTab(paid), resultTab(result) {}
    void execute();

private:
    InternalTable* primeTab;
    InternalTable* invoiceTab;
    InternalTable* paidTab;
    InternalTable* resultTab;
};

namespace kernel {
// Payments received per period. `shares` holds r rows of m fractions
// (percent / 100), row-major; invoices of period i use row min(i, r-1), and
// every share is 0 when r = 0. `prime` is run off by the profile of row 0.
void delay(double prime, const double* invoice, std::size_t n, const double* shares, std::size_t r, std::size_t m,
           double* result);
}  // namespace kernel

}  // namespace businessFunctions
