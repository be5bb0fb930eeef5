// The calendar, date and switch-over helpers of common/fpkCommon, called
// directly. Expected values are calendar facts worked out by hand.
#include <functional>
#include <limits>
#include <optional>

#include "common/fpkCommon.h"
#include "platform/QELError.h"
#include "testSupport.h"

using namespace businessFunctions;

namespace {

// Runs f and returns "NAME|message" of the error it raised, or "" when none.
std::string raised(const std::function<void()>& f) {
    try {
        f();
    } catch (const QELError::Exception& e) {
        return std::string(e.getName()) + "|" + e.getMessage();
    }
    return "";
}

const std::string kMonth = "ERR_FPK_COMM_MONTH_OUT_OF_RANGE|FPK error[73000102]:The month of date is out of range.";
const std::string kDay = "ERR_FPK_COMM_DAY_OUT_OF_RANGE|FPK error[73000103]:The day of date is out of range.";
const std::string kSwitch =
    "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE|FPK error[73000104]:Switchover date is out of range.";
std::string dateFormat(const std::string& col) {
    return "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT|FPK error[73000056]:Format of date for column " + col +
           " should be YYYYMMDD.";
}

qelhost::ColumnPtr named(qelhost::ColumnPtr c, const char* name) {
    c->setName(name);
    return c;
}

struct FixedToday {
    explicit FixedToday(int yyyymmdd) { qelhost::setFixedDate(yyyymmdd); }
    ~FixedToday() { qelhost::setFixedDate(std::nullopt); }
};

}  // namespace

TEST(CalendarHelpers, LeapYearsAndRounding) {
    const std::pair<int, int> leap[] = {{1900, 0}, {2000, 1}, {2024, 1}, {2023, 0}, {2100, 0}, {1600, 1}, {0, 1}};
    for (auto [year, expected] : leap) EXPECT_EQ(isleap(year), expected) << year;

    // Half up for positive values; negative values are cut toward zero.
    const std::pair<double, double> rounding[] = {{2.5, 3},   {2.49, 2},  {-2.5, -2}, {-2.7, -2},
                                                  {0.5, 1},   {-0.4, 0},  {7, 7},     {1e15 + 0.5, 1e15 + 1}};
    for (auto [x, expected] : rounding) EXPECT_EQ(roundDouble(x), expected) << x;
}

TEST(CalendarHelpers, WeekDaysAndTheSharedFebruary) {
    struct Case {
        int y, m, d, weekday;
    };
    // 0 = Sunday.
    const Case cases[] = {{2024, 1, 1, 1}, {2024, 2, 29, 4}, {2000, 1, 1, 6},
                          {1900, 3, 1, 4}, {2023, 12, 31, 0}, {2021, 7, 17, 6}};
    for (const Case& c : cases) EXPECT_EQ(CaculateWeekDay(c.y, c.m, c.d), c.weekday) << c.y << c.m << c.d;

    CaculateWeekDay(2024, 2, 1);
    EXPECT_EQ(smonthDays[1], 29);
    CaculateWeekDay(2023, 7, 1);
    EXPECT_EQ(smonthDays[1], 28);
    leapYearAdjust(2000);
    EXPECT_EQ(smonthDays[1], 29);
    leapYearAdjust(1900);
    EXPECT_EQ(smonthDays[1], 28);
}

TEST(CalendarHelpers, WorkingDaysCountSundayToThursday) {
    // February 2024 starts on a Thursday: Sunday-to-Thursday days are the
    // 1st, 4-8, 11-15, 18-22 and 25-29.
    double before = -1, from = -1, all = -1;
    CaculateWorkingDays(2024, 2, 15, &before, &from, &all);
    EXPECT_EQ(before, 10);
    EXPECT_EQ(from, 11);
    EXPECT_EQ(all, 21);
    CaculateWorkingDays(2024, 13, 1, &before, &from, &all);
    EXPECT_EQ(all, 0);
}

