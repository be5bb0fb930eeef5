// FORECASTMIX through the loader: the phase-in after the switch-over, the
// switch-over kinds on month rows, and the errors in their order.
#include <algorithm>
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;

const V kActual = {100, 102, 98, 104, 0, 0, 0, 0, 0, 0, 0, 0};
const V kForecast = {95, 97, 99, 101, 120, 121, 122, 123, 124, 125, 126, 127};

CallResult mix(const V& actual, const V& m, const V& kind, const std::vector<std::string>& date, const V& forecast) {
    return call("FORECASTMIX", {col(actual), col(m), col(kind), scol(date), col(forecast)});
}

}  // namespace

// The three-period and short-history worked examples run whole through
// examples/forecastmix*.json.
TEST(ForecastMix, WorkedExamples) {
    struct Case {
        const char* what;
        V m, kind;
        std::string date;
        V want;
    };
    const std::vector<Case> cases = {
        {"plain join", {0}, {1}, "20240501", {100, 102, 98, 104, 120, 121, 122, 123, 124, 125, 126, 127}},
        {"no switch-over", {3}, {0}, "", kForecast},
        {"switch-over on the first of January", {3}, {1}, "20240101", kForecast},
        {"switch-over after the last row", {3}, {1}, "20241220", kActual},
        // A date within April makes April history too.
        {"mid-month date", {1}, {1}, "20240415", {100, 102, 98, 104, 112, 121, 122, 123, 124, 125, 126, 127}},
        // Every future row is mixed: base (100 + 102 + 98 + 104) / 4 = 101, weights j / 9.
        {"more mix periods than future rows", {8}, {3}, "202405",
         {100, 102, 98, 104, 101 + 19.0 / 9, 101 + 2 * 20.0 / 9, 101 + 3 * 21.0 / 9, 101 + 4 * 22.0 / 9,
          101 + 5 * 23.0 / 9, 101 + 6 * 24.0 / 9, 101 + 7 * 25.0 / 9, 101 + 8 * 26.0 / 9}},
        {"mix periods read as an integer", {1.9}, {1.2}, "20240501",
         {100, 102, 98, 104, 112, 121, 122, 123, 124, 125, 126, 127}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectColumn(mix(kActual, c.m, c.kind, {c.date}, kForecast), c.want, 5e-5);
    }
    // Empty ACTUAL and FORECAST: an empty result.
    expectColumn(mix({}, {3}, {1}, {"20240501"}, {}), {}, 0);
}

TEST(ForecastMix, RowsBeyondAYearAreLaterMonths) {
    // 24 rows from January; actuals 10..120 in the first year, forecast 50.
    V actual(24, 0), forecast(24, 50);
    for (int r = 0; r < 12; ++r) actual[r] = 10 * (r + 1);
    // ENTER_DATE 20241215: all of the first year is history; row 12 (January
    // of the next year) is the first mixed row: (120 + 50) / 2.
    V want = actual;
    want[12] = 85;
    for (int r = 13; r < 24; ++r) want[r] = 50;
    expectColumn(mix(actual, {1}, {1}, {"20241215"}, forecast), want, 1e-12);
    // MONTH 202412: December is the first future row: (110 + 50) / 2.
    want[11] = 80;
    want[12] = 50;
    expectColumn(mix(actual, {1}, {3}, {"202412"}, forecast), want, 1e-12);
}

TEST(ForecastMix, NullsCountAsZero) {
    // A null actual in the base, a null forecast, a null m (plain join).
    auto r = call("FORECASTMIX", {withNulls(kActual, {3}), col({2}), col({1}), scol({"20240501"}),
                                  withNulls(kForecast, {4})});
    expectColumn(r, {100, 102, 98, 0, (2.0 / 3) * 49, 97, 122, 123, 124, 125, 126, 127}, 1e-12);
    r = call("FORECASTMIX", {col(kActual), withNulls({3}, {0}), col({1}), scol({"20240501"}), col(kForecast)});
    expectColumn(r, {100, 102, 98, 104, 120, 121, 122, 123, 124, 125, 126, 127}, 0);
    // A null kind is NONE.
    r = call("FORECASTMIX", {col(kActual), col({3}), withNulls({1}, {0}), scol({"20240501"}), col(kForecast)});
    expectColumn(r, kForecast, 0);
}

TEST(ForecastMix, Errors) {
    struct Case {
        V actual, m, kind;
        std::vector<std::string> date;
        std::string name, message;
    };
    const V a11(kActual.begin(), kActual.end() - 1);
    const std::vector<Case> cases = {
        {a11, {3}, {1}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 11 of column ACTUAL is invalid. Size of ACTUAL should be equal to size of "
         "FORECAST."},
        {kActual, {}, {1}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column FORECASTMIXPERIODS is invalid. FORECASTMIXPERIODS should not be "
         "empty."},
        {kActual, {-1}, {1}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column FORECASTMIXPERIODS is invalid. Mix periods should not be less than 0."},
        {kActual, {NAN}, {1}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column FORECASTMIXPERIODS is invalid. Mix periods should not be less than 0."},
        {kActual, {3}, {}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column SWITCHOVER is invalid. SWITCHOVER should not be empty."},
        {kActual, {3}, {4}, {"20240501"}, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE",
         "FPK error[73000104]:Switchover date is out of range."},
        {kActual, {3}, {1}, {"20241301"}, "ERR_FPK_COMM_MONTH_OUT_OF_RANGE",
         "FPK error[73000102]:The month of date is out of range."},
        {kActual, {3}, {1}, {"20240231"}, "ERR_FPK_COMM_DAY_OUT_OF_RANGE",
         "FPK error[73000103]:The day of date is out of range."},
        {kActual, {3}, {1}, {"2024051"}, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {kActual, {3}, {3}, {"20240501"}, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {kActual, {3}, {1}, {}, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = mix(c.actual, c.m, c.kind, c.date, kForecast);
        expectError(r, c.name, c.message);
        EXPECT_EQ(doublesOf(r).size(), 0u);
    }
    // The date column must be a string column.
    auto r = call("FORECASTMIX", {col(kActual), col({3}), col({1}), col({20240501}), col(kForecast)});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column SWITCHOVERDATE is not supported.");
}

// A phase-in longer than the block the rows stream through: base 15, row r
// (j = r - 1 periods after the switch-over) blends with weight j / 20001.
TEST(ForecastMix, LongPhaseIn) {
    const std::size_t n = 50'000;
    V actual(n, 999), forecast(n);
    actual[0] = 10;
    actual[1] = 20;
    for (std::size_t r = 0; r < n; ++r) forecast[r] = static_cast<double>(r);
    auto res = mix(actual, {20'000}, {1}, {"20240301"}, forecast);
    ASSERT_FALSE(res.error) << res.error->message;
    const V got = doublesOf(res);
    ASSERT_EQ(got.size(), n);
    EXPECT_EQ(got[0], 10);
    EXPECT_EQ(got[1], 20);
    for (std::size_t r = 2; r < n; ++r) {
        const double j = static_cast<double>(r - 1);
        const double want = j <= 20'000 ? (1 - j / 20'001) * 15 + (j / 20'001) * static_cast<double>(r)
                                        : static_cast<double>(r);
        ASSERT_NEAR(got[r], want, 1e-9 * std::max(1.0, want)) << "row " << r;
    }
}
