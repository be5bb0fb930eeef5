// FORECAST and its nine methods.
#include "fpkForecast.h"

#include <algorithm>

#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkLeastSquare.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

FPKForecast::methodType Method = FPKForecast::ACT_BUD;
FPKForecast::daysIndicator Indicator = FPKForecast::PERIODS;

namespace {
FPK_FUNCTION_ALLOCATOR(hForecastAlloc, "ForecastAllocator")
}  // namespace

// ---------------------------------------------------------------------------
// The arithmetic.
namespace forecast {

void markRows(const std::string_view* period, const uint8_t* nulls, std::size_t n, uint8_t* marker) {
    for (std::size_t i = 0; i < n; ++i) marker[i] = (nulls == nullptr || nulls[i] == 0) && isMarkerText(period[i]);
}

namespace {

// The row walk shared by every method: a marker row shows the sum of the
// values since the previous marker row; every other row has its flag checked
// and gets its value from `row(i, isActual, value)`, which may stop the walk
// with a fault. Summing as we go adds the group's values in row order
// starting from 0, exactly as a sum over the stored values would.
template <class Row>
Outcome walk(const Plan& p, double* out, Row&& row) {
    double group = 0;
    for (std::size_t i = 0; i < p.n; ++i) {
        if (p.marker[i]) {
            out[i] = group;
            group = 0;
            continue;
        }
        if (i >= p.nF) return {i, Fault::MissingFlag};
        const int32_t f = p.flag[i];
        if (static_cast<uint32_t>(f) > 1u) return {i, Fault::BadFlag};
        double v = 0;
        const Fault fault = row(i, f == 0, v);
        if (fault != Fault::None) return {i, fault};
        out[i] = v;
        group += v;
    }
    return {p.n, Fault::None};
}

inline Fault actualAt(const Plan& p, std::size_t i, double& v) {
    if (i >= p.nA) return Fault::MissingActual;
    v = p.actual[i];
    return Fault::None;
}

}  // namespace

Outcome actBud(const Plan& p, const double* budget, double* out) {
    return walk(p, out, [&](std::size_t i, bool isActual, double& v) {
        if (isActual) return actualAt(p, i, v);
        v = budget[i];
        return Fault::None;
    });
}

Outcome overrideValues(const Plan& p, const double* overrides, std::size_t nO, double* out) {
    std::size_t next = 0;
    return walk(p, out, [&](std::size_t i, bool isActual, double& v) {
        if (isActual) return actualAt(p, i, v);
        if (next >= nO) return Fault::MissingOverride;
        v = overrides[next++];
        return Fault::None;
    });
}

Outcome trend(const Plan& p, const double* budget, double* out) {
    // Ratio over the first nA rows, whatever they hold (marker rows too).
    double sb = 0, sa = 0;
    for (std::size_t k = 0; k < p.nA; ++k) {
        const int32_t f = p.flag[k];
        if (static_cast<uint32_t>(f) > 1u) return {0, Fault::BadFlag};
        if (f == 0) {
            sb += budget[k];
            sa += p.actual[k];
        }
    }
    return walk(p, out, [&](std::size_t i, bool isActual, double& v) {
        if (isActual) return actualAt(p, i, v);
        v = sa * budget[i] / sb;
        return Fault::None;
    });
}

Outcome goal(const Plan& p, const double* budget, double* out) {
    double total = 0, sb = 0, sa = 0;
    for (std::size_t i = 0; i < p.n; ++i) {
        if (p.marker[i]) continue;
        if (i >= p.nF) return {0, Fault::MissingFlag};
        const int32_t f = p.flag[i];
        if (static_cast<uint32_t>(f) > 1u) return {0, Fault::BadFlag};
        total += budget[i];
        if (f == 0) {
            sb += budget[i];
            // An actual row past the end of ACTUAL fails in the row walk.
            if (i < p.nA) sa += p.actual[i];
        }
    }
    // The even split divides by the row counts, marker rows included.
    const double evenDivisor =
        static_cast<double>(static_cast<int64_t>(p.n) - static_cast<int64_t>(p.nA) - 1);
    return walk(p, out, [&](std::size_t i, bool isActual, double& v) {
        if (isActual) return actualAt(p, i, v);
        v = sb == total ? (total - sa) / evenDivisor : (total - sa) * budget[i] / (total - sb);
        return Fault::None;
    });
}

namespace {

// Sums and straight-line fit over the window [m - k, m) of the actual
// points. Small windows are summed afresh with LeastSquare; windows larger
// than kDirect slide: each point is added once and removed once, with the
// sums taken about a reference point (the window's mean at the last full
// pass) and a full pass again after every k updates, so that rounding
// cannot build up and interleaved actual and open rows stay linear in time.
class WindowStats {
public:
    static constexpr std::size_t kDirect = 256;

