// STOCKFLOW, STOCKFLOWREVERSE and STOCKFLOWBATCH: checks, column reads and
// writes around the arithmetic of fpkStockFlowKernel.cpp.
#include "fpkStockFlow.h"

#include <string>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "../platform/QELProfiler.h"

namespace businessFunctions {

RhoUtils::Allocator& stockFlowAllocator();

namespace stockflow {

void dayCounts(const std::string_view* keys, std::size_t n, int64_t* len, uint8_t* bad) {
    int64_t previous = 0;
    bool previousOk = false;
    for (std::size_t k = 0; k < n; ++k) {
        int y = 0, m = 0, d = 0;
        const bool ok = tryPeriodKeyStart(keys[k], y, m, d);
        const int64_t start = ok ? dayNumber(y, m, d) : 0;
        if (k == 0 && ok) {
            // The first row has no key before it: it counts the period of its
            // own kind that ends where it starts (the day, month, quarter or
            // year before it).
            switch (keys[0].size()) {
                case 8:
                    previous = start - 1;
                    break;
                case 6:
                    previous = m == 1 ? dayNumber(y - 1, 12, 1) : dayNumber(y, m - 1, 1);
                    break;
                case 5:
                    previous = m == 1 ? dayNumber(y - 1, 10, 1) : dayNumber(y, m - 3, 1);
                    break;
                default:
                    previous = dayNumber(y - 1, 1, 1);
                    break;
            }
            previousOk = true;
        }
        bad[k] = (ok && previousOk) ? 0 : 1;
        len[k] = bad[k] ? 0 : start - previous;
        previous = start;
        previousOk = ok;
    }
}

}  // namespace stockflow

namespace {

using stockflow::CoverUnit;

enum class Variant { STOCKFLOW, REVERSE, BATCH };

const char* nameOf(const ColumnBase* c, const char* fallback) {
    const char* name = c != nullptr ? c->getName() : nullptr;
    return name != nullptr && *name != '\0' ? name : fallback;
}

// Row 0 of an integer control column; no rows or a null reads as 0.
int controlValue(const ColumnBase* col, IoSite site) {
    if (col == nullptr || col->size() == 0) return 0;
    return readInts(col, 0, 1, stockFlowAllocator(), site)[0];
}

// Every planned-row column a call reads has as many rows as TIME.
void checkRows(const ColumnBase* col, const ColumnBase* time, std::size_t n) {
    const std::size_t rows = col != nullptr ? col->size() : 0;
    if (rows == n) return;
    const bool shorter = rows < n;
    FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", shorter ? nameOf(col, "?") : nameOf(time, "TIME")},
              {"COL2", shorter ? nameOf(time, "TIME") : nameOf(col, "?")});
}

struct PlanColumns {
    ColumnBase* prime;
    ColumnBase* time;
    ColumnBase* forecastSales;
    ColumnBase* forecastCover;
    ColumnBase* actualSales;
    ColumnBase* actualSupply;
    ColumnBase* actualClosing;
    ColumnBase* forecastFlag;  // null for STOCKFLOW
    ColumnBase* coverUnits;
    ColumnBase* periodLength;
    ColumnBase* maxSupply;
    ColumnBase* minSupply;
    ColumnBase* batchQuantity;  // null outside STOCKFLOWBATCH
    ColumnBase* wastageRate;
    ColumnBase* roundMethod;
    ColumnBase* endMethod;
    ColumnBase* outlookMethod;
    InternalTable* result;
};

const QELTrace::Topic& topicOf(Variant v) {
    switch (v) {
        case Variant::REVERSE:
            return TRACE_FPKSTOCKFLOWREVERSE;
        case Variant::BATCH:
            return TRACE_FPKSTOCKFLOWBATCH;
        default:
            return TRACE_FPKSTOCKFLOW;
    }
}

const char* routineLine(Variant v, CoverUnit unit) {
    static const char* const plain[3] = {"Information: FPKStockFlowPop::execute_stockFlow_days() begin",
                                         "Information: FPKStockFlowPop::execute_stockFlow_units() begin",
                                         "Information: FPKStockFlowPop::execute_stockFlow_periods() begin"};
    static const char* const batch[3] = {"Information: FPKStockFlowBatchPop::execute_stockFlowBatch_days() begin",
                                         "Information: FPKStockFlowBatchPop::execute_stockFlowBatch_units() begin",
                                         "Information: FPKStockFlowBatchPop::execute_stockFlowBatch_periods() begin"};
    return v == Variant::BATCH ? batch[unit] : plain[unit];
}

// The planning, cover and rounding passes shared by the three functions,
// from the dispatch checks to the written result table.
void runPlan(const PlanColumns& c, int offset, Variant variant) {
    const QELTrace::Topic& topic = topicOf(variant);
    switch (variant) {
        case Variant::STOCKFLOW:
            traceInfo(topic, "Information: FPKStockFlowPop::execute_stockflow() begin.");
            break;
        case Variant::REVERSE:
            traceInfo(topic, "Information: FPKStockFlowReversePop::execute_stockflowReverse() begin.");
            break;
        case Variant::BATCH:
            traceInfo(topic, "Information: FPKStockFlowBatchPop::execute_stockFlowBatch() begin.");
            break;
    }
    RhoUtils::Allocator& alloc = stockFlowAllocator();
    const int outlookValue = controlValue(c.outlookMethod, {topic, "outlookMethodCol->getNative failed."});
    const int unitValue = controlValue(c.coverUnits, {topic, "coverUnitsCol->getNative failed."});
    const char* outlookName = nameOf(c.outlookMethod, "OUTLOOKMETHOD");
    const char* unitName = nameOf(c.coverUnits, "COVERUNITS");
    CoverUnit unit = stockflow::UNITS;
    if (variant == Variant::STOCKFLOW) {
        convert2units(unitValue, unit, unitName);
        if (static_cast<unsigned>(outlookValue) >= 2)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", outlookName}, {"APPEND", "outlookmethod is not in (0,1)"});
    } else {
        if (static_cast<unsigned>(outlookValue) >= 2)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", outlookName}, {"APPEND", "outlookmethod is not in (0, 1)"});
        convert2units(unitValue, unit, unitName);
    }

    ColumnBase* out[6];
    for (std::size_t i = 0; i < 6; ++i) out[i] = tableColumn(c.result, i);
    const IoSite writeSite{topic, "resultcol->setNative failed."};
    const std::size_t n = c.time != nullptr ? c.time->size() : 0;
    if (n == 0) {
        for (ColumnBase* col : out) resizeColumn(col, 0, writeSite);
        return;
    }

    // The columns this call reads, each one TIME row per row.
    const bool hasHistory = offset >= 0;
    const bool hasPlan = offset < static_cast<int>(n) - 1;
    checkRows(c.forecastSales, c.time, n);
    checkRows(c.wastageRate, c.time, n);
    if (c.forecastFlag != nullptr) checkRows(c.forecastFlag, c.time, n);
    if (hasHistory) {
        checkRows(c.actualSales, c.time, n);
        checkRows(c.actualSupply, c.time, n);
        checkRows(c.actualClosing, c.time, n);
    }
    if (hasPlan) {
        checkRows(c.forecastCover, c.time, n);
        checkRows(c.maxSupply, c.time, n);
        checkRows(c.minSupply, c.time, n);
        if (c.batchQuantity != nullptr) checkRows(c.batchQuantity, c.time, n);
    }
    if (unit == stockflow::PERIODS) checkRows(c.periodLength, c.time, n);
    if (offset < -1 || offset > static_cast<int>(n) - 1) FPK_RAISE(ERR_FPK_SF_INVALID_OFFSET);

    auto read = [&](ColumnBase* col, bool needed, const char* line) {
        return needed ? readDoubles(col, alloc, {topic, line}) : makeVector<double>(alloc);
    };
    const FpkVector<double> prime =
        c.prime != nullptr && c.prime->size() > 0 ? readDoubles(c.prime, 0, 1, alloc, {topic, "primeCol->getNative failed."})
                                                  : makeVector<double>(alloc, 1, 0.0);
    const FpkVector<double> forecastSales = read(c.forecastSales, true, "forecastSalesCol->getNative failed.");
    const FpkVector<double> wastageRate = read(c.wastageRate, true, "wastageRateCol->getNative failed.");
    const FpkVector<double> actualSales = read(c.actualSales, hasHistory, "actualSalesCol->getNative failed.");
    const FpkVector<double> actualSupply = read(c.actualSupply, hasHistory, "actualSupplyCol->getNative failed.");
    const FpkVector<double> actualClosing = read(c.actualClosing, hasHistory, "actualClosingCol->getNative failed.");
    const FpkVector<double> forecastCover = read(c.forecastCover, hasPlan, "forecastCoverCol->getNative failed.");
    const FpkVector<double> maxSupply = read(c.maxSupply, hasPlan, "maxSupplyCol->getNative failed.");
    const FpkVector<double> minSupply = read(c.minSupply, hasPlan, "minSupplyCol->getNative failed.");
    const FpkVector<double> batch =
        read(c.batchQuantity, hasPlan && c.batchQuantity != nullptr, "batchQuantityCol->getNative failed.");

    stockflow::Series s;
    s.n = n;
    s.prime = prime[0];
    s.forecastSales = forecastSales.data();
    s.wastageRate = wastageRate.data();
    s.actualSales = actualSales.data();
    s.actualSupply = actualSupply.data();
    s.actualClosing = actualClosing.data();
    s.forecastCover = forecastCover.data();
    s.maxSupply = maxSupply.data();
    s.minSupply = minSupply.data();
    s.batch = c.batchQuantity != nullptr && hasPlan ? batch.data() : nullptr;
    s.offset = offset;
    s.endMethod = controlValue(c.endMethod, {topic, "endMethodCol->getNative failed."});
    s.outlook = outlookValue == 1 ? stockflow::RESTRICT : stockflow::DEFAULT;
    s.names.time = nameOf(c.time, "TIME");
    s.names.forecastSales = nameOf(c.forecastSales, "FORECASTSALES");
    s.names.forecastCover = nameOf(c.forecastCover, "FORECASTCOVER");
    s.names.actualSales = nameOf(c.actualSales, "ACTUALSALES");
    s.names.actualClosing = nameOf(c.actualClosing, "ACTUALCLOSING");
    s.names.wastageRate = nameOf(c.wastageRate, "WASTAGERATE");
    s.names.periodLength = nameOf(c.periodLength, "PERIODLENGTH");
    s.names.endMethod = nameOf(c.endMethod, "ENDMETHOD");
    s.names.roundMethod = nameOf(c.roundMethod, "ROUNDMETHOD");

    // Row lengths of the cover unit.
    FpkVector<int64_t> lengths = makeVector<int64_t>(alloc);
    FpkVector<uint8_t> badLengths = makeVector<uint8_t>(alloc);
    FpkVector<std::string_view> keys = makeVector<std::string_view>(alloc);
    s.lengths.unit = unit;
    if (unit == stockflow::DAYS) {
        keys = readTexts(c.time, alloc, {topic, "timeCol->getNative failed."});
        lengths.resize(n);
        badLengths.resize(n);
        stockflow::dayCounts(keys.data(), n, lengths.data(), badLengths.data());
        s.lengths.len = lengths.data();
        s.lengths.bad = badLengths.data();
        const char* timeName = s.names.time;
        s.lengths.raiseBad = [&keys, timeName](std::size_t k) {
            int y = 0, m = 0, d = 0, days = 0;
            if (k == 0)
                periodKeyStart(keys[0], timeName, y, m, d);
            else
                calculate_Time(keys[k - 1], keys[k], days, timeName);
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_DATE_FORMAT, {"COL", timeName}, {"FORMAT", "YYYYMMDD"});
        };
    } else if (unit == stockflow::PERIODS) {
        const FpkVector<int32_t> periods = readInts(c.periodLength, alloc, {topic, "periodLengthCol->getNative failed."});
        lengths.assign(periods.begin(), periods.end());
        s.lengths.len = lengths.data();
    }

