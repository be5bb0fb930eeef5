// TIME: period keys of the plan axis, history length and date checks.
#include <string_view>

#include "common/fpkCommon.h"
#include "testSupport.h"

using namespace fpktest;

namespace {
CallResult timeCall(double scale, double start, double switchOver, double info) {
    return call("TIME", {col({scale}), col({start}), col({switchOver}), col({info})});
}

struct TimeCase {
    const char* what;
    double scale, start, switchOver, info;
    std::vector<std::string> keys;
};

// The mid-month and weekly worked examples run whole through examples/time*.json.
const TimeCase kCases[] = {
    {"monthly, switch-over on a month start", 3, 20240101, 20240401, 3,
     {"202401", "202402", "202403", "202404", "202405", "202406"}},
    {"quarterly", 4, 20240215, 20240701, 2, {"20241", "20242", "20243", "20244"}},
    {"daily across a leap day", 1, 20240227, 20240301, 2, {"20240227", "20240228", "20240229", "20240301", "20240302"}},
    {"yearly without switch-over", 5, 20220630, 0, 3, {"2022", "2023", "2024"}},
    {"start equals switch-over on a month start", 3, 20240401, 20240401, 2, {"202404", "202405"}},
    {"start equals switch-over mid-month", 3, 20240415, 20240415, 2, {"202404", "202405", "202406"}},
    {"no switch-over and no plan", 3, 20240415, 0, 0, {}},
    {"week across the year end", 2, 20241230, 20250101, 1, {"20241230", "20250106"}},
    {"quarter across the year end", 4, 20241115, 20250101, 1, {"20244", "20251"}},
    {"last year", 5, 99980101, 0, 2, {"9998", "9999"}},
    {"week starting before year 1000", 2, 10000101, 0, 1, {"09991230"}},
    {"daily up to the last day", 1, 99991230, 0, 2, {"99991230", "99991231"}},
};

struct TimeError {
    const char* what;
    std::vector<Argument> args;
    const char* name;
    const char* message;
};
}  // namespace

TEST(Time, WorkedExamplesAndEdges) {
    for (const TimeCase& c : kCases) {
        SCOPED_TRACE(c.what);
        CallResult r = timeCall(c.scale, c.start, c.switchOver, c.info);
        ASSERT_FALSE(r.error) << r.error->message;
        EXPECT_EQ(textsOf(r), c.keys);
    }
}

TEST(Time, Errors) {
    const char* valueErr = "ERR_FPK_COMM_INVALID_COL_VALUE";
    const char* formatErr = "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT";
    const std::vector<TimeError> cases = {
        {"switch-over before start", {col({3}), col({20240301}), col({20240201}), col({1})}, "ERR_FPK_SF_INVALID_TIME",
         "FPK error[73000526]:Early Time should be earlier than Late Time."},
        {"seven-digit start", {col({3}), col({2024031}), col({0}), col({1})}, formatErr,
         "FPK error[73000056]:Format of date for column STARTDATE should be YYYYMMDD."},
        {"month 13", {col({3}), col({20241301}), col({0}), col({1})}, "ERR_FPK_COMM_MONTH_OUT_OF_RANGE",
         "FPK error[73000102]:The month of date is out of range."},
        {"29 February 2023", {col({3}), col({20230229}), col({0}), col({1})}, "ERR_FPK_COMM_DAY_OUT_OF_RANGE",
         "FPK error[73000103]:The day of date is out of range."},
        {"timescale 6", {col({6}), col({20240101}), col({0}), col({1})}, valueErr,
         "FPK error[73000058]:Value of column TIMESCALE is invalid. Timescale should be in (1,2,3,4,5)."},
        {"timescale 2.5", {col({2.5}), col({20240101}), col({0}), col({1})}, valueErr,
         "FPK error[73000058]:Value of column TIMESCALE is invalid. Timescale should be in (1,2,3,4,5)."},
        {"empty timescale", {col({}), col({20240101}), col({0}), col({1})}, valueErr,
         "FPK error[73000058]:Value of column TIMESCALE is invalid. Timescale should be in (1,2,3,4,5)."},
        {"fractional switch-over", {col({3}), col({20240101}), col({20240101.5}), col({1})}, formatErr,
         "FPK error[73000056]:Format of date for column SWITCHOVER should be YYYYMMDD."},
        {"empty switch-over", {col({3}), col({20240101}), col({}), col({1})}, formatErr,
         "FPK error[73000056]:Format of date for column SWITCHOVER should be YYYYMMDD."},
        {"empty start", {col({3}), col({}), col({0}), col({1})}, formatErr,
         "FPK error[73000056]:Format of date for column STARTDATE should be YYYYMMDD."},
        {"fractional plan", {col({3}), col({20240101}), col({0}), col({2.5})}, valueErr,
         "FPK error[73000058]:Value of column TIMEINFORMATION is invalid. Timeinformation should be a whole number not "
         "less than 0."},
        {"negative plan", {col({3}), col({20240101}), col({0}), col({-1})}, valueErr,
         "FPK error[73000058]:Value of column TIMEINFORMATION is invalid. Timeinformation should be a whole number not "
         "less than 0."},
        {"past year 9999", {col({5}), col({99980101}), col({0}), col({3})}, valueErr,
         "FPK error[73000058]:Value of column TIMEINFORMATION is invalid. Last period should start before year 10000."},
        {"integer timescale column", {icol({3}), col({20240101}), col({0}), col({1})},
         "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column TIMESCALE is not supported."},
    };
    for (const TimeError& c : cases) {
        SCOPED_TRACE(c.what);
        expectError(call("TIME", c.args), c.name, c.message);
    }
}

