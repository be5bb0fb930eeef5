// LEASE and LEASEVARIABLE.
//
// A lease's block starts after the blocks of the leases before it, so the
// schedules are computed on the calling thread: a first pass checks every
// term and sums the lengths, so that nothing is written unless every lease
// is valid; a second computes the blocks and writes them in slices of whole
// blocks.
#include "fpkLease_LeaseVariable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(leaseAllocator, "Lease_LeaseVariableAllocator")

constexpr double kMaxRows = 2147483647.0;
// Rows of result computed between two writes (at least; a longer block is
// computed whole).
constexpr std::size_t kSliceRows = 65536;

[[noreturn]] void raiseValue(const ColumnBase* col, const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col->getName()}, {"APPEND", append});
}

// Row 0 of a control column (a null reads as 0); a column without rows is
// an error naming it.
double controlValue(const ColumnBase* col, const char* failLine) {
    if (col->size() == 0) raiseValue(col, "Column should have at least 1 row");
    double v = 0;
    NullFlags null = 0;
    readRange(col, 0, 1, &v, &null, {TRACE_FPKLEASE_LEASEVARIABLE, failLine});
    return null ? 0.0 : v;
}
}  // namespace

namespace lease {

namespace {
double periodRate(const Terms& t, std::size_t k) {
    const std::size_t i = k - 1 < t.rateCount ? k - 1 : t.rateCount - 1;
    return t.ratePath[i];
}

bool capitalises(const Terms& t, std::size_t k, std::size_t N) {
    return t.compound <= 1 || k % static_cast<std::size_t>(t.compound) == 0 || k == N;
}

// One period: interest runs on the balance less a payment made in advance;
// it accrues and is added to the balance in a capitalisation period.
struct Step {
    double adjusted;
    double interest;
    double capitalised;
};

inline Step step(double& balance, double& accrued, double payment, double w, double r, bool capPeriod) {
    Step s;
    s.adjusted = balance - payment * w;
    s.interest = s.adjusted * r;
    accrued = accrued + s.interest;
    if (capPeriod) {
        s.capitalised = accrued;
        accrued = 0;
    } else {
        s.capitalised = 0;
    }
    balance = (balance - payment) + s.capitalised;
    return s;
}
}  // namespace

double levelPayment(const Terms& t, double balance, double accrued, double residual, std::size_t k, std::size_t N) {
    const double w = t.whenToPay == FPKLease_LeaseVariable::IN_ADVANCE ? 1.0 : 0.0;
    const double r = periodRate(t, k) / 100;
    // The final balance is linear in the payment: G without payments, H the
    // effect of a payment of 1 from a zero balance.
    double g = balance, gAcc = accrued;
    double h = 0, hAcc = 0;
    for (std::size_t p = k; p <= N; ++p) {
        const bool cap = capitalises(t, p, N);
        step(g, gAcc, 0, w, r, cap);
        step(h, hAcc, 1, w, r, cap);
    }
    return (g - residual) / (-h);
}

void schedule(const Terms& t, double advance, double residual, std::size_t N, const Block& out) {
    const double w = t.whenToPay == FPKLease_LeaseVariable::IN_ADVANCE ? 1.0 : 0.0;
    double balance = advance;
    double accrued = 0;
    double payment = 0;
    double calcResidual = 0;
    for (std::size_t k = 1; k <= N; ++k) {
        const std::size_t i = k - 1;
        if (k == 1 || (t.recalculate && periodRate(t, k) != periodRate(t, k - 1)))
            payment = levelPayment(t, balance, accrued, residual, k, N);
        out.opening[i] = balance;
        const Step s = step(balance, accrued, payment, w, periodRate(t, k) / 100, capitalises(t, k, N));
        out.adjusted[i] = s.adjusted;
        out.interest[i] = s.interest;
        if (out.accrued != nullptr) out.accrued[i] = accrued;
        out.payment[i] = payment;
        out.capital[i] = payment - s.capitalised;
        double paidOff = 0;
        if (k == N) {
            calcResidual = balance;
            paidOff = balance;
            balance = balance - paidOff;
        }
        out.residualPaidOff[i] = paidOff;
        out.closing[i] = balance;
        out.periodsRemaining[i] = static_cast<double>(N - k + 1);
    }
    // Settlement at the end of each period: every later payment and the
    // residual paid off, discounted at the redemption rate.
    const double j = t.redemptionRate / 100;
    double v = 0;
    for (std::size_t k = N; k >= 1; --k) {
        const std::size_t i = k - 1;
        out.calcResidual[i] = calcResidual;
        out.redemption[i] = v;
        if (w == 0)
            v = (out.payment[i] + out.residualPaidOff[i] + v) / (1 + j);
        else
            v = out.payment[i] + (out.residualPaidOff[i] + v) / (1 + j);
    }
}

}  // namespace lease

