// LEASE and LEASEVARIABLE: the schedule of each lease (finance lease or hire
// purchase, from the lender's side), one block of PERIODS result rows per
// lease, blocks in input-row order.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKLease_LeaseVariable {
public:
    enum leaseType { LEASE = 0, LEASEVARIABLE = 1 };
    enum whenToPayType { IN_ARREARS = 0, IN_ADVANCE = 1 };

    // compound and recalculate are null for LEASE.
    FPKLease_LeaseVariable(leaseType type, ColumnBase* advance, ColumnBase* residual, ColumnBase* periods,
                           ColumnBase* whenToPay, ColumnBase* rate, ColumnBase* redemptionRate, ColumnBase* compound,
                           ColumnBase* recalculate, InternalTable* result)
        : type(type),
          advanceCol(advance),
          residualCol(residual),
          periodsCol(periods),
          whenToPayCol(whenToPay),
          rateCol(rate),
          redemptionRateCol(redemptionRate),
          compoundCol(compound),
          recalculateCol(recalculate),
          resultTab(result) {}

    void execute();

private:
    leaseType type;
    ColumnBase* advanceCol;
    ColumnBase* residualCol;
    ColumnBase* periodsCol;
    ColumnBase* whenToPayCol;
    ColumnBase* rateCol;
    ColumnBase* redemptionRateCol;
    ColumnBase* compoundCol;
    ColumnBase* recalculateCol;
    InternalTable* resultTab;
};

namespace lease {

// The terms of one call, shared by all its leases.
struct Terms {
    FPKLease_LeaseVariable::whenToPayType whenToPay = FPKLease_LeaseVariable::IN_ARREARS;
    const double* ratePath = nullptr;  // rates in percent; period k uses ratePath[min(k-1, rateCount-1)]
    std::size_t rateCount = 1;
    double redemptionRate = 0;  // percent per period
    long compound = 0;          // interest is added every period for 0 and 1, else every c-th and the last
    bool recalculate = false;   // recompute the payment where the rate changes
};

// Where one lease's rows go: each pointer addresses the lease's first row
// in its result column. `accrued` may be null (LEASE has no such column).
struct Block {
    double* opening;
    double* adjusted;
    double* interest;
    double* accrued;
    double* payment;
    double* redemption;
    double* capital;
    double* residualPaidOff;
    double* closing;
    double* periodsRemaining;
    double* calcResidual;
};

// The level payment over periods k..N (1-based) that takes the balance
// `balance` with accrued interest `accrued` to `residual` at the rate of
// period k held for the rest of the term.
double levelPayment(const Terms& t, double balance, double accrued, double residual, std::size_t k, std::size_t N);

// Writes the N rows of one lease of `advance` with `residual` into `out`.
void schedule(const Terms& t, double advance, double residual, std::size_t N, const Block& out);

}  // namespace lease

}  // namespace businessFunctions
