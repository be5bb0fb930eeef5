// DRIVER: history up to the switch-over, then HISTORY[b] x DRIVER[i] / DRIVER[b].
#include "fpkDriver.h"

#include <string_view>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(driverAllocator, "DriverAllocator")

const QELTrace::Topic& topic() { return TRACE_FPKDRIVER; }

void requireRows(const ColumnBase* col, const ColumnBase* timeCol) {
    const std::size_t n = timeCol->size();
    if (col->size() == n) return;
    const bool shorter = col->size() < n;
    FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", shorter ? col->getName() : timeCol->getName()},
              {"COL2", shorter ? timeCol->getName() : col->getName()});
}
}  // namespace

namespace kernel {
void driverProjection(const double* history, const double* driver, std::size_t n, std::size_t base, double* out) {
    for (std::size_t i = 0; i < n && i <= base; ++i) out[i] = history[i];
    for (std::size_t i = base + 1; i < n; ++i) out[i] = history[base] * driver[i] / driver[base];
}
}  // namespace kernel

void FPKDriver::execute() {
    traceInfo(topic(), "Information: FPKDriver::execute() begin");
    Verifier::verify(historyTab, "[Id]");
    Verifier::verify(timeTab, "S");
    Verifier::verify(switchoverTab, "[Id]");
    Verifier::verify(switchoverDateTab, "[IdS]");
    Verifier::verify(driversTab, "[Id]+");
    Verifier::verify(resultTab, "Sd+");
    const std::size_t k = driversTab->getColumnCount();
    if (resultTab->getColumnCount() != k + 1)
        FPK_RAISE(ERR_FPK_COMM_TABLE_COL_SIZE, {"COL_NUM", resultTab->getColumnCount()}, {"TAB", resultTab->getName()},
                  {"EXP_COL_SIZE", k + 1});
    const ColumnBase* historyCol = historyTab->getColumn(0);
    const ColumnBase* timeCol = timeTab->getColumn(0);
    const std::size_t n = timeCol->size();
    requireRows(historyCol, timeCol);
    for (std::size_t j = 0; j < k; ++j) requireRows(driversTab->getColumn(j), timeCol);

    RhoUtils::Allocator& alloc = driverAllocator();
    FpkVector<std::string_view> keys = readTexts(timeCol, alloc, {topic(), "timeCol->getNative failed."});
    int offset = -1;
    const ColumnBase* switchoverCol = switchoverTab->getColumn(0);
    if (switchoverCol->size() > 0) {
        int year = 0, month = 0, day = 0;
        Common_SwitchOver(switchoverCol, switchoverDateTab->getColumn(0), static_cast<int>(n), true, true, year, month,
                          day);
        offset = historyOffsetOfKeys(keys.data(), n, timeCol->getName(), year, month, day);
    }
    const std::size_t base = offset >= 0 ? static_cast<std::size_t>(offset) : 0;

    FpkVector<double> history = readDoubles(historyCol, alloc, {topic(), "historyCol->getNative failed."});
    FpkVector<double> drivers = makeVector<double>(alloc, n * k);
    for (std::size_t j = 0; j < k; ++j) {
        FpkVector<double> d = readDoubles(driversTab->getColumn(j), alloc, {topic(), "driversCol->getNative failed."});
        for (std::size_t i = 0; i < n; ++i) drivers[j * n + i] = d[i];
        if (base + 1 < n && d[base] == 0) FPK_RAISE(ERR_FPK_DRIVER_INVALID_ORG_DRIVER);
    }

    // Column 0: the period keys, a null key written as the empty text.
    ColumnBase* keyCol = resultTab->getColumn(0);
    const IoSite writeSite{topic(), "resultCol->setNative failed."};
    resizeColumn(keyCol, n, writeSite);
    writeRange(keyCol, 0, n, keys.data(), nullptr, writeSite);
    FpkVector<double> out = makeVector<double>(alloc, n);
    for (std::size_t j = 0; j < k; ++j) {
        kernel::driverProjection(history.data(), drivers.data() + j * n, n, base, out.data());
        writeDoubles(resultTab->getColumn(j + 1), out.data(), n, writeSite);
    }
}

void qelDriver(const TableHandle& history, const TableHandle& time, const TableHandle& switchover,
               const TableHandle& switchoverDate, const TableHandle& drivers, TableHandle& result) {
    FPKDriver(history.get(), time.get(), switchover.get(), switchoverDate.get(), drivers.get(), result.get())
        .execute();
}

}  // namespace businessFunctions
