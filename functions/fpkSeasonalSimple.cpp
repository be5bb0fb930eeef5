// SEASONALSIMPLE: seasonal forecast by classical decomposition.
#include <algorithm>
#include <cstdint>
#include <string>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkSeasonal.h"
#include "fpkSeasonalCommon.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(seasonalSimpleAllocator, "SeasonalSimpleAllocator")

void raiseEmpty(const char* name) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", name},
              {"APPEND", std::string(name) + " should not be empty"});
}
}  // namespace

void FPKSeasonalSimple::execute() {
    traceInfo(TRACE_FPKSEASONALSIMPLE, "Information: FPKSeasonalSimple::execute() begin");
    Verifier::verify(method_, "d", "METHOD");
    Verifier::verify(actFlag_, "d", "ACTFLAG");
    Verifier::verify(original_, "d", "ORIGINAL");
    Verifier::verify(periodNumber_, "d", "PERIODNUMBER");
    Verifier::verify(forecastPeriod_, "d", "FORECATPERIOD");
    Verifier::verify(result_, "d");
    RhoUtils::Allocator& alloc = seasonalSimpleAllocator();

    // Methods: exactly six rows, each read as an integer, checked in order.
    const std::size_t methodRows = method_->size();
    if (methodRows != 6)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", methodRows}, {"COL", "METHOD"},
                  {"APPEND", "METHOD should have 6 rows"});
    double methodValues[6];
    NullFlags methodNulls[6];
    readRange(method_, 0, 6, methodValues, methodNulls, {TRACE_FPKSEASONALSIMPLE, "method->getNative failed."});
    int32_t m[7] = {0};
    for (int i = 0; i < 6; ++i) m[i + 1] = planning::asInteger(methodNulls[i] ? 0.0 : methodValues[i]);
    if (m[1] != static_cast<int>(calendarMethod::NONE)) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_1);
    if (m[2] < 1 || m[2] > 4) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_2);
    if (m[3] < 1 || m[3] > 4) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_3);
    if (m[4] != static_cast<int>(cycleMethod::NONE)) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_4);
    if (m[5] != static_cast<int>(overrideMethod::NONE)) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_5);
    if (m[6] < 1 || m[6] > 4) FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_6);
    const auto index = static_cast<indexMethod>(m[3]);
    const bool mult = index == indexMethod::MULT_MEAN || index == indexMethod::MULT_MEDIAN;
    // The growth curve is fitted to logarithms: multiplicative model only.
    if (static_cast<projectionMethod>(m[6]) == projectionMethod::EXPONENTIAL && !mult)
        FPK_RAISE(ERR_FPK_SS_INVALID_METHOD_CMBNTN);

    if (actFlag_->size() == 0) raiseEmpty("ACTFLAG");
    const int32_t actFlag =
        planning::asInteger(planning::controlValue(actFlag_, {TRACE_FPKSEASONALSIMPLE, "actflag->getNative failed."}));
    if (actFlag != 0 && actFlag != 1)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "ACTFLAG"}, {"APPEND", "ACTFLAG should be in (0,1)"});

    if (periodNumber_->size() == 0) raiseEmpty("PERIODNUMBER");
    const int32_t P = planning::asInteger(
        planning::controlValue(periodNumber_, {TRACE_FPKSEASONALSIMPLE, "periodnumber->getNative failed."}));
    if (P < 1) FPK_RAISE(ERR_FPK_SC_INVALID_PERIOD_NUM);

    if (forecastPeriod_->size() == 0) raiseEmpty("FORECATPERIOD");
    const int32_t H = planning::asInteger(
        planning::controlValue(forecastPeriod_, {TRACE_FPKSEASONALSIMPLE, "forecatperiod->getNative failed."}));
    if (H < 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "FORECATPERIOD"},
                  {"APPEND", "Forecast periods should not be less than 0"});

    const std::size_t n = original_->size();
    if (static_cast<uint64_t>(n) < 2 * static_cast<uint64_t>(P))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", n}, {"COL", "ORIGINAL"},
                  {"APPEND", "ORIGINAL should have at least 2*PERIODNUMBER rows"});

    FpkVector<double> A = readDoubles(original_, alloc, {TRACE_FPKSEASONALSIMPLE, "original->getNative failed."});
    if (mult)
        for (std::size_t t = 0; t < n; ++t)
            if (!(A[t] > 0))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "ORIGINAL"},
                          {"APPEND", "Values should be greater than 0 for a multiplicative model"});

    const std::size_t p = static_cast<std::size_t>(P), h = static_cast<std::size_t>(H), total = n + h;
    FpkVector<double> out = makeVector<double>(alloc, 2 * total + p + seasonal::decomposeScratchSize(n, p));
    double* M = out.data();
    double* T = M + total;
    double* I = T + total;
    double* scratch = I + p;
    if (seasonal::seasonalDecompose(A.data(), n, p, h, m[2], m[3], m[6], I, T, M, scratch) !=
        seasonal::CoreStatus::OK)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "ORIGINAL"},
                  {"APPEND", "Trend should be greater than 0 for a multiplicative model"});
    // History rows show the actuals, or the fitted model with ACTFLAG 0.
    if (actFlag == 1) std::copy(A.begin(), A.end(), M);
    writeDoubles(result_->getColumn(0), M, total, {TRACE_FPKSEASONALSIMPLE, "forecast->setNative failed."});
}

void qelSeasonalSimple(const ColumnHandle& method, const ColumnHandle& actFlag, const ColumnHandle& original,
                       const ColumnHandle& periodNumber, const ColumnHandle& forecastPeriod, TableHandle& result) {
    FPKSeasonalSimple fn(method.get(), actFlag.get(), original.get(), periodNumber.get(), forecastPeriod.get(),
                         result.get());
    fn.execute();
}

}  // namespace businessFunctions