    WindowStats(std::size_t k, const double* x, const double* fitY, const double* y, const double* d)
        : k_(k), x_(x), f_(fitY), y_(y), d_(d) {}

    void evaluate(std::size_t m) {
        const std::size_t lo = m - k_;
        if (k_ <= kDirect) {
            direct(lo, m);
            return;
        }
        if (!primed_ || steps_ + (m - hi_) >= k_) {
            refresh(lo, m);
        } else {
            for (std::size_t j = hi_; j < m; ++j) update(j, 1.0);
            for (std::size_t j = lo_; j < lo; ++j) update(j, -1.0);
            steps_ += m - hi_;
        }
        lo_ = lo;
        hi_ = m;
        const double kk = static_cast<double>(k_);
        const double sxx = sxx_ - sx_ * sx_ / kk;
        const double sxf = sxf_ - sx_ * sf_ / kk;
        fitted = sxx != 0;
        if (fitted) {
            b = sxf / sxx;
            a = (fr_ + sf_ / kk) - b * (xr_ + sx_ / kk);
        }
        sumY = sy_;
        sumD = sd_;
    }

    double sumY = 0, sumD = 0, a = 0, b = 0;
    bool fitted = false;

private:
    void direct(std::size_t lo, std::size_t hi) {
        double sy = 0, sd = 0;
        for (std::size_t j = lo; j < hi; ++j) sy += y_[j];
        if (d_ != nullptr)
            for (std::size_t j = lo; j < hi; ++j) sd += d_[j];
        sumY = sy;
        sumD = sd;
        fitted = f_ != nullptr && LeastSquare(static_cast<int>(k_), x_ + lo, f_ + lo, a, b);
    }

    void refresh(std::size_t lo, std::size_t hi) {
        const double kk = static_cast<double>(k_);
        double mx = 0, mf = 0;
        for (std::size_t j = lo; j < hi; ++j) {
            mx += x_[j];
            if (f_ != nullptr) mf += f_[j];
        }
        xr_ = mx / kk;
        fr_ = mf / kk;
        sx_ = sf_ = sxx_ = sxf_ = sy_ = sd_ = 0;
        for (std::size_t j = lo; j < hi; ++j) update(j, 1.0);
        steps_ = 0;
        primed_ = true;
    }

    void update(std::size_t j, double sign) {
        const double dx = x_[j] - xr_;
        const double df = f_ != nullptr ? f_[j] - fr_ : 0.0;
        sx_ += sign * dx;
        sf_ += sign * df;
        sxx_ += sign * dx * dx;
        sxf_ += sign * dx * df;
        sy_ += sign * y_[j];
        if (d_ != nullptr) sd_ += sign * d_[j];
    }

