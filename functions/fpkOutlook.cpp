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

void outlook(const double* plan, const double* actual, std::size_t nA, double* out, std::size_t n, int64_t offset,
             FPKOutlook::outlookMethod method) {
    const std::size_t history = static_cast<std::size_t>(std::min<int64_t>(offset + 1, static_cast<int64_t>(n)));
    const std::size_t known = std::min(history, nA);
    double sa = 0, sph = 0, spf = 0;
    for (std::size_t r = 0; r < known; ++r) sa += actual[r];
    for (std::size_t r = 0; r < history; ++r) sph += plan[r];
    for (std::size_t r = history; r < n; ++r) spf += plan[r];
    const double spt = sph + spf;
    const std::size_t future = n - history;

    // Future rows first: when out is plan, the history sums are already taken.
    switch (method) {
        case FPKOutlook::RATIO:
            if (sph != 0) {
                const double ratio = sa / sph;
                for (std::size_t r = history; r < n; ++r) out[r] = plan[r] * ratio;
            } else if (out != plan) {
                std::copy(plan + history, plan + n, out + history);
            }
            break;
        case FPKOutlook::TARGET:
            if (spf != 0) {
                const double scale = (spt - sa) / spf;
                for (std::size_t r = history; r < n; ++r) out[r] = plan[r] * scale;
            } else if (future > 0) {
                const double even = (spt - sa) / static_cast<double>(future);
                std::fill(out + history, out + n, even);
            }
            break;
        default:  // PLAN
            if (out != plan) std::copy(plan + history, plan + n, out + history);
            break;
    }
    std::copy(actual, actual + known, out);
    std::fill(out + known, out + history, 0.0);
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

    FpkVector<double> plan = readDoubles(plan_, alloc, {TRACE_FPKOUTLOOK, "plan->getNative failed."});
    // Only the history rows ACTUAL has are used.
    const std::size_t nA = std::min(actual_->size(), static_cast<std::size_t>(offset + 1));
    FpkVector<double> actual = readDoubles(actual_, 0, nA, alloc, {TRACE_FPKOUTLOOK, "actual->getNative failed."});
    outlookMethod method = PLAN;
    if (method_->size() > 0) {
        const int32_t value =
            planning::asInteger(planning::controlValue(method_, {TRACE_FPKOUTLOOK, "method->getNative failed."}));
        if (value == RATIO || value == TARGET) method = static_cast<outlookMethod>(value);
    }
    outlook::outlook(plan.data(), actual.data(), nA, plan.data(), n, offset, method);
    writeDoubles(result_->getColumn(0), plan.data(), n, {TRACE_FPKOUTLOOK, "outlook->setNative failed."});
}

void qelOutlook(const ColumnHandle& plan, const ColumnHandle& actual, const ColumnHandle& method,
                const ColumnHandle& switchover, const ColumnHandle& switchoverDate, TableHandle& result) {
    FPKOutlook fn(plan.get(), actual.get(), method.get(), switchover.get(), switchoverDate.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