TEST(CalendarHelpers, DateChecksAndKinds) {
    struct Case {
        int y, m, d;
        std::string error;
    };
    const Case cases[] = {{2024, 2, 29, ""}, {2023, 2, 29, kDay}, {2024, 13, 1, kMonth},
                          {2024, 0, 1, kMonth}, {2024, 4, 31, kDay}, {2024, 4, 0, kDay}, {1900, 2, 29, kDay}};
    for (const Case& c : cases) EXPECT_EQ(raised([&] { IsLegal(c.y, c.m, c.d); }), c.error) << c.y << c.m << c.d;

    const SWITCHOVER kinds[] = {NONE, ENTER_DATE, TODAY, MONTH};
    for (int v = 0; v < 4; ++v) {
        SWITCHOVER out = NONE;
        convert2Enum(v, out);
        EXPECT_EQ(out, kinds[v]);
    }
    for (int v : {4, -1, 100}) {
        SWITCHOVER out = NONE;
        EXPECT_EQ(raised([&] { convert2Enum(v, out); }), kSwitch) << v;
    }
}

TEST(CalendarHelpers, DaysBetweenPeriodKeys) {
    struct Case {
        const char* earlier;
        const char* later;
        int days;
        std::string error;
    };
    const Case cases[] = {
        {"202401", "202402", 31, ""},      {"202402", "202403", 29, ""},    {"20240228", "20240301", 2, ""},
        {"19000228", "19000301", 1, ""},   {"20241", "20242", 91, ""},      {"20234", "20241", 92, ""},
        {"2023", "2024", 365, ""},         {"2024", "2025", 366, ""},       {"0000", "0001", 366, ""},
        {"202403", "202402", -29, ""},     {"202403", "202403", 0, ""},     {"2024", "202407", 182, ""},
        {"20245", "20241", 0, kMonth},     {"202413", "202401", 0, kMonth}, {"20240230", "20240301", 0, kDay},
        {"2024013", "202402", 0, dateFormat("TIME")},                        {"2024-1", "202402", 0, dateFormat("TIME")},
        {"", "202402", 0, dateFormat("TIME")},                               {"202401", " 202402", 0, dateFormat("TIME")},
    };
    for (const Case& c : cases) {
        int days = -12345;
        EXPECT_EQ(raised([&] { calculate_Time(c.earlier, c.later, days); }), c.error) << c.earlier << " " << c.later;
        if (c.error.empty()) {
            EXPECT_EQ(days, c.days) << c.earlier << " " << c.later;
        }
    }
    int days = 0;
    EXPECT_EQ(raised([&] { calculate_Time("2024x", "2024", days, "PERIOD"); }), dateFormat("PERIOD"));
}

TEST(CalendarHelpers, TodayComesFromTheHostClockInUtc) {
    FixedToday today(20240229);
    int y = 0, m = 0, d = 0;
    todayUtc(y, m, d);
    EXPECT_EQ(y * 10000 + m * 100 + d, 20240229);
}

TEST(CalendarHelpers, HistoryOffsets) {
    const std::string_view months[] = {"202401", "202402", "202403", "202404", "202405", "202406",
                                       "202407", "202408", "202409", "202410", "202411", "202412"};
    const std::string_view quarters[] = {"20241", "20242", "20243", "20244"};
    const std::string_view daily[] = {"20240101", "20240102", "20240103"};
    struct Case {
        const std::string_view* keys;
        std::size_t n;
        int y, m, d, offset;
    };
    const Case cases[] = {{months, 12, 2024, 4, 1, 2},  {months, 12, 2024, 4, 15, 3}, {months, 12, 2023, 6, 1, -1},
                          {months, 12, 2025, 1, 1, 11}, {quarters, 4, 2024, 7, 1, 1}, {daily, 3, 2024, 1, 3, 1},
                          {months, 12, 0, 0, 0, -1}};
    for (const Case& c : cases)
        EXPECT_EQ(historyOffsetOfKeys(c.keys, c.n, "TIME", c.y, c.m, c.d), c.offset) << c.y << c.m << c.d;

    // A malformed key is reported only when it is reached.
    const std::string_view broken[] = {"202401", "202402", "2024x3"};
    EXPECT_EQ(historyOffsetOfKeys(broken, 3, "TIME", 2024, 2, 1), 0);
    EXPECT_EQ(raised([&] { historyOffsetOfKeys(broken, 3, "TIME", 2024, 6, 1); }), dateFormat("TIME"));

    EXPECT_EQ(historyOffsetOfMonths(12, 2024, 7, 1), 5);
    EXPECT_EQ(historyOffsetOfMonths(12, 2024, 7, 15), 6);
    EXPECT_EQ(historyOffsetOfMonths(3, 2024, 7, 1), 2);
    EXPECT_EQ(historyOffsetOfMonths(12, 0, 0, 0), -1);
}