    std::size_t k_;
    const double* x_;
    const double* f_;
    const double* y_;
    const double* d_;
    bool primed_ = false;
    std::size_t lo_ = 0, hi_ = 0, steps_ = 0;
    double xr_ = 0, fr_ = 0, sx_ = 0, sf_ = 0, sxx_ = 0, sxf_ = 0, sy_ = 0, sd_ = 0;
};

// AVERAGE and LINEAR: one walk in row order; actual periods enter the list
// of points, open periods are projected from the last k of them.
Outcome projectFromWindow(const Plan& p, std::size_t k, const int32_t* days, double* out, bool linear,
                          RhoUtils::Allocator& scratch) {
    const bool byDays = days != nullptr;
    const std::size_t cap = p.n < p.nA ? p.n : p.nA;
    FpkVector<double> px = makeScratch<double>(scratch, cap);
    FpkVector<double> py = makeScratch<double>(scratch, cap);
    FpkVector<double> pd = makeScratch<double>(scratch, byDays ? cap : 0);
    FpkVector<double> pr = makeScratch<double>(scratch, byDays && linear ? cap : 0);
    WindowStats window(k, px.data(), linear ? (byDays ? pr.data() : py.data()) : nullptr, py.data(),
                       byDays ? pd.data() : nullptr);
    std::size_t m = 0;  // points in the list
    bool stale = true;  // the window has changed since it was last evaluated
    double position = 0;
    int64_t dayCount = 0;
    return walk(p, out, [&](std::size_t i, bool isActual, double& v) {
        int32_t d = 0;
        double x = position;
        if (byDays) {
            d = days[i];
            if (d < 1) return Fault::BadDays;
            x = static_cast<double>(dayCount) + d / 2.0;
        }
        if (isActual) {
            const Fault f = actualAt(p, i, v);
            if (f != Fault::None) return f;
            px[m] = x;
            py[m] = v;
            if (byDays) {
                pd[m] = d;
                if (linear) pr[m] = v / d;
            }
            ++m;
            stale = true;
        } else {
            if (m < k) return Fault::WindowShort;
            if (stale) {
                window.evaluate(m);
                stale = false;
            }
            const double rateAverage = byDays ? window.sumY / window.sumD * d : window.sumY / static_cast<double>(k);
            if (linear && window.fitted)
                v = byDays ? (window.a + window.b * x) * d : window.a + window.b * x;
            else
                v = rateAverage;
        }
        position += 1;
        dayCount += d;
        return Fault::None;
    });
}

}  // namespace

Outcome average(const Plan& p, std::size_t k, const int32_t* days, double* out, RhoUtils::Allocator& scratch) {
    return projectFromWindow(p, k, days, out, false, scratch);
}

Outcome linear(const Plan& p, std::size_t k, const int32_t* days, double* out, RhoUtils::Allocator& scratch) {
    return projectFromWindow(p, k, days, out, true, scratch);
}

Outcome periodic(const Plan& p, const double* budget, const int32_t* groupEnd, std::size_t nG, double* out) {
    // Every check runs before any value is produced: the groups are handled
    // one after the other, totals first, then the rows of the group, and a
    // fault anywhere reports no finished rows.
    double group = 0;  // marker-row sum, independent of the period groups
    std::size_t start = 0;
    while (start < p.n) {
        double sa = 0, sb = 0;
        std::size_t end = start;
        while (end < p.n) {
            const std::size_t i = end++;
            if (!p.marker[i]) {
                if (i >= p.nF) return {0, Fault::MissingFlag};
                const int32_t f = p.flag[i];
                if (static_cast<uint32_t>(f) > 1u) return {0, Fault::BadFlag};
                if (f == 0) {
                    if (i >= p.nA) return {0, Fault::MissingActual};
                    sa += p.actual[i];
                    sb += budget[i];
                }
            }
            if (i < nG && groupEnd[i] == 1) break;
        }
        for (std::size_t i = start; i < end; ++i) {
            if (p.marker[i]) {
                out[i] = group;
                group = 0;
                continue;
            }
            const double v = p.flag[i] == 0 ? p.actual[i] : (sb != 0 ? budget[i] * sa / sb : budget[i]);
            out[i] = v;
            group += v;
        }
        start = end;
    }
    return {p.n, Fault::None};
}

void subtotalFlags(const uint8_t* marker, std::size_t n, int32_t* flags) {
    for (std::size_t i = 0; i < n; ++i) {
        if (marker[i] && i > 0) flags[i - 1] = 1;
        flags[i] = 0;
    }
}

}  // namespace forecast

// ---------------------------------------------------------------------------
// The algorithm class.

