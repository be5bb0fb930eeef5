// SEASONALCOMPLEX: the full seasonal pipeline with working days, business
// cycles and planner overrides.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

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
FPK_FUNCTION_ALLOCATOR(seasonalComplexAllocator, "SeasonalComplexAllocator")

[[noreturn]] void raiseValue(const char* col, const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col}, {"APPEND", append});
}
}  // namespace

void FPKSeasonalComplex::execute() {
    traceInfo(TRACE_FPKSEASONALCOMPLEX, "Information: FPKSeasonalComplex::execute() begin");
    Verifier::verify(original_, "d", "ORIGINAL");
    Verifier::verify(workingDays_, "d", "WORKINGDAYS");
    Verifier::verify(cycle_, "d", "CYCLE");
    Verifier::verify(override_, "d", "OVERRIDE");
    Verifier::verify(overrideValue_, "d", "OVERRIDEVALUE");
    Verifier::verify(config_, "d", "CONFIG");
    Verifier::verify(result_, "dddd");
    RhoUtils::Allocator& alloc = seasonalComplexAllocator();

    // CONFIG: P, H and Methods 2..6, each read as an integer.
    const std::size_t configRows = config_->size();
    if (configRows != 7)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", configRows}, {"COL", "CONFIG"},
                  {"APPEND", "CONFIG should have 7 rows"});
    double configValues[7];
    NullFlags configNulls[7];
    readRange(config_, 0, 7, configValues, configNulls, {TRACE_FPKSEASONALCOMPLEX, "config->getNative failed."});
    int32_t c[7];
    for (int i = 0; i < 7; ++i) c[i] = planning::asInteger(configNulls[i] ? 0.0 : configValues[i]);
    const int32_t P = c[0], H = c[1];
    if (P < 1) raiseValue("CONFIG", "Periodicity should be greater than 0");
    if (H < 0) raiseValue("CONFIG", "Forecast periods should not be less than 0");
    // Method 1 is always WORKINGDAYS here; rows 2..6 hold Methods 2..6.
    const int32_t m2 = c[2], m3 = c[3], m4 = c[4], m5 = c[5], m6 = c[6];
    if (m2 < 1 || m2 > 4) FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_2);
    if (m3 < 1 || m3 > 4) FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_3);
    if (m4 < 1 || m4 > 3) FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_4);
    if (m5 < 1 || m5 > 3) FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_5);
    if (m6 < 1 || m6 > 4) FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_6);
    const auto index = static_cast<indexMethod>(m3);
    const bool mult = index == indexMethod::MULT_MEAN || index == indexMethod::MULT_MEDIAN;
    if (static_cast<projectionMethod>(m6) == projectionMethod::EXPONENTIAL && !mult)
        FPK_RAISE(ERR_FPK_SC_INVALID_METHOD_CMBNTN);
    const auto cycles = static_cast<cycleMethod>(m4);
    const auto overrides = static_cast<overrideMethod>(m5);

    const std::size_t n = original_->size();
    if (static_cast<uint64_t>(n) < 2 * static_cast<uint64_t>(P))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", n}, {"COL", "ORIGINAL"},
                  {"APPEND", "ORIGINAL should have at least 2*periodicity rows"});
    const std::size_t p = static_cast<std::size_t>(P), h = static_cast<std::size_t>(H), total = n + h;
    if (workingDays_->size() != total) FPK_RAISE(ERR_FPK_SC_WKDYS_SIZE_NOT_MATCH);

    // Cycles: row 0 the count k, then amplitude, length, start, function per cycle.
    FpkVector<seasonal::Cycle> cycleList = makeVector<seasonal::Cycle>(alloc);
    if (cycles != cycleMethod::NONE) {
        const std::size_t rows = cycle_->size();
        if (rows == 0) FPK_RAISE(ERR_FPK_SC_CYCLE_SIZE_NOT_MATCH);
        FpkVector<double> cv = readDoubles(cycle_, alloc, {TRACE_FPKSEASONALCOMPLEX, "cycle->getNative failed."});
        const int32_t k = planning::asInteger(cv[0]);
        if (k < 0) raiseValue("CYCLE", "Number of cycles should not be less than 0");
        if (static_cast<uint64_t>(rows) != 4 * static_cast<uint64_t>(k) + 1)
            FPK_RAISE(ERR_FPK_SC_CYCLE_SIZE_NOT_MATCH);
        cycleList.resize(static_cast<std::size_t>(k));
        double amplitudes = 0;
        for (std::size_t j = 0; j < cycleList.size(); ++j) {
            seasonal::Cycle& cy = cycleList[j];
            cy.amplitude = cv[4 * j + 1];
            cy.length = cv[4 * j + 2];
            cy.start = cv[4 * j + 3];
            cy.function = planning::asInteger(cv[4 * j + 4]);
            if (!(cy.length > 0)) raiseValue("CYCLE", "Cycle length should be greater than 0");
            if (cy.function != 1 && cy.function != 2) raiseValue("CYCLE", "Cycle function should be in (1,2)");
            amplitudes += std::fabs(cy.amplitude);
        }
        // Keeps every multiplicative cycle factor 1 + c(t) above 0.
        if (mult && !(amplitudes < 1)) raiseValue("CYCLE", "Sum of cycle amplitudes should be less than 1");
    }

    // Overrides: one record per forecast period, read by the front door.
    FpkVector<double> overrideFlag = makeVector<double>(alloc, h);
    FpkVector<double> overrideAmount = makeVector<double>(alloc, h);
    if (overrides != overrideMethod::NONE) {
        if (override_->size() != h) FPK_RAISE(ERR_FPK_SC_OVRD_SIZE_NOT_MATCH);
        if (overrideValue_->size() != h)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", overrideValue_->size()}, {"COL", "OVERRIDEVALUE"},
                      {"APPEND", "Size of OVERRIDEVALUE should be equal to Forecast periods"});
        if (overrides_.size() != h)
            FPK_RAISE_TRACED(TRACE_FPKSEASONALCOMPLEX, "override->getNative failed.", ERR_FPK_COMM_INTERNAL_ERR);
        for (std::size_t i = 0; i < h; ++i) {
            const int32_t flag = planning::asInteger(overrides_[i].flag);
            if (flag != 0 && flag != 1) raiseValue("OVERRIDE", "Override should be in (0,1)");
            overrideFlag[i] = flag;
            overrideAmount[i] = overrides_[i].value;
        }
    }

    FpkVector<double> y = readDoubles(original_, alloc, {TRACE_FPKSEASONALCOMPLEX, "original->getNative failed."});
    FpkVector<double> w =
        readDoubles(workingDays_, alloc, {TRACE_FPKSEASONALCOMPLEX, "workingdays->getNative failed."});
    for (std::size_t t = 0; t < total; ++t)
        if (!(w[t] > 0)) raiseValue("WORKINGDAYS", "Working days should be greater than 0");
    if (mult)
        for (std::size_t t = 0; t < n; ++t)
            if (!(y[t] > 0)) raiseValue("ORIGINAL", "Values should be greater than 0 for a multiplicative model");

    FpkVector<double> out = makeVector<double>(alloc, 4 * total + seasonal::complexScratchSize(n, p, h));
    double* trend = out.data();
    double* diagnostics = trend + total;
    double* calculated = diagnostics + total;
    double* forecast = calculated + total;
    const seasonal::ComplexMethods methods{m2, m3, m4, m5, m6};
    if (seasonal::seasonalComplex(y.data(), w.data(), n, p, h, cycleList.data(), cycleList.size(),
                                  overrideFlag.data(), overrideAmount.data(), methods, trend, diagnostics, calculated,
                                  forecast, forecast + total) != seasonal::CoreStatus::OK)
        raiseValue("ORIGINAL", "Trend should be greater than 0 for a multiplicative model");

    // DIAGNOTICS of the forecast periods are null.
    FpkVector<NullFlags> diagNulls = makeVector<NullFlags>(alloc, total);
    std::fill(diagNulls.begin() + static_cast<std::ptrdiff_t>(n), diagNulls.end(), NullFlags(1));
    writeDoubles(result_->getColumn(0), trend, total, {TRACE_FPKSEASONALCOMPLEX, "trend->setNative failed."});
    writeDoubles(result_->getColumn(1), diagnostics, total, {TRACE_FPKSEASONALCOMPLEX, "diagnotics->setNative failed."},
                 diagNulls.data());
    writeDoubles(result_->getColumn(2), calculated, total, {TRACE_FPKSEASONALCOMPLEX, "calculated->setNative failed."});
    writeDoubles(result_->getColumn(3), forecast, total, {TRACE_FPKSEASONALCOMPLEX, "forecast->setNative failed."});
}