    // Results: every row unwritten (null) until computed.
    FpkVector<double> values = makeVector<double>(alloc, 6 * n, 0.0);
    stockflow::Result r;
    r.opening = values.data();
    r.closing = r.opening + n;
    r.cover = r.closing + n;
    r.wastage = r.cover + n;
    r.salesOutlook = r.wastage + n;
    r.supplyOutlook = r.salesOutlook + n;
    for (ColumnBase* col : out) {
        resizeColumn(col, 0, writeSite);
        resizeColumn(col, n, writeSite);
    }
    auto write = [&]() {
        const double* columns[6] = {r.opening, r.closing, r.cover, r.wastage, r.salesOutlook, r.supplyOutlook};
        for (std::size_t i = 0; i < 6; ++i)
            writeRange(out[i], 0, i == 2 ? r.covered : r.rows, columns[i], nullptr, writeSite);
    };
    try {
        {
            QELProfiler::Section branch(__FILE__, __LINE__, "execute in three different stock_flow_branch");
            traceInfo(topic, routineLine(variant, unit));
            stockflow::EndAverage avg;
            {
                QELProfiler::Section plan(__FILE__, __LINE__, "Calculate Closing Opening SupplyOutLook SalesOutLook Wastage ");
                avg = stockflow::planRows(s, r);
            }
            QELProfiler::Section cover(__FILE__, __LINE__, "Calculate ActualCover ");
            stockflow::coverRows(s, avg, r);
        }
        QELProfiler::Section rounding(__FILE__, __LINE__, "Round result");
        const int method = controlValue(c.roundMethod, {topic, "roundMethodCol->getNative failed."});
        double* const stock[5] = {r.opening, r.closing, r.wastage, r.salesOutlook, r.supplyOutlook};
        stockflow::roundRows(method, stock, n, s.names);
    } catch (...) {
        write();
        throw;
    }
    write();
}

}  // namespace