namespace {

const IoSite kPeriodRead{TRACE_FPKFORECAST, "period->getNative failed."};
const IoSite kBudgetRead{TRACE_FPKFORECAST, "budget->getNative failed."};
const IoSite kActualRead{TRACE_FPKFORECAST, "actual->getNative failed."};
const IoSite kFlagRead{TRACE_FPKFORECAST, "afFlag->getNative failed."};
const IoSite kOverrideRead{TRACE_FPKFORECAST, "overridecol->getNative failed."};
const IoSite kPeriodsNumRead{TRACE_FPKFORECAST, "periodsNumCol->getNative failed."};
const IoSite kDaysRead{TRACE_FPKFORECAST, "dayscol->getNative failed."};
const IoSite kPeriodsFlagRead{TRACE_FPKFORECAST, "periodsFlagCol->getNative failed."};
const IoSite kRePeriodWrite{TRACE_FPKFORECAST, "re_period->setNative failed."};
const IoSite kForecastWrite{TRACE_FPKFORECAST, "forecast->setNative failed."};

[[noreturn]] void raiseSizeLess(const ColumnBase* shorter, const ColumnBase* longer) {
    FPK_RAISE(ERR_FPK_FCST_COL_SIZE_LESS, {"COL1", shorter->getName()}, {"COL2", longer->getName()});
}

// Rows per range when PERIOD is scanned or copied: the texts of one range
// stay in cache instead of a view of every row being kept.
constexpr std::size_t kTextRange = std::size_t(1) << 15;

// Numeric rows of a column, nulls read as 0, in ranges through a small null
// buffer.
template <class T>
FpkVector<T> readNumbers(const ColumnBase* col, std::size_t begin, std::size_t end, IoSite site) {
    FpkVector<T> out = makeScratch<T>(hForecastAlloc(), end - begin);
    FpkVector<NullFlags> nulls = makeScratch<NullFlags>(hForecastAlloc(), std::min(end - begin, kTextRange));
    for (std::size_t lo = begin; lo < end; lo += kTextRange) {
        const std::size_t hi = std::min(end, lo + kTextRange);
        T* dst = out.data() + (lo - begin);
        readRange(col, lo, hi, dst, nulls.data(), site);
        replaceNulls(dst, nulls.data(), hi - lo, T(0));
    }
    return out;
}
template <class T>
FpkVector<T> readNumbers(const ColumnBase* col, IoSite site) {
    return readNumbers<T>(col, 0, col->size(), site);
}

// The marker rows of PERIOD.
struct Periods {
    const ColumnBase* column;
    FpkVector<uint8_t> marker;

    explicit Periods(const ColumnBase* period)
        : column(period), marker(makeScratch<uint8_t>(hForecastAlloc(), period->size())) {
        const std::size_t n = marker.size();
        FpkVector<std::string_view> texts = makeScratch<std::string_view>(hForecastAlloc(), std::min(n, kTextRange));
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(hForecastAlloc(), texts.size());
        for (std::size_t lo = 0; lo < n; lo += kTextRange) {
            const std::size_t hi = std::min(n, lo + kTextRange);
            readRange(period, lo, hi, texts.data(), nulls.data(), kPeriodRead);
            forecast::markRows(texts.data(), nulls.data(), hi - lo, marker.data() + lo);
        }
    }
    std::size_t size() const { return marker.size(); }

    // RE_PERIOD rows [0, rows) = PERIOD rows, nulls included.
    void copyTo(ColumnBase* re_period, std::size_t rows) const {
        FpkVector<std::string_view> texts = makeScratch<std::string_view>(hForecastAlloc(), std::min(rows, kTextRange));
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(hForecastAlloc(), texts.size());
        for (std::size_t lo = 0; lo < rows; lo += kTextRange) {
            const std::size_t hi = std::min(rows, lo + kTextRange);
            readRange(column, lo, hi, texts.data(), nulls.data(), kPeriodRead);
            writeRange(re_period, lo, hi, texts.data(), nulls.data(), kRePeriodWrite);
        }
    }
};

// Writes the rows a method finished and raises the fault that stopped it.
// Both result columns get the PERIOD row count; rows after the finished ones
// stay null.
void finish(const Periods& periods, const double* values, forecast::Outcome outcome, ColumnBase* re_period,
            ColumnBase* result, const ColumnBase* period, const ColumnBase* actual, const ColumnBase* afFlag,
            const ColumnBase* overrideCol, const ColumnBase* days) {
    const std::size_t n = periods.size();
    resizeColumn(re_period, n, kRePeriodWrite);
    resizeColumn(result, n, kForecastWrite);
    periods.copyTo(re_period, outcome.rows);
    writeRange(result, 0, outcome.rows, values, static_cast<const NullFlags*>(nullptr), kForecastWrite);
    switch (outcome.fault) {
        case forecast::Fault::None:
            return;
        case forecast::Fault::BadFlag:
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", afFlag->getName()}, {"APPEND", "AFflag should be in (0,1)"});
        case forecast::Fault::MissingFlag:
            raiseSizeLess(afFlag, period);
        case forecast::Fault::MissingActual:
            raiseSizeLess(actual, period);
        case forecast::Fault::MissingOverride:
            raiseSizeLess(overrideCol, period);
        case forecast::Fault::WindowShort:
            FPK_RAISE(ERR_FPK_FCST_INVALID_PRD_NUM);
        case forecast::Fault::BadDays:
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", days->getName()},
                      {"APPEND", "Days should be greater than 0"});
    }
    FPK_RAISE_TRACED(TRACE_FPKFORECAST, "Information: unknown fault of a FORECAST method.", ERR_FPK_COMM_INTERNAL_ERR);
}