void qelSeasonalComplex(const ColumnHandle& original, const ColumnHandle& workingDays, const ColumnHandle& cycle,
                        const ColumnHandle& override_, const ColumnHandle& overrideValue, const ColumnHandle& config,
                        TableHandle& result) {
    // The planner's overrides, read whole on the ordinary heap. A failed
    // read leaves no records; execute() reports it only when overrides are
    // in use.
    std::vector<FPKSeasonalComplex::OverrideRecord> records;
    const ColumnBase* flagCol = override_.get();
    const ColumnBase* valueCol = overrideValue.get();
    if (flagCol != nullptr && valueCol != nullptr) {
        const std::size_t nf = flagCol->size(), nv = valueCol->size();
        std::vector<double> flags(nf), values(nv);
        std::vector<NullFlags> flagNulls(nf), valueNulls(nv);
        const bool ok = (nf == 0 || flagCol->getNative(0, nf, flags.data(), flagNulls.data())) &&
                        (nv == 0 || valueCol->getNative(0, nv, values.data(), valueNulls.data()));
        if (ok) {
            records.reserve(nf);
            for (std::size_t k = 0; k < nf; ++k)
                records.push_back({flagNulls[k] ? 0.0 : flags[k], (k < nv && !valueNulls[k]) ? values[k] : 0.0});
        }
    }
    FPKSeasonalComplex fn(original.get(), workingDays.get(), cycle.get(), override_.get(), overrideValue.get(),
                          config.get(), records, result.get());
    fn.execute();
}

}  // namespace businessFunctions