void FPKStockFlow::checkInput(ColumnBase* prime, ColumnBase* time, ColumnBase* forecastSales,
                              ColumnBase* forecastCover, ColumnBase* actualSales, ColumnBase* actualSupply,
                              ColumnBase* actualClosing, ColumnBase* coverUnits, ColumnBase* periodLength,
                              ColumnBase* maxSupply, ColumnBase* minSupply, ColumnBase* wastageRate,
                              ColumnBase* roundMethod, ColumnBase* endMethod, ColumnBase* outlookMethod) {
    Verifier::verify(prime, "d");
    Verifier::verify(time, "S");
    Verifier::verify(forecastSales, "d");
    Verifier::verify(forecastCover, "d");
    Verifier::verify(actualSales, "d");
    Verifier::verify(actualSupply, "d");
    Verifier::verify(actualClosing, "d");
    Verifier::verify(coverUnits, "I");
    Verifier::verify(periodLength, "I");
    Verifier::verify(maxSupply, "d");
    Verifier::verify(minSupply, "d");
    Verifier::verify(wastageRate, "d");
    Verifier::verify(roundMethod, "I");
    Verifier::verify(endMethod, "I");
    Verifier::verify(outlookMethod, "I");
}

void FPKStockFlow::getOffset(int switchover, ColumnBase* time, ColumnBase* switchoverDate, int& offset) {
    const std::size_t n = time != nullptr ? time->size() : 0;
    switch (switchover) {
        case 0:
            offset = -1;
            break;
        case 1:
        case 2:
        case 3: {
            SWITCHOVER kind = NONE;
            convert2Enum(switchover, kind);
            int year = 0, month = 0, day = 0;
            switchoverDateOf(kind, switchoverDate, year, month, day);
            const FpkVector<std::string_view> keys =
                readTexts(time, stockFlowAllocator(), {TRACE_FPKSTOCKFLOW, "timeCol->getNative failed."});
            offset = historyOffsetOfKeys(keys.data(), n, nameOf(time, "TIME"), year, month, day);
            break;
        }
        case 4: {
            // SWITCHOVERDATE holds the number of history rows.
            char buffer[32];
            const std::string_view text = switchoverDateText(switchoverDate, buffer);
            bool digits = !text.empty();
            uint64_t rows = 0;
            for (char ch : text) {
                if (ch < '0' || ch > '9') {
                    digits = false;
                    break;
                }
                if (rows <= n) rows = rows * 10 + static_cast<uint64_t>(ch - '0');
            }
            if (!digits)
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_DATE_FORMAT, {"COL", nameOf(switchoverDate, "SWITCHOVERDATE")},
                          {"FORMAT", "YYYYMMDD"});
            if (rows > n) FPK_RAISE(ERR_FPK_SF_INVALID_OFFSET);
            offset = static_cast<int>(rows) - 1;
            break;
        }
        default:
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", nameOf(switchoverCol, "SWITCHOVER")},
                      {"APPEND", "switchover is not in (0, 1, 2, 3, 4)"});
    }
    if (offset < -1 || offset > static_cast<int>(n) - 1) FPK_RAISE(ERR_FPK_SF_INVALID_OFFSET);
}