forecast::Plan planOf(const Periods& periods, const FpkVector<int32_t>& flags, const FpkVector<double>& actuals) {
    return forecast::Plan{periods.size(), periods.marker.data(), flags.data(), flags.size(), actuals.data(),
                          actuals.size()};
}

}  // namespace

FPKForecast::FPKForecast(ColumnBase* periodCol_, ColumnBase* budgetCol_, ColumnBase* actualCol_, ColumnBase* afFlagCol_,
                         ColumnBase* periodsNumCol_, ColumnBase* overrideCol_, ColumnBase* daysCol_,
                         ColumnBase* periodsFlagCol_, InternalTable* result, int method_, int indicator_flag_)
    : periodCol(periodCol_),
      budgetCol(budgetCol_),
      actualCol(actualCol_),
      afFlagCol(afFlagCol_),
      periodsNumCol(periodsNumCol_),
      overrideCol(overrideCol_),
      daysCol(daysCol_),
      periodsFlagCol(periodsFlagCol_),
      resultTab(result),
      method(method_),
      indicator_flag(indicator_flag_) {}

void FPKForecast::execute() {
    traceInfo(TRACE_FPKFORECAST, "Information: FPKForecast::execute() begin");
    if (static_cast<unsigned>(method) > 8u) FPK_RAISE(ERR_FPK_FCST_INVALID_METHOD);
    Method = static_cast<methodType>(method);
    if (indicator_flag == 0)
        Indicator = PERIODS;
    else if (indicator_flag == 1)
        Indicator = DAYS;
    else
        FPK_RAISE(ERR_FPK_FCST_INVALID_INDICATOR);

    Verifier::verify(periodCol, "S", "PERIOD");
    Verifier::verify(budgetCol, "d", "BUDGET");
    Verifier::verify(actualCol, "d", "ACTUAL");
    Verifier::verify(afFlagCol, "I", "AFFLAG");
    if (Method == AVERAGE || Method == LINEAR || Method == PERIODIC) Verifier::verify(periodsNumCol, "I", "PERIODSNUM");
    if (Method == OVERRIDE) Verifier::verify(overrideCol, "d", "OVERRIDE");
    if (Indicator == DAYS) Verifier::verify(daysCol, "I", "DAYS");
    Verifier::verify(periodsFlagCol, "I", "PERIODSFLAG");
    Verifier::verify(resultTab, "Sd");
    execute_forecast();
}

