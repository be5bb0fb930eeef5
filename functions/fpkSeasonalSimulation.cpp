// SEASONALSIMULATION: a synthetic seasonal profile between Lower and Upper.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

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
FPK_FUNCTION_ALLOCATOR(seasonalSimulationAllocator, "SeasonalSimulationAllocator")

// The profile cost P x DF stays below 10^8 with this bound.
constexpr int32_t kMaxPeriodicity = 10000;

[[noreturn]] void raiseMethod(const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "METHOD"}, {"APPEND", append});
}
}  // namespace

void FPKSeasonalSimulation::execute() {
    traceInfo(TRACE_FPKSEASONALSIMULATION, "Information: FPKSeasonalSimulation::execute() begin");
    Verifier::verify(method_, "d", "METHOD");
    Verifier::verify(periods_, "d", "PERIODS");
    Verifier::verify(param_, "d", "PARAM");
    Verifier::verify(result_, "d");
    RhoUtils::Allocator& alloc = seasonalSimulationAllocator();

    const std::size_t methodRows = method_->size();
    if (methodRows != 3)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", methodRows}, {"COL", "METHOD"},
                  {"APPEND", "METHOD should have 3 rows"});
    double settings[3];
    NullFlags settingNulls[3];
    readRange(method_, 0, 3, settings, settingNulls, {TRACE_FPKSEASONALSIMULATION, "method->getNative failed."});
    int32_t s[3];
    for (int i = 0; i < 3; ++i) s[i] = planning::asInteger(settingNulls[i] ? 0.0 : settings[i]);
    const int32_t method = s[0], P = s[1], DF = s[2];
    if (method != static_cast<int>(simulationMethod::HARMONIC) && method != static_cast<int>(simulationMethod::KNOTS))
        raiseMethod("Method should be in (1,2)");
    if (P < 1 || P > kMaxPeriodicity) raiseMethod("Periodicity should be between 1 and 10000");
    if (DF < 0) raiseMethod("Degrees of freedom should not be less than 0");
    if (DF >= P) FPK_RAISE(ERR_FPK_SNSMLTN_INVALID_PARAM_DF);
    if (param_->size() != static_cast<std::size_t>(DF) + 2) FPK_RAISE(ERR_FPK_SNSMLTN_PARAM_SIZE_NOT_MATCH);

    FpkVector<double> param = readDoubles(param_, alloc, {TRACE_FPKSEASONALSIMULATION, "param->getNative failed."});
    const double lower = param[0], upper = param[1];
    if (!(lower < upper)) FPK_RAISE(ERR_FPK_SNSMLTN_INVALID_PARAM_LOWER);

    // Nulls read as NaN here, so that null and non-finite periods both give null rows.
    FpkVector<double> periods = readDoubles(periods_, alloc, {TRACE_FPKSEASONALSIMULATION, "periods->getNative failed."},
                                            std::numeric_limits<double>::quiet_NaN());

    const std::size_t p = static_cast<std::size_t>(P);
    FpkVector<double> profile = makeVector<double>(alloc, p);
    seasonal::simulationProfile(method, p, static_cast<std::size_t>(DF), param.data() + 2, profile.data());
    const auto [loIt, hiIt] = std::minmax_element(profile.begin(), profile.end());
    const double lo = *loIt, hi = *hiIt;

    const std::size_t m = periods.size();
    FpkVector<double> out = makeVector<double>(alloc, m);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, m);
    for (std::size_t r = 0; r < m; ++r) {
        if (!std::isfinite(periods[r])) {
            nulls[r] = 1;
            continue;
        }
        out[r] = seasonal::simulationValue(profile.data(), p, lo, hi, lower, upper, periods[r]);
    }
    writeDoubles(result_->getColumn(0), out.data(), m, {TRACE_FPKSEASONALSIMULATION, "result->setNative failed."},
                 nulls.data());
}

void qelSeasonalSimulation(const ColumnHandle& method, const ColumnHandle& periods, const ColumnHandle& param,
                           TableHandle& result) {
    FPKSeasonalSimulation fn(method.get(), periods.get(), param.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
