// FUTURE, PRESENTVALUE, PAYMENT, RATE and NUMBERPERIODS: the account
// functions. Each solves the compound-interest equation of a loan or savings
// account for one unknown per input row and writes, for every input row, a
// block of per-period rows (the account schedule) into the result table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKAccountCalculate {
public:
    // The unknown that `method` solves for.
    enum methodType { PAYMENT = 0, RATE = 1, PERIODS = 2, ORIGINAL = 3, FUTURE = 4 };
    // TYPE: when the payment of a period is booked.
    enum TypeFlag { END_OF_PERIOD = 0, START_OF_PERIOD = 1 };

    // Columns the function does not take are null.
    FPKAccountCalculate(int32_t method, ColumnBase* paymentCol, ColumnBase* rateCol, ColumnBase* periodsCol,
                        ColumnBase* originalCol, ColumnBase* futureCol, ColumnBase* typeCol, InternalTable* result)
        : method(method),
          paymentCol(paymentCol),
          rateCol(rateCol),
          periodsCol(periodsCol),
          originalCol(originalCol),
          futureCol(futureCol),
          typeCol(typeCol),
          result(result) {}

    void execute();

private:
    void execute_Future();
    void execute_Original();
    void execute_payment();
    void execute_Rate();
    void execute_Periods();

    int32_t method;
    ColumnBase* paymentCol;
    ColumnBase* rateCol;
    ColumnBase* periodsCol;
    ColumnBase* originalCol;
    ColumnBase* futureCol;
    ColumnBase* typeCol;
    InternalTable* result;
};

// The arithmetic of the account functions. Rates are percentages (5 means
// 5 %); balances are signed; `type` is 0 (payment at the end of a period) or
// 1 (at its start) and has been checked by the caller.
namespace account {

// (1 + rate/100) multiplied once per started period: ceil(n) times, none for
// n <= 0.
double growthFactor(double n, double rate);

// The balance after ceil(n) periods, starting from `original`:
// type 0: b = b + payment + rate * b / 100; type 1: b = (b + payment) * (rate/100 + 1).
double futureValue(double n, double rate, double original, double payment, int type);

// The opening balance that grows to `future` with growth factor f.
// No guard on rate 0: the division yields a non-number.
double presentValue(double rate, double f, double payment, double future, int type);

// The payment that takes `original` to `future` with growth factor f.
// No guard on rate 0 or f = 1.
double periodicPayment(double rate, double f, double original, double future, int type);

// Starting rate of the search (percent).
double estimateRate(double n, double original, double future);

// The rate search of RATE. The step budget is shared by all rows of one call:
// once 200 steps are spent, every later row gets rate 0 without searching.
class RateSearch {
public:
    static constexpr int kBudget = 200;
    double solve(double n, double original, double payment, double future, int type);
    int stepsTaken() const { return counter_; }

private:
    int counter_ = 0;
};

// The number of periods until the balance exceeds `future` (whole periods),
// or |original - future| / payment for rate 0, or 0 when future is not above
// original. Deliberately unbounded: a balance that never reaches `future`
// keeps it counting.
double numberOfPeriods(double rate, double original, double payment, double future, int type);

// Schedule rows of one block at consecutive positions, row k = 0..m-1:
// opening (k = 0: original, else the closing before), interest = opening *
// rate / 100, closing = opening + payment + interest, periods left n - k.
void scheduleBlock(double original, double rate, double payment, double n, std::size_t m, double* opening,
                   double* closing, double* interest, double* periodsLeft);

// Eight blocks side by side (for period counts that are whole numbers): lane
// l is a block of b.m[l] rows (0 for an unused lane) written from the given
// row pointers, each row exactly as scheduleBlock writes it. Whole blocks
// are independent, so their steps run in vector lanes, which keeps the
// divisions of the interest from waiting on one another.
struct BlockLanes {
    static constexpr std::size_t kLanes = 8;
    double original[kLanes], rate[kLanes], payment[kLanes], n[kLanes];
    std::size_t m[kLanes];
    double* opening[kLanes];
    double* closing[kLanes];
    double* interest[kLanes];
    double* periodsLeft[kLanes];
};
// Writes the lanes' schedules; with typeOneFuture, also futureValue of each
// lane for type 1 (for type 0 the block's last CLOSING is futureValue: the
// same steps in the same order).
void scheduleLanes(const BlockLanes& b, double* typeOneFuture);
// growthFactor(n[l], rate[l]) of every lane; maxM >= ceil(n[l]) of each.
void growthLanes(const double* n, const double* rate, std::size_t maxM, double* f);

}  // namespace account

}  // namespace businessFunctions