TEST(CalendarHelpers, SwitchOverKindsAndDates) {
    using qelhost::Column;
    FixedToday today(20230815);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto kindInt = [](int32_t v) { return named(Column::ints("IN", {v}), "SWITCHOVER"); };
    auto kindDouble = [](double v) { return named(Column::doubles("IN", {v}), "SWITCHOVER"); };
    auto dateText = [](const std::string& v) { return named(Column::strings("IN", {v}), "SWITCHOVERDATE"); };
    struct Case {
        const char* what;
        qelhost::ColumnPtr kind;
        qelhost::ColumnPtr date;
        int ymd;
        std::string error;
        bool needsDate = true;
        bool allowToday = true;
    };
    qelhost::ColumnPtr nullKind = named(Column::make("IN", RhoCommonObjects::VT_INTEGER), "SWITCHOVER");
    nullKind->resize(1);
    const Case cases[] = {
        {"enter date", kindInt(1), dateText("20240401"), 20240401, ""},
        {"month", kindInt(3), dateText("202404"), 20240401, ""},
        {"today", kindInt(2), dateText("garbage"), 20230815, ""},
        {"none", kindInt(0), dateText("garbage"), 0, ""},
        {"no rows", named(Column::make("IN", RhoCommonObjects::VT_INTEGER), "SWITCHOVER"), dateText("x"), 0, ""},
        {"null kind", nullKind, dateText("x"), 0, ""},
        {"double kind truncated", kindDouble(3.7), dateText("202402"), 20240201, ""},
        {"integer date", kindInt(1), named(Column::ints("IN", {20240315}), "SWITCHOVERDATE"), 20240315, ""},
        {"double date", kindInt(3), named(Column::doubles("IN", {202404.0}), "SWITCHOVERDATE"), 20240401, ""},
        {"kind 4", kindInt(4), dateText("3"), 0, kSwitch},
        {"NaN kind", kindDouble(nan), dateText("20240401"), 0, kSwitch},
        {"huge kind", kindDouble(1e12), dateText("20240401"), 0, kSwitch},
        {"short date", kindInt(1), dateText("2024041"), 0, dateFormat("SWITCHOVERDATE")},
        {"month as date", kindInt(1), dateText("202404"), 0, dateFormat("SWITCHOVERDATE")},
        {"date as month", kindInt(3), dateText("20240401"), 0, dateFormat("SWITCHOVERDATE")},
        {"empty date column", kindInt(1), named(Column::make("IN", RhoCommonObjects::VT_STRING), "SWITCHOVERDATE"), 0,
         dateFormat("SWITCHOVERDATE")},
        {"negative date", kindInt(1), named(Column::doubles("IN", {-20240401.0}), "SWITCHOVERDATE"), 0,
         dateFormat("SWITCHOVERDATE")},
        {"bad month", kindInt(3), dateText("202413"), 0, kMonth},
        {"bad day", kindInt(1), dateText("20230229"), 0, kDay},
        {"no date wanted", kindInt(1), dateText("20240401"), 0, kSwitch, false, true},
        {"no today wanted", kindInt(2), dateText(""), 0, kSwitch, true, false},
        {"text kind", named(Column::strings("IN", {"1"}), "SWITCHOVER"), dateText("20240401"), 0,
         "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE|FPK error[73000050]:Data type of column SWITCHOVER is not supported."},
    };
    for (const Case& c : cases) {
        int y = -1, m = -1, d = -1;
        EXPECT_EQ(raised([&] { Common_SwitchOver(c.kind.get(), c.date.get(), 5, c.needsDate, c.allowToday, y, m, d); }),
                  c.error)
            << c.what;
        if (c.error.empty()) {
            EXPECT_EQ(y * 10000 + m * 100 + d, c.ymd) << c.what;
        }
    }
}