void FPKStockFlow::execute() {
    traceInfo(TRACE_FPKSTOCKFLOW, "Information: FPKStockFlowPop::execute() begin");
    checkInput(primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol,
               actualClosingCol, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol, wastageRateCol,
               roundMethodCol, endMethodCol, outlookMethodCol);
    Verifier::verify(switchoverCol, "I");
    Verifier::verify(resultTab, "dddddd");
    const int switchover = controlValue(switchoverCol, {TRACE_FPKSTOCKFLOW, "switchoverCol->getNative failed."});
    int offset = 0;
    getOffset(switchover, timeCol, switchoverDateCol, offset);
    runPlan({primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol, actualClosingCol,
             nullptr, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol, nullptr, wastageRateCol,
             roundMethodCol, endMethodCol, outlookMethodCol, resultTab},
            offset, Variant::STOCKFLOW);
}

void FPKStockFlowReverse::getOffset(ColumnBase* forecastFlag, int& offset) {
    const FpkVector<int32_t> flags =
        readInts(forecastFlag, stockFlowAllocator(), {TRACE_FPKSTOCKFLOWREVERSE, "forecastFlagCol->getNative failed."});
    offset = static_cast<int>(flags.size()) - 1;
    for (std::size_t i = 0; i < flags.size(); ++i) {
        if (flags[i] > 1) {
            offset = static_cast<int>(i) - 1;
            break;
        }
    }
}