void FPKLease_LeaseVariable::execute() {
    traceInfo(TRACE_FPKLEASE_LEASEVARIABLE, "Information: FPKLease_LeaseVariable::execute() begin");
    const bool variable = type == LEASEVARIABLE;
    Verifier::verify(advanceCol, "d");
    Verifier::verify(residualCol, "d");
    Verifier::verify(periodsCol, "d");
    Verifier::verify(whenToPayCol, "d");
    Verifier::verify(rateCol, "d");
    Verifier::verify(redemptionRateCol, "d");
    if (variable) {
        Verifier::verify(compoundCol, "d");
        Verifier::verify(recalculateCol, "d");
    }
    Verifier::verify(resultTab, variable ? "ddddddddddd" : "dddddddddd");

    const std::size_t n = advanceCol->size();
    if (residualCol->size() != n || periodsCol->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", advanceCol->getName()}, {"COL2", residualCol->getName()},
                  {"COL3", periodsCol->getName()});

    RhoUtils::Allocator& alloc = leaseAllocator();
    lease::Terms terms;
    const double whenToPay = controlValue(whenToPayCol, "whenToPayCol->getNative failed.");
    if (!(whenToPay == 0 || whenToPay == 1)) FPK_RAISE(ERR_FPK_LEASE_INVALID_METHOD);
    terms.whenToPay = whenToPay == 1 ? IN_ADVANCE : IN_ARREARS;

    // LEASE reads RATE at row 0; LEASEVARIABLE reads the whole rate path.
    if (rateCol->size() == 0) raiseValue(rateCol, "Column should have at least 1 row");
    const IoSite rateRead{TRACE_FPKLEASE_LEASEVARIABLE, "rateCol->getNative failed."};
    FpkVector<double> rates = variable ? readDoubles(rateCol, alloc, rateRead) : readDoubles(rateCol, 0, 1, alloc, rateRead);
    for (double r : rates)
        if (!(r > -100)) raiseValue(rateCol, "Rate should be greater than -100");
    terms.ratePath = rates.data();
    terms.rateCount = rates.size();

    terms.redemptionRate = controlValue(redemptionRateCol, "redemptionRateCol->getNative failed.");
    if (!(terms.redemptionRate > -100))
        raiseValue(redemptionRateCol, "Redemption rate should be greater than -100");

    if (variable) {
        const double compound = controlValue(compoundCol, "compoundCol->getNative failed.");
        if (!(std::isfinite(compound) && compound == std::trunc(compound) && compound >= 0))
            raiseValue(compoundCol, "Compound should be a whole number not less than 0");
        terms.compound = compound > kMaxRows ? 2147483647L : static_cast<long>(compound);
        const double recalculate = controlValue(recalculateCol, "recalculateCol->getNative failed.");
        if (!(recalculate == 0 || recalculate == 1)) raiseValue(recalculateCol, "Recalculate should be in (0,1)");
        terms.recalculate = recalculate == 1;
    }

    const std::size_t columns = variable ? 11 : 10;
    ColumnBase* resultCols[11] = {};
    for (std::size_t c = 0; c < columns; ++c) resultCols[c] = resultTab->getColumn(c);
    // The write failure names the result column.
    auto writeSite = [](const ColumnBase* col, FpkString& line) {
        line.assign(col->getName());
        line.append("->setNative failed.");
        return IoSite{TRACE_FPKLEASE_LEASEVARIABLE, line.c_str()};
    };
    FpkString failLine{FpkAllocator<char>(alloc)};

    if (n == 0) {
        for (std::size_t c = 0; c < columns; ++c) resizeColumn(resultCols[c], 0, writeSite(resultCols[c], failLine));
        return;
    }

    FpkVector<double> periods =
        readDoubles(periodsCol, alloc, {TRACE_FPKLEASE_LEASEVARIABLE, "periodsCol->getNative failed."});
    double total = 0;
    for (double p : periods) {
        if (!(std::isfinite(p) && p == std::trunc(p) && p >= 1))
            raiseValue(periodsCol, "Periods should be a whole number greater than 0");
        total += p;
    }
    if (total > kMaxRows) {
        if (TRACE_FPKLEASE_LEASEVARIABLE.isEnabled(QELTrace::Error))
            TRACE_FPKLEASE_LEASEVARIABLE.write(QELTrace::Error, "result size exceeds 2147483647 rows.");
        FPK_RAISE(ERR_FPK_COMM_INTERNAL_ERR);
    }
    FpkVector<double> advances =
        readDoubles(advanceCol, alloc, {TRACE_FPKLEASE_LEASEVARIABLE, "advanceCol->getNative failed."});
    FpkVector<double> residuals =
        readDoubles(residualCol, alloc, {TRACE_FPKLEASE_LEASEVARIABLE, "residualCol->getNative failed."});

    // One buffer per result column, in the result table's order, holding
    // whole blocks (at least kSliceRows rows); it is written whenever the
    // next block would not fit, so the scratch stays small and in cache.
    const std::size_t rows = static_cast<std::size_t>(total);
    std::size_t longest = 0;
    for (double p : periods) longest = std::max(longest, static_cast<std::size_t>(p));
    const std::size_t capacity = std::max(longest, std::min(rows, kSliceRows));
    FpkVector<FpkVector<double>> out{FpkAllocator<FpkVector<double>>(alloc)};
    out.reserve(columns);
    for (std::size_t c = 0; c < columns; ++c) out.push_back(makeVector<double>(alloc, capacity));
    for (std::size_t c = 0; c < columns; ++c) resizeColumn(resultCols[c], rows, writeSite(resultCols[c], failLine));
    std::size_t written = 0, filled = 0;
    auto flush = [&] {
        for (std::size_t c = 0; c < columns; ++c)
            writeRange(resultCols[c], written, written + filled, out[c].data(), nullptr,
                       writeSite(resultCols[c], failLine));
        written += filled;
        filled = 0;
    };
    auto at = [&](std::size_t c) { return out[c].data() + filled; };

    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t N = static_cast<std::size_t>(periods[i]);
        if (filled + N > capacity) flush();
        lease::Block b;
        if (variable)
            b = {at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8), at(9), at(10)};
        else
            b = {at(0), at(1), at(2), nullptr, at(3), at(4), at(5), at(6), at(7), at(8), at(9)};
        lease::schedule(terms, advances[i], residuals[i], N, b);
        filled += N;
    }
    flush();
}

// Front doors.
void qelLeaseVariable(const ColumnHandle& advance, const ColumnHandle& residual, const ColumnHandle& periods,
                      const ColumnHandle& whenToPay, const ColumnHandle& rate, const ColumnHandle& redemptionRate,
                      const ColumnHandle& compound, const ColumnHandle& recalculate, TableHandle& result) {
    FPKLease_LeaseVariable f(FPKLease_LeaseVariable::LEASEVARIABLE, advance.get(), residual.get(), periods.get(),
                             whenToPay.get(), rate.get(), redemptionRate.get(), compound.get(), recalculate.get(),
                             result.get());
    f.execute();
}

void qelLease(const ColumnHandle& advance, const ColumnHandle& residual, const ColumnHandle& periods,
              const ColumnHandle& whenToPay, const ColumnHandle& rate, const ColumnHandle& redemptionRate,
              TableHandle& result) {
    FPKLease_LeaseVariable f(FPKLease_LeaseVariable::LEASE, advance.get(), residual.get(), periods.get(),
                             whenToPay.get(), rate.get(), redemptionRate.get(), nullptr, nullptr, result.get());
    f.execute();
}

}  // namespace businessFunctions
