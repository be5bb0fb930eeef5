// TIME: builds the period keys of an axis that starts with the period
// containing STARTDATE, covers the periods starting before the switch-over
// date (history) and then TIMEINFORMATION plan periods.
#include "fpkTime.h"

#include <string_view>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(timeAllocator, "TimeAllocator")

const IoSite kTimeWrite{TRACE_FPKTIME, "timeCol->setNative failed."};

// Checks an eight-digit YYYYMMDD number and splits it; the format error names
// the column.
timeaxis::Date checkedDate(bool present, double v, const char* colName) {
    if (!present || !controls::isWholeIn(v, 10000000, 99999999))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_DATE_FORMAT, {"COL", colName}, {"FORMAT", "YYYYMMDD"});
    const int value = static_cast<int>(v);
    const timeaxis::Date d{value / 10000, (value / 100) % 100, value % 100};
    IsLegal(d.year, d.month, d.day);
    return d;
}

void putDigits(char* out, int value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}
}  // namespace

namespace timeaxis {

int64_t dayOf(const Date& d) {
    const int64_t y = d.year - 1;
    const int32_t* table = isleap(d.year) ? MONTHDAYLEAP : MONTHDAY;
    return 365 * y + y / 4 - y / 100 + y / 400 + table[d.month] + d.day;
}

Date dateOf(int64_t n) {
    // Civil date from days counted from 1 March of year 0 (the leap day ends
    // each shifted year, so every 400-year era has the same shape).
    const int64_t z = n + 305;  // day 1 (0001-01-01) is day 306 from 0000-03-01
    const int64_t era = z / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    const int year = static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0));
    return Date{year, month, day};
}

int weekDay(const Date& d) { return static_cast<int>((dayOf(d) - 1) % 7); }

Date periodStart(FPKTime::TIMESCALE scale, const Date& date) {
    switch (scale) {
        case FPKTime::DAY:
            return date;
        case FPKTime::WEEK:
            return dateOf(dayOf(date) - weekDay(date));
        case FPKTime::MONTH:
            return Date{date.year, date.month, 1};
        case FPKTime::QUARTER:
            return Date{date.year, 3 * ((date.month - 1) / 3) + 1, 1};
        case FPKTime::YEAR:
            return Date{date.year, 1, 1};
    }
    return date;
}

namespace {
int monthsPerPeriod(FPKTime::TIMESCALE scale) {
    return scale == FPKTime::MONTH ? 1 : scale == FPKTime::QUARTER ? 3 : 12;
}
int64_t monthIndex(const Date& d) { return 12 * static_cast<int64_t>(d.year) + (d.month - 1); }
}  // namespace

Date periodAt(FPKTime::TIMESCALE scale, const Date& s0, int64_t k) {
    switch (scale) {
        case FPKTime::DAY:
            return dateOf(dayOf(s0) + k);
        case FPKTime::WEEK:
            return dateOf(dayOf(s0) + 7 * k);
        default: {
            const int64_t m = monthIndex(s0) + k * monthsPerPeriod(scale);
            return Date{static_cast<int>(m / 12), static_cast<int>(m % 12) + 1, 1};
        }
    }
}

int64_t historyPeriods(FPKTime::TIMESCALE scale, const Date& s0, const Date& d) {
    switch (scale) {
        case FPKTime::DAY:
            return dayOf(d) - dayOf(s0);
        case FPKTime::WEEK:
            return (dayOf(d) - dayOf(s0) + 6) / 7;
        case FPKTime::MONTH:
            return (12 * static_cast<int64_t>(d.year) + d.month) - (12 * static_cast<int64_t>(s0.year) + s0.month) +
                   (d.day > 1 ? 1 : 0);
        case FPKTime::QUARTER: {
            const bool quarterStart = d.day == 1 && (d.month - 1) % 3 == 0;
            return (4 * static_cast<int64_t>(d.year) + (d.month - 1) / 3) -
                   (4 * static_cast<int64_t>(s0.year) + (s0.month - 1) / 3) + (quarterStart ? 0 : 1);
        }
        case FPKTime::YEAR: {
            const bool yearStart = d.month == 1 && d.day == 1;
            return static_cast<int64_t>(d.year) - s0.year + (yearStart ? 0 : 1);
        }
    }
    return 0;
}

bool beyondLastYear(FPKTime::TIMESCALE scale, const Date& s0, int64_t k) {
    switch (scale) {
        case FPKTime::DAY:
            return dayOf(s0) + k > dayOf(Date{9999, 12, 31});
        case FPKTime::WEEK:
            return dayOf(s0) + 7 * k > dayOf(Date{9999, 12, 31});
        default:
            return monthIndex(s0) + k * monthsPerPeriod(scale) > monthIndex(Date{9999, 12, 1});
    }
}

