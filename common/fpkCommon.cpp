#include "fpkCommon.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../platform/QELClock.h"
#include "fpkColumnIO.h"
#include "fpkCommonCode.h"
#include "fpkDefines.h"
#include "fpkTrace.h"

namespace businessFunctions {

const int32_t MONTHDAY[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
const int32_t MONTHDAYLEAP[13] = {0, 0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};
int32_t smonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

namespace {

int monthLength(int year, int month) {
    static const int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 ? 28 + isleap(year) : kLengths[month - 1];
}

bool allDigits(std::string_view s) {
    for (char c : s)
        if (c < '0' || c > '9') return false;
    return true;
}

// strtol over a slice of digits (at most 8 characters).
int digitsValue(std::string_view s) {
    char buf[16];
    std::size_t n = s.size() < 15 ? s.size() : 15;
    for (std::size_t i = 0; i < n; ++i) buf[i] = s[i];
    buf[n] = '\0';
    return static_cast<int>(std::strtol(buf, nullptr, 10));
}

[[noreturn]] void raiseDateFormat(const char* colName) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_DATE_FORMAT, {"COL", colName}, {"FORMAT", "YYYYMMDD"});
}
}  // namespace

int isleap(int year) {
    if (year % 400 == 0) return 1;
    return (year % 4 == 0 && year % 100 != 0) ? 1 : 0;
}

void leapYearAdjust(int year) { smonthDays[1] = isleap(year) ? 29 : 28; }

int CaculateWeekDay(int year, int month, int day) {
    leapYearAdjust(year);
    if (month == 1 || month == 2) {
        month += 12;
        year -= 1;
    }
    const int K = year % 100;
    const int J = year / 100;
    int h = day + 26 * (month + 1) / 10 + K + K / 4 + J / 4 - 2 * J - 1;
    if (h < 0) h += 7 * ((-h) / 7 + 1);
    return h % 7;
}

void CaculateWorkingDays(int year, int month, int day, double* out1, double* out2, double* out3) {
    *out1 = 0;
    *out2 = 0;
    *out3 = 0;
    if (month < 1 || month > 12) return;
    CaculateWeekDay(year, month, 1);  // sets February for the year
    const int length = smonthDays[month - 1];
    for (int d = 1; d <= length; ++d) {
        if (CaculateWeekDay(year, month, d) >= 5) continue;
        if (d < day)
            *out1 += 1;
        else
            *out2 += 1;
        *out3 += 1;
    }
}

double roundDouble(double x) {
    const double i = std::trunc(x);
    return (x - i >= 0.5) ? i + 1 : i;
}

void convert2Enum(int value, SWITCHOVER& out) {
    switch (value) {
        case 0:
            out = NONE;
            return;
        case 1:
            out = ENTER_DATE;
            return;
        case 2:
            out = TODAY;
            return;
        case 3:
            out = MONTH;
            return;
        default:
            FPK_RAISE(ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE);
    }
}

void IsLegal(int year, int month, int day) {
    if (month < 1 || month > 12) FPK_RAISE(ERR_FPK_COMM_MONTH_OUT_OF_RANGE);
    if (day < 1 || day > monthLength(year, month)) FPK_RAISE(ERR_FPK_COMM_DAY_OUT_OF_RANGE);
}

int64_t dayNumber(int year, int month, int day) {
    // Leap days of the years before `year`, with divisions rounded toward
    // minus infinity so that year 0 (a leap year) and earlier years count too.
    const int64_t y = static_cast<int64_t>(year) - 1;
    auto floorDiv = [](int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); };
    const int32_t* table = isleap(year) ? MONTHDAYLEAP : MONTHDAY;
    return 365 * y + floorDiv(y, 4) - floorDiv(y, 100) + floorDiv(y, 400) + table[month] + day - 1;
}

void todayUtc(int& year, int& month, int& day) {
    // Civil date from days since 1970-01-01 (proleptic Gregorian).
    int64_t ms = QELClock::currentTimeUtcMillis();
    int64_t z = (ms >= 0 ? ms / 86400000 : -((-ms + 86399999) / 86400000)) + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int64_t d = doy - (153 * mp + 2) / 5 + 1;
    const int64_t m = mp < 10 ? mp + 3 : mp - 9;
    year = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
    month = static_cast<int>(m);
    day = static_cast<int>(d);
}

namespace {
enum class KeyParse { Ok, BadFormat, BadQuarter };

// Splits a period key into the first day of its period, without any check
// of month or day.
KeyParse splitPeriodKey(std::string_view key, int& year, int& month, int& day) {
    if (!allDigits(key)) return KeyParse::BadFormat;
    year = digitsValue(key.substr(0, 4));
    month = 1;
    day = 1;
    switch (key.size()) {
        case 8:
            month = digitsValue(key.substr(4, 2));
            day = digitsValue(key.substr(6, 2));
            return KeyParse::Ok;
        case 6:
            month = digitsValue(key.substr(4, 2));
            return KeyParse::Ok;
        case 5: {
            const int q = digitsValue(key.substr(4, 1));
            if (q < 1 || q > 4) return KeyParse::BadQuarter;
            month = 3 * (q - 1) + 1;
            return KeyParse::Ok;
        }
        case 4:
            return KeyParse::Ok;
        default:
            return KeyParse::BadFormat;
    }
}
}  // namespace

bool tryPeriodKeyStart(std::string_view key, int& year, int& month, int& day) {
    if (splitPeriodKey(key, year, month, day) != KeyParse::Ok) return false;
    return month >= 1 && month <= 12 && day >= 1 && day <= monthLength(year, month);
}