TEST(Time, NullsReadAsZero) {
    // A null switch-over means none; a null plan count means no plan periods.
    CallResult r = call("TIME", {col({3}), col({20240101}), withNulls({5}, {0}), withNulls({3}, {0})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(textsOf(r).empty());
}

// Over many start and switch-over dates: the switch-over rule applied to
// TIME's own keys finds exactly the history rows TIME wrote, every key
// starts its period, and weekly keys are Mondays.
TEST(Time, AgreesWithSwitchOverRule) {
    const int starts[] = {20230101, 20231231, 20240131, 20240229, 20240301, 20240615, 20241001, 20241230};
    const int gaps[] = {0, 1, 6, 7, 30, 31, 59, 92, 365, 400};
    for (int scale = 1; scale <= 5; ++scale)
        for (int start : starts)
            for (int gap : gaps) {
                // D = start + gap days, through the calendar helpers' day count.
                const int y = start / 10000, m = start / 100 % 100, d = start % 100;
                int64_t target = businessFunctions::dayNumber(y, m, d) + gap;
                int dy = y, dm = m, dd = d;
                while (businessFunctions::dayNumber(dy, dm, dd) < target) {
                    const int len = dm == 2 ? 28 + businessFunctions::isleap(dy)
                                            : (dm == 4 || dm == 6 || dm == 9 || dm == 11 ? 30 : 31);
                    if (++dd > len) {
                        dd = 1;
                        if (++dm > 12) {
                            dm = 1;
                            ++dy;
                        }
                    }
                }
                const int sw = dy * 10000 + dm * 100 + dd;
                SCOPED_TRACE(testing::Message() << "scale " << scale << " start " << start << " switch " << sw);
                CallResult r = timeCall(scale, start, sw, 2);
                ASSERT_FALSE(r.error) << r.error->message;
                std::vector<std::string> keys = textsOf(r);
                ASSERT_GE(keys.size(), 2u);
                const std::size_t h = keys.size() - 2;
                std::vector<std::string_view> views(keys.begin(), keys.end());
                const int offset = businessFunctions::historyOffsetOfKeys(views.data(), views.size(), "TIME", dy, dm, dd);
                EXPECT_EQ(offset, static_cast<int>(h) - 1);
                int ky = 0, km = 0, kd = 0;
                businessFunctions::periodKeyStart(keys[0], "TIME", ky, km, kd);
                EXPECT_LE(ky * 10000 + km * 100 + kd, start);  // period 0 contains STARTDATE
                if (scale == 2)
                    for (const std::string& k : keys) {
                        businessFunctions::periodKeyStart(k, "TIME", ky, km, kd);
                        EXPECT_EQ(businessFunctions::CaculateWeekDay(ky, km, kd), 1) << k;  // 1 = Monday
                    }
            }
}