std::size_t formatKey(FPKTime::TIMESCALE scale, const Date& start, char* out) {
    putDigits(out, start.year, 4);
    switch (scale) {
        case FPKTime::DAY:
        case FPKTime::WEEK:
            putDigits(out + 4, start.month, 2);
            putDigits(out + 6, start.day, 2);
            return 8;
        case FPKTime::MONTH:
            putDigits(out + 4, start.month, 2);
            return 6;
        case FPKTime::QUARTER:
            out[4] = static_cast<char>('1' + (start.month - 1) / 3);
            return 5;
        case FPKTime::YEAR:
            return 4;
    }
    return 4;
}

}  // namespace timeaxis

void FPKTime::execute() {
    traceInfo(TRACE_FPKTIME, "Information: FPKTime::execute() begin");
    Verifier::verify(timeScaleCol, "d", "TIMESCALE");
    Verifier::verify(startDateCol, "d", "STARTDATE");
    Verifier::verify(switchOverCol, "d", "SWITCHOVER");
    Verifier::verify(timeInformationCol, "d", "TIMEINFORMATION");
    Verifier::verify(result, "S");
    RhoUtils::Allocator& alloc = timeAllocator();

    double scaleValue = 0;
    if (!controls::readFirst(timeScaleCol, alloc, {TRACE_FPKTIME, "timeScaleCol->getNative failed."}, scaleValue) ||
        !controls::isWholeIn(scaleValue, 1, 5))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "TIMESCALE"}, {"APPEND", "Timescale should be in (1,2,3,4,5)"});
    const TIMESCALE scale = static_cast<TIMESCALE>(static_cast<int>(scaleValue));

    double startValue = 0;
    const bool hasStart =
        controls::readFirst(startDateCol, alloc, {TRACE_FPKTIME, "startDateCol->getNative failed."}, startValue);
    const timeaxis::Date start = checkedDate(hasStart, startValue, "STARTDATE");

    double switchValue = 0;
    if (!controls::readFirst(switchOverCol, alloc, {TRACE_FPKTIME, "switchOverCol->getNative failed."}, switchValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_DATE_FORMAT, {"COL", "SWITCHOVER"}, {"FORMAT", "YYYYMMDD"});
    const bool hasSwitchOver = switchValue != 0.0;
    timeaxis::Date switchOver{0, 0, 0};
    if (hasSwitchOver) switchOver = checkedDate(true, switchValue, "SWITCHOVER");

    double planValue = 0;
    if (!controls::readFirst(timeInformationCol, alloc, {TRACE_FPKTIME, "timeInformationCol->getNative failed."},
                             planValue) ||
        !controls::isWholeIn(planValue, 0, controls::kMaxInt32))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "TIMEINFORMATION"},
                  {"APPEND", "Timeinformation should be a whole number not less than 0"});

    if (hasSwitchOver && switchValue < startValue) FPK_RAISE(ERR_FPK_SF_INVALID_TIME);

    const timeaxis::Date s0 = timeaxis::periodStart(scale, start);
    const int64_t history = hasSwitchOver ? timeaxis::historyPeriods(scale, s0, switchOver) : 0;
    const int64_t rows = history + static_cast<int64_t>(planValue);
    if (rows > 0 && timeaxis::beyondLastYear(scale, s0, rows - 1))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "TIMEINFORMATION"},
                  {"APPEND", "Last period should start before year 10000"});

    // Keys of at most 8 characters, stored side by side.
    const std::size_t n = static_cast<std::size_t>(rows);
    FpkVector<char> text = makeVector<char>(alloc, n * 8);
    FpkVector<std::string_view> keys = makeVector<std::string_view>(alloc, n);
    for (std::size_t k = 0; k < n; ++k) {
        char* slot = text.data() + 8 * k;
        const std::size_t len =
            timeaxis::formatKey(scale, timeaxis::periodAt(scale, s0, static_cast<int64_t>(k)), slot);
        keys[k] = std::string_view(slot, len);
    }
    ColumnBase* timeCol = result->getColumn(0);
    resizeColumn(timeCol, n, kTimeWrite);
    writeRange(timeCol, 0, n, keys.data(), nullptr, kTimeWrite);
}

void qelTime(const ColumnHandle& timeScale, const ColumnHandle& startDate, const ColumnHandle& switchOver,
             const ColumnHandle& timeInformation, TableHandle& result) {
    FPKTime(timeScale.get(), startDate.get(), switchOver.get(), timeInformation.get(), result.get()).execute();
}

}  // namespace businessFunctions