void periodKeyStart(std::string_view key, const char* colName, int& year, int& month, int& day) {
    switch (splitPeriodKey(key, year, month, day)) {
        case KeyParse::BadFormat:
            raiseDateFormat(colName);
        case KeyParse::BadQuarter:
            FPK_RAISE(ERR_FPK_COMM_MONTH_OUT_OF_RANGE);
        case KeyParse::Ok:
            break;
    }
    IsLegal(year, month, day);
}

void calculate_Time(std::string_view earlier, std::string_view later, int& days, const char* colName) {
    int y1, m1, d1, y2, m2, d2;
    periodKeyStart(earlier, colName, y1, m1, d1);
    periodKeyStart(later, colName, y2, m2, d2);
    days = static_cast<int>(dayNumber(y2, m2, d2) - dayNumber(y1, m1, d1));
}

std::string_view switchoverDateText(const RhoCommonObjects::ColumnBase* dateCol, char* buffer) {
    const IoSite site{TRACE_FPKCOMMONCODE, "switchoverDateCol->getNative failed."};
    if (dateCol == nullptr || dateCol->size() == 0) return {};
    const int type = dateCol->getValueType();
    NullFlags null = 0;
    if (type == RhoCommonObjects::VT_STRING) {
        std::string_view text;
        readRange(dateCol, 0, 1, &text, &null, site);
        return null ? std::string_view() : text;
    }
    if (type == RhoCommonObjects::VT_INTEGER) {
        int32_t v = 0;
        readRange(dateCol, 0, 1, &v, &null, site);
        if (null || v < 0) return {};
        return std::string_view(buffer, static_cast<std::size_t>(std::snprintf(buffer, 32, "%d", v)));
    }
    if (Verifier::translteTypeToChar(type) == 'd') {
        double v = 0;
        readRange(dateCol, 0, 1, &v, &null, site);
        if (null || !std::isfinite(v) || v < 0 || v >= 1e18) return {};
        const long long whole = static_cast<long long>(std::trunc(v));
        return std::string_view(buffer, static_cast<std::size_t>(std::snprintf(buffer, 32, "%lld", whole)));
    }
    FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", dateCol->getName()});
}

void Common_SwitchOver(const RhoCommonObjects::ColumnBase* switchoverCol,
                       const RhoCommonObjects::ColumnBase* switchoverDateCol, int rows, bool needsDate,
                       bool allowToday, int& year, int& month, int& day) {
    year = month = day = 0;
    if (TRACE_FPKCOMMONCODE.isEnabled(QELTrace::Info))
        TRACE_FPKCOMMONCODE.write(QELTrace::Info,
                                  "Information: Common_SwitchOver() begin, rows " + std::to_string(rows));
    const IoSite site{TRACE_FPKCOMMONCODE, "switchoverCol->getNative failed."};
    int kindValue = 0;
    if (switchoverCol != nullptr && switchoverCol->size() > 0) {
        const int type = switchoverCol->getValueType();
        NullFlags null = 0;
        if (type == RhoCommonObjects::VT_INTEGER) {
            int32_t v = 0;
            readRange(switchoverCol, 0, 1, &v, &null, site);
            kindValue = null ? 0 : v;
        } else if (Verifier::translteTypeToChar(type) == 'd') {
            double v = 0;
            readRange(switchoverCol, 0, 1, &v, &null, site);
            if (null)
                kindValue = 0;
            else if (!(std::trunc(v) >= -2147483648.0 && std::trunc(v) <= 2147483647.0))
                kindValue = -1;  // NaN or beyond 32 bits: outside 0..3
            else
                kindValue = static_cast<int>(std::trunc(v));
        } else {
            FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", switchoverCol->getName()});
        }
    }
    SWITCHOVER kind = NONE;
    convert2Enum(kindValue, kind);
    if (kind == NONE) return;
    if (!needsDate || (kind == TODAY && !allowToday)) FPK_RAISE(ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE);
    switchoverDateOf(kind, switchoverDateCol, year, month, day);
}

void switchoverDateOf(SWITCHOVER kind, const RhoCommonObjects::ColumnBase* switchoverDateCol, int& year, int& month,
                      int& day) {
    year = month = day = 0;
    if (kind == NONE) return;
    if (kind == TODAY) {
        todayUtc(year, month, day);
        return;
    }
    const char* dateName = switchoverDateCol != nullptr ? switchoverDateCol->getName() : "SWITCHOVERDATE";
    char buffer[32];
    const std::string_view text = switchoverDateText(switchoverDateCol, buffer);
    const std::size_t expected = kind == ENTER_DATE ? 8 : 6;
    if (text.size() != expected || !allDigits(text)) raiseDateFormat(dateName);
    year = digitsValue(text.substr(0, 4));
    month = digitsValue(text.substr(4, 2));
    day = kind == ENTER_DATE ? digitsValue(text.substr(6, 2)) : 1;
    IsLegal(year, month, day);
}

int historyOffsetOfKeys(const std::string_view* keys, std::size_t n, const char* colName, int year, int month,
                        int day) {
    if (month == 0) return -1;  // NONE: D is all zero
    const int64_t d = dayNumber(year, month, day);
    int offset = -1;
    for (std::size_t i = 0; i < n; ++i) {
        int y, m, dd;
        periodKeyStart(keys[i], colName, y, m, dd);
        if (dayNumber(y, m, dd) >= d) break;
        offset = static_cast<int>(i);
    }
    return offset;
}

int historyOffsetOfMonths(std::size_t n, int /*year*/, int month, int day) {
    if (month == 0) return -1;  // NONE: D is all zero
    // Months 1 .. month-1 of D's year start before D, and so does D's own
    // month when D is not its first day.
    const std::size_t history = static_cast<std::size_t>(month - 1) + (day > 1 ? 1 : 0);
    return static_cast<int>(history < n ? history : n) - 1;
}

}  // namespace businessFunctions
