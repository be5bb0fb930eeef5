// OUTLOOK: actuals before the switch-over, then the plan, the plan at the
// run rate so far, or the plan reshaped to still meet its total.
#include "fpkOutlook.h"

#include <algorithm>

#include "../common/fpkAllocator.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkSeasonalCommon.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(outlookAllocator, "OutlookAllocator")
}  // namespace

namespace outlook {

FutureView futureView(FPKOutlook::outlookMethod method, double sa, double sph, double spf, std::size_t futureRows) {
    switch (method) {
        case FPKOutlook::RATIO:
            // Run rate: the actual-to-plan ratio of the history.
            return {false, sph != 0 ? sa / sph : 1.0, 0.0};
        case FPKOutlook::TARGET: {
            // What is left of the plan total after the actuals, spread over the
            // future in proportion to its plan, or evenly when that plan is 0.
            const double rest = sph + spf - sa;
            if (spf != 0) return {false, rest / spf, 0.0};
            return {true, 1.0, futureRows > 0 ? rest / static_cast<double>(futureRows) : 0.0};
        }
        default:
            return {false, 1.0, 0.0};
    }
}

void future(const double* plan, double* out, std::size_t count, const FutureView& view) {
    if (view.even) {
        std::fill(out, out + count, view.level);
    } else if (view.factor != 1.0) {
        for (std::size_t i = 0; i < count; ++i) out[i] = plan[i] * view.factor;
    } else if (out != plan) {
        std::copy(plan, plan + count, out);
    }
}

double sum(const double* v, std::size_t count) {
    double s = 0;
    for (std::size_t i = 0; i < count; ++i) s += v[i];
    return s;
}

}  // namespace outlook

void FPKOutlook::execute() {
    traceInfo(TRACE_FPKOUTLOOK, "Information: FPKOutlook::execute() begin");
    Verifier::verify(plan_, "d", "PLAN");
    Verifier::verify(actual_, "d", "ACTUAL");
    Verifier::verify(method_, "d", "METHOD");
    Verifier::verify(switchover_, "d", "SWITCHOVER");
    Verifier::verify(switchoverDate_, "S", "SWITCHOVERDATE");
    Verifier::verify(result_, "d");
    RhoUtils::Allocator& alloc = outlookAllocator();

    const std::size_t n = plan_->size();
    // A missing kind is reported like a kind outside 0..3.
    if (switchover_->size() == 0) FPK_RAISE(ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE);
    const int offset = planning::monthHistoryOffset(switchover_, switchoverDate_, n);
    const IoSite readPlan{TRACE_FPKOUTLOOK, "plan->getNative failed."};
    const IoSite write{TRACE_FPKOUTLOOK, "outlook->setNative failed."};

    // History (at most twelve rows): the actuals ACTUAL has, 0 beyond its end.
    const std::size_t history = static_cast<std::size_t>(offset + 1);
    FpkVector<double> historyPlan = readDoubles(plan_, 0, history, alloc, readPlan);
    const std::size_t nA = std::min(actual_->size(), history);
    FpkVector<double> actual = readDoubles(actual_, 0, nA, alloc, {TRACE_FPKOUTLOOK, "actual->getNative failed."});
    actual.resize(history, 0.0);
    outlookMethod method = PLAN;
    if (method_->size() > 0) {
        const int32_t value =
            planning::asInteger(planning::controlValue(method_, {TRACE_FPKOUTLOOK, "method->getNative failed."}));
        if (value == RATIO || value == TARGET) method = static_cast<outlookMethod>(value);
    }

    // The future rows stream through one block buffer; TARGET first sums
    // the future plan in a pass of its own.
    const std::size_t block = std::min(planning::kBlockRows, n - history);
    FpkVector<double> values = makeVector<double>(alloc, block);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, block);
    double spf = 0;
    if (method == TARGET) {
        for (std::size_t b = history; b < n; b += block) {
            const std::size_t e = std::min(n, b + block);
            planning::readBlock(plan_, b, e, values.data(), nulls.data(), readPlan);
            spf += outlook::sum(values.data(), e - b);
        }
    }
    const outlook::FutureView view =
        outlook::futureView(method, outlook::sum(actual.data(), history), outlook::sum(historyPlan.data(), history),
                            spf, n - history);

    ColumnBase* out = result_->getColumn(0);
    resizeColumn(out, n, write);
    writeRange(out, 0, history, actual.data(), nullptr, write);
    for (std::size_t b = history; b < n; b += block) {
        const std::size_t e = std::min(n, b + block);
        if (!view.even) planning::readBlock(plan_, b, e, values.data(), nulls.data(), readPlan);
        outlook::future(values.data(), values.data(), e - b, view);
        writeRange(out, b, e, values.data(), nullptr, write);
    }
}

void qelOutlook(const ColumnHandle& plan, const ColumnHandle& actual, const ColumnHandle& method,
                const ColumnHandle& switchover, const ColumnHandle& switchoverDate, TableHandle& result) {
    FPKOutlook fn(plan.get(), actual.get(), method.get(), switchover.get(), switchoverDate.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