void FPKStockFlowReverse::execute() {
    traceInfo(TRACE_FPKSTOCKFLOWREVERSE, "Information: FPKStockFlowReversePop::execute() begin");
    FPKStockFlow::checkInput(primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol,
                             actualClosingCol, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol,
                             wastageRateCol, roundMethodCol, endMethodCol, outlookMethodCol);
    Verifier::verify(forecastFlagCol, "I");
    Verifier::verify(resultTab, "dddddd");
    int offset = 0;
    getOffset(forecastFlagCol, offset);
    runPlan({primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol, actualClosingCol,
             forecastFlagCol, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol, nullptr, wastageRateCol,
             roundMethodCol, endMethodCol, outlookMethodCol, resultTab},
            offset, Variant::REVERSE);
}

void FPKStockFlowBatch::execute() {
    traceInfo(TRACE_FPKSTOCKFLOWBATCH, "Information: FPKStockFlowBatchPop::execute() begin");
    FPKStockFlow::checkInput(primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol,
                             actualClosingCol, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol,
                             wastageRateCol, roundMethodCol, endMethodCol, outlookMethodCol);
    Verifier::verify(batchQuantityCol, "d");
    Verifier::verify(forecastFlagCol, "I");
    Verifier::verify(resultTab, "dddddd");
    int offset = 0;
    FPKStockFlowReverse::getOffset(forecastFlagCol, offset);
    runPlan({primeCol, timeCol, forecastSalesCol, forecastCoverCol, actualSalesCol, actualSupplyCol, actualClosingCol,
             forecastFlagCol, coverUnitsCol, periodLengthCol, maxSupplyCol, minSupplyCol, batchQuantityCol,
             wastageRateCol, roundMethodCol, endMethodCol, outlookMethodCol, resultTab},
            offset, Variant::BATCH);
}

