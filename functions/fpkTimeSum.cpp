// TIMESUM: each year row receives the sum, average, day-weighted average,
// first or last of its month rows; month rows are copied.
#include "fpkTimeSum.h"

#include <cstdint>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(timeSumAllocator, "TimeSumAllocator")
}  // namespace

namespace timesum {

namespace {
// Walks the years in order, calling f(firstMonthRow, monthCount, yearRow).
template <class F>
void forEachYear(const int64_t* numPeriods, std::size_t years, FPKTimeSum::layoutType layout, F&& f) {
    std::size_t months = 0;
    for (std::size_t y = 0; y < years; ++y) months += static_cast<std::size_t>(numPeriods[y]);
    std::size_t before = 0;
    for (std::size_t y = 0; y < years; ++y) {
        const std::size_t count = static_cast<std::size_t>(numPeriods[y]);
        const std::size_t first = layout == FPKTimeSum::INTERLEAVED ? before + y : before;
        const std::size_t yearRow = layout == FPKTimeSum::INTERLEAVED ? first + count : months + y;
        if (!f(first, count, yearRow)) return;
        before += count;
    }
}
}  // namespace

std::size_t firstBadDays(const double* days, const int64_t* numPeriods, std::size_t years,
                         FPKTimeSum::layoutType layout) {
    std::size_t bad = SIZE_MAX;
    forEachYear(numPeriods, years, layout, [&](std::size_t first, std::size_t count, std::size_t) {
        for (std::size_t j = 0; j < count; ++j)
            if (!(days[first + j] > 0)) {
                bad = first + j;
                return false;
            }
        return true;
    });
    return bad;
}

void aggregate(const double* data, const double* days, const int64_t* numPeriods, std::size_t years,
               FPKTimeSum::layoutType layout, FPKTimeSum::methodType method, double* out) {
    forEachYear(numPeriods, years, layout, [&](std::size_t first, std::size_t count, std::size_t yearRow) {
        const double* v = data + first;
        for (std::size_t j = 0; j < count; ++j) out[first + j] = v[j];
        double value = 0;
        switch (method) {
            case FPKTimeSum::SUM:
            case FPKTimeSum::AVERAGE: {
                double s = 0;
                for (std::size_t j = 0; j < count; ++j) s += v[j];
                value = method == FPKTimeSum::SUM ? s : s / static_cast<double>(count);
                break;
            }
            case FPKTimeSum::DAYS_AVERAGE: {
                const double* d = days + first;
                double weighted = 0, total = 0;
                for (std::size_t j = 0; j < count; ++j) weighted += v[j] * d[j];
                for (std::size_t j = 0; j < count; ++j) total += d[j];
                value = weighted / total;
                break;
            }
            case FPKTimeSum::FIRST:
                value = v[0];
                break;
            case FPKTimeSum::LAST:
                value = v[count - 1];
                break;
        }
        out[yearRow] = value;
        return true;
    });
}

}  // namespace timesum

void FPKTimeSum::execute() {
    traceInfo(TRACE_FPKTIMESUM, "Information: FPKTimeSum::execute() begin");
    Verifier::verify(dataTab, "[Id]");
    Verifier::verify(numPeriodsTab, "[Id]");
    Verifier::verify(methodsTab, "[Id]+");
    Verifier::verify(daysTab, "[Id]");
    Verifier::verify(configTab, "[Id]");
    Verifier::verify(result, "d");
    RhoUtils::Allocator& alloc = timeSumAllocator();

    const std::size_t methodColumns = methodsTab->getColumnCount();
    if (methodColumns != 1)
        FPK_RAISE(ERR_FPK_COMM_TABLE_COL_SIZE, {"COL_NUM", methodColumns}, {"TAB", methodsTab->getName()},
                  {"EXP_COL_SIZE", 1});

    double methodValue = 0;
    if (!controls::readFirst(methodsTab->getColumn(0), alloc, {TRACE_FPKTIMESUM, "methodsTab->getNative failed."},
                             methodValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "METHODS"}, {"APPEND", "METHODS should not be empty"});
    if (!controls::isWholeIn(methodValue, 1, 5))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "METHODS"}, {"APPEND", "Method should be in (1,2,3,4,5)"});
    const methodType method = static_cast<methodType>(static_cast<int>(methodValue));

    double configValue = 0;
    if (!controls::readFirst(configTab->getColumn(0), alloc, {TRACE_FPKTIMESUM, "configTab->getNative failed."},
                             configValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "CONFIG"}, {"APPEND", "CONFIG should not be empty"});
    if (configValue != 0.0 && configValue != 1.0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "CONFIG"}, {"APPEND", "Config should be in (0,1)"});
    const layoutType layout = configValue == 1.0 ? BLOCK : INTERLEAVED;

    FpkVector<double> numPeriodsValues =
        readDoubles(numPeriodsTab->getColumn(0), alloc, {TRACE_FPKTIMESUM, "numPeriodsTab->getNative failed."});
    const std::size_t years = numPeriodsValues.size();
    FpkVector<int64_t> numPeriods = makeVector<int64_t>(alloc, years);
    int64_t months = 0;
    for (std::size_t y = 0; y < years; ++y) {
        if (!controls::isWholeIn(numPeriodsValues[y], 1, controls::kMaxInt32))
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "NUMPERIODS"},
                      {"APPEND", "Numperiods should be a whole number greater than 0"});
        numPeriods[y] = static_cast<int64_t>(numPeriodsValues[y]);
        months += numPeriods[y];
    }

    ColumnBase* dataCol = dataTab->getColumn(0);
    const std::size_t n = dataCol->size();
    if (static_cast<uint64_t>(n) != static_cast<uint64_t>(months) + years) FPK_RAISE(ERR_FPK_TS_DATA_SIZE_NOT_MATCH);

    FpkVector<double> days = makeVector<double>(alloc);
    if (method == DAYS_AVERAGE) {
        ColumnBase* daysCol = daysTab->getColumn(0);
        const std::size_t daysRows = daysCol->size();
        if (daysRows != n)
            FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", daysRows < n ? "DAYS" : "DATA"},
                      {"COL2", daysRows < n ? "DATA" : "DAYS"});
    }

    FpkVector<double> data = readDoubles(dataCol, alloc, {TRACE_FPKTIMESUM, "dataTab->getNative failed."});
    if (method == DAYS_AVERAGE) {
        days = readDoubles(daysTab->getColumn(0), alloc, {TRACE_FPKTIMESUM, "daysTab->getNative failed."});
        if (timesum::firstBadDays(days.data(), numPeriods.data(), years, layout) != SIZE_MAX)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "DAYS"}, {"APPEND", "Days should be greater than 0"});
    }
    FpkVector<double> out = makeVector<double>(alloc, n);
    timesum::aggregate(data.data(), days.data(), numPeriods.data(), years, layout, method, out.data());
    writeDoubles(result->getColumn(0), out.data(), n, {TRACE_FPKTIMESUM, "resultCol->setNative failed."});
}

void qelTimeSum(const TableHandle& data, const TableHandle& numPeriods, const TableHandle& methods,
                const TableHandle& days, const TableHandle& config, TableHandle& result) {
    FPKTimeSum(data.get(), numPeriods.get(), methods.get(), days.get(), config.get(), result.get()).execute();
}

}  // namespace businessFunctions