void FPKForecast::execute_forecast() {
    ColumnBase* re_period = tableColumn(resultTab, 0);
    ColumnBase* result = tableColumn(resultTab, 1);
    switch (Method) {
        case ACT_BUD:
            execute_actbud(periodCol, budgetCol, actualCol, afFlagCol, re_period, result);
            break;
        case OVERRIDE:
            execute_override(periodCol, actualCol, overrideCol, afFlagCol, re_period, result);
            break;
        case TREND:
            execute_trend(periodCol, budgetCol, actualCol, afFlagCol, re_period, result);
            break;
        case GOAL:
        case FULL_TERM:
            execute_goal(periodCol, budgetCol, actualCol, afFlagCol, re_period, result);
            break;
        case AVERAGE:
            execute_average(periodCol, actualCol, afFlagCol, periodsNumCol, daysCol, re_period, result);
            break;
        case LINEAR:
            execute_linear(periodCol, actualCol, afFlagCol, periodsNumCol, daysCol, re_period, result);
            break;
        case PERIODIC: {
            FpkVector<int32_t> flags = readNumbers<int32_t>(periodsFlagCol, kPeriodsFlagRead);
            execute_periodic(periodCol, budgetCol, actualCol, afFlagCol, flags, re_period, result);
            break;
        }
        case SUBTOTAL:
            execute_subtotal(periodCol, budgetCol, actualCol, afFlagCol, re_period, result);
            break;
    }
}

void FPKForecast::convertFlag(int flag, AFFLAG& out) { out = flag == 0 ? ACTUAL : (flag == 1 ? FORECAST : NONE); }

bool FPKForecast::LeastSquare(int n, const double* x, const double* y, double& a, double& b) {
    return businessFunctions::LeastSquare(n, x, y, a, b);
}

void FPKForecast::execute_actbud(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                                 ColumnBase* re_period, ColumnBase* result) {
    if (afFlag->size() > budget->size()) raiseSizeLess(budget, afFlag);
    if (afFlag->size() > period->size()) raiseSizeLess(period, afFlag);
    FpkVector<double> budgets = readNumbers<double>(budget, 0, afFlag->size(), kBudgetRead);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<int32_t> flags = readNumbers<int32_t>(afFlag, kFlagRead);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), periods.size());
    const forecast::Outcome outcome = forecast::actBud(planOf(periods, flags, actuals), budgets.data(), values.data());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, nullptr, nullptr);
}

void FPKForecast::execute_override(ColumnBase* period, ColumnBase* actual, ColumnBase* overridecol,
                                   ColumnBase* afFlag, ColumnBase* re_period, ColumnBase* result) {
    if (period->size() < afFlag->size()) raiseSizeLess(period, afFlag);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<double> overrides = readNumbers<double>(overridecol, kOverrideRead);
    FpkVector<int32_t> flags = readNumbers<int32_t>(afFlag, kFlagRead);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), periods.size());
    const forecast::Outcome outcome = forecast::overrideValues(planOf(periods, flags, actuals), overrides.data(),
                                                               overrides.size(), values.data());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, overridecol, nullptr);
}

namespace {
// The common preparation of TREND and GOAL; `reads` receives the vectors.
void checkBudgetDriven(const ColumnBase* period, const ColumnBase* budget, const ColumnBase* afFlag) {
    if (period->size() < afFlag->size()) raiseSizeLess(period, afFlag);
    if (period->size() != budget->size())
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", period->getName()}, {"COL2", budget->getName()});
}
}  // namespace

void FPKForecast::execute_trend(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                                ColumnBase* re_period, ColumnBase* result) {
    checkBudgetDriven(period, budget, afFlag);
    // The ratio pass reads one flag per ACTUAL row.
    if (afFlag->size() < actual->size()) raiseSizeLess(afFlag, actual);
    FpkVector<double> budgets = readNumbers<double>(budget, kBudgetRead);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<int32_t> flags = readNumbers<int32_t>(afFlag, kFlagRead);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), periods.size());
    const forecast::Outcome outcome = forecast::trend(planOf(periods, flags, actuals), budgets.data(), values.data());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, nullptr, nullptr);
}

void FPKForecast::execute_goal(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                               ColumnBase* re_period, ColumnBase* result) {
    checkBudgetDriven(period, budget, afFlag);
    FpkVector<double> budgets = readNumbers<double>(budget, kBudgetRead);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<int32_t> flags = readNumbers<int32_t>(afFlag, kFlagRead);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), periods.size());
    const forecast::Outcome outcome = forecast::goal(planOf(periods, flags, actuals), budgets.data(), values.data());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, nullptr, nullptr);
}

void FPKForecast::execute_average(ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag, ColumnBase* periodsNum,
                                  ColumnBase* days, ColumnBase* re_period, ColumnBase* result) {
    execute_window(false, period, actual, afFlag, periodsNum, days, re_period, result);
}