// Front doors.
void qelStockFlow(const ColumnHandle& prime, const ColumnHandle& time, const ColumnHandle& forecastSales,
                  const ColumnHandle& forecastCover, const ColumnHandle& actualSales, const ColumnHandle& actualSupply,
                  const ColumnHandle& actualClosing, const ColumnHandle& switchover,
                  const ColumnHandle& switchoverDate, const ColumnHandle& coverUnits,
                  const ColumnHandle& periodLength, const ColumnHandle& maxSupply, const ColumnHandle& minSupply,
                  const ColumnHandle& wastageRate, const ColumnHandle& roundMethod, const ColumnHandle& endMethod,
                  const ColumnHandle& outlookMethod, TableHandle& result) {
    FPKStockFlow(prime.get(), time.get(), forecastSales.get(), forecastCover.get(), actualSales.get(),
                 actualSupply.get(), actualClosing.get(), switchover.get(), switchoverDate.get(), coverUnits.get(),
                 periodLength.get(), maxSupply.get(), minSupply.get(), wastageRate.get(), roundMethod.get(),
                 endMethod.get(), outlookMethod.get(), result.get())
        .execute();
}

void qelStockFlowReverse(const ColumnHandle& prime, const ColumnHandle& time, const ColumnHandle& forecastSales,
                         const ColumnHandle& forecastCover, const ColumnHandle& actualSales,
                         const ColumnHandle& actualSupply, const ColumnHandle& actualClosing,
                         const ColumnHandle& forecastFlag, const ColumnHandle& coverUnits,
                         const ColumnHandle& periodLength, const ColumnHandle& maxSupply,
                         const ColumnHandle& minSupply, const ColumnHandle& wastageRate,
                         const ColumnHandle& roundMethod, const ColumnHandle& endMethod,
                         const ColumnHandle& outlookMethod, TableHandle& result) {
    FPKStockFlowReverse(prime.get(), time.get(), forecastSales.get(), forecastCover.get(), actualSales.get(),
                        actualSupply.get(), actualClosing.get(), forecastFlag.get(), coverUnits.get(),
                        periodLength.get(), maxSupply.get(), minSupply.get(), wastageRate.get(), roundMethod.get(),
                        endMethod.get(), outlookMethod.get(), result.get())
        .execute();
}

void qelStockFlowBatch(const ColumnHandle& prime, const ColumnHandle& time, const ColumnHandle& forecastSales,
                       const ColumnHandle& forecastCover, const ColumnHandle& actualSales,
                       const ColumnHandle& actualSupply, const ColumnHandle& actualClosing,
                       const ColumnHandle& forecastFlag, const ColumnHandle& coverUnits,
                       const ColumnHandle& periodLength, const ColumnHandle& maxSupply, const ColumnHandle& minSupply,
                       const ColumnHandle& batchQuantity, const ColumnHandle& wastageRate,
                       const ColumnHandle& roundMethod, const ColumnHandle& endMethod,
                       const ColumnHandle& outlookMethod, TableHandle& result) {
    FPKStockFlowBatch(prime.get(), time.get(), forecastSales.get(), forecastCover.get(), actualSales.get(),
                      actualSupply.get(), actualClosing.get(), forecastFlag.get(), coverUnits.get(),
                      periodLength.get(), maxSupply.get(), minSupply.get(), batchQuantity.get(), wastageRate.get(),
                      roundMethod.get(), endMethod.get(), outlookMethod.get(), result.get())
        .execute();
}

}  // namespace businessFunctions