void FPKForecast::execute_linear(ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag, ColumnBase* periodsNum,
                                 ColumnBase* days, ColumnBase* re_period, ColumnBase* result) {
    execute_window(true, period, actual, afFlag, periodsNum, days, re_period, result);
}

void FPKForecast::execute_window(bool linear, ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag,
                                 ColumnBase* periodsNum, ColumnBase* days, ColumnBase* re_period, ColumnBase* result) {
    const bool byDays = Indicator == DAYS;
    const std::size_t nP = period->size();
    if (nP < afFlag->size()) raiseSizeLess(period, afFlag);
    if (afFlag->size() < nP) raiseSizeLess(afFlag, period);
    if (byDays && days->size() < nP) raiseSizeLess(days, period);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<int32_t> flags = readNumbers<int32_t>(afFlag, kFlagRead);
    FpkVector<int32_t> count =
        readInts(periodsNum, 0, periodsNum->size() > 0 ? 1 : 0, hForecastAlloc(), kPeriodsNumRead);
    FpkVector<int32_t> dayCounts = makeVector<int32_t>(hForecastAlloc());
    if (byDays) dayCounts = readNumbers<int32_t>(days, kDaysRead);
    const int32_t k = count.empty() ? 0 : count[0];
    if (k < 1)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", periodsNum->getName()},
                  {"APPEND", "Period number should be greater than 0"});
    if (static_cast<std::size_t>(k) > actuals.size()) FPK_RAISE(ERR_FPK_FCST_INVALID_PRD_NUM);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), nP);
    const forecast::Plan plan = planOf(periods, flags, actuals);
    const int32_t* dayData = byDays ? dayCounts.data() : nullptr;
    const forecast::Outcome outcome =
        linear ? forecast::linear(plan, static_cast<std::size_t>(k), dayData, values.data(), hForecastAlloc())
               : forecast::average(plan, static_cast<std::size_t>(k), dayData, values.data(), hForecastAlloc());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, nullptr, days);
}

void FPKForecast::execute_periodic(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                                   const FpkVector<int32_t>& flags, ColumnBase* re_period, ColumnBase* result) {
    const std::size_t nP = period->size();
    if (nP < afFlag->size()) raiseSizeLess(period, afFlag);
    if (afFlag->size() < nP) raiseSizeLess(afFlag, period);
    if (nP != budget->size())
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", period->getName()}, {"COL2", budget->getName()});
    FpkVector<double> budgets = readNumbers<double>(budget, kBudgetRead);
    FpkVector<double> actuals = readNumbers<double>(actual, kActualRead);
    FpkVector<int32_t> afFlags = readNumbers<int32_t>(afFlag, kFlagRead);
    Periods periods(period);
    FpkVector<double> values = makeScratch<double>(hForecastAlloc(), nP);
    const forecast::Outcome outcome = forecast::periodic(planOf(periods, afFlags, actuals), budgets.data(),
                                                         flags.data(), flags.size(), values.data());
    finish(periods, values.data(), outcome, re_period, result, period, actual, afFlag, nullptr, nullptr);
}

void FPKForecast::execute_subtotal(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                                   ColumnBase* re_period, ColumnBase* result) {
    FpkVector<int32_t> flags = makeScratch<int32_t>(hForecastAlloc(), period->size());
    {
        Periods periods(period);
        forecast::subtotalFlags(periods.marker.data(), periods.size(), flags.data());
    }
    execute_periodic(period, budget, actual, afFlag, flags, re_period, result);
}

// Front door.
void qelForecast(const ColumnHandle& period, const ColumnHandle& budget, const ColumnHandle& actual,
                 const ColumnHandle& afFlag, const ColumnHandle& periodsNum, const ColumnHandle& overrideCol,
                 const ColumnHandle& days, const ColumnHandle& periodsFlag, int method, int indicator,
                 TableHandle& result) {
    FPKForecast forecast(period.get(), budget.get(), actual.get(), afFlag.get(), periodsNum.get(), overrideCol.get(),
                         days.get(), periodsFlag.get(), result.get(), method, indicator);
    forecast.execute();
}

}  // namespace businessFunctions
