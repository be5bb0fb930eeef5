// SEASONALSIMPLE through the loader: the worked examples of the docs, the
// edge cases of the decomposition, every error and host failures.
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;

CallResult seasonalSimple(const V& method, const V& actFlag, const V& original, const V& periods, const V& horizon) {
    return call("SEASONALSIMPLE", {col(method), col(actFlag), col(original), col(periods), col(horizon)});
}

void expectValues(const CallResult& r, const V& want, double tol, std::size_t from = 0) {
    ASSERT_FALSE(r.error) << r.error->message;
    const V got = doublesOf(r);
    ASSERT_EQ(got.size(), from + want.size());
    for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[from + i], want[i], tol) << "row " << from + i;
}

const V kExample2 = {100, 120, 140, 110, 110, 130, 150, 120};

}  // namespace

// The additive, multiplicative and fitted worked examples run whole through
// examples/seasonalsimple*.json.

TEST(SeasonalSimple, OverallMeanWithoutTrendRepeatsTheSeason) {
    expectValues(seasonalSimple({1, 4, 3, 1, 1, 3}, {0}, kExample2, {4}, {4}),
                 {105, 125, 145, 115, 105, 125, 145, 115, 105, 125, 145, 115}, 1e-9);
}

// Forecast rows 8..11 of the example series under further method choices
// (values given to four decimals).
TEST(SeasonalSimple, MethodChoices) {
    struct Case {
        V method;
        V rows;
    };
    const std::vector<Case> cases = {
        {{1, 1, 3, 1, 1, 1}, {120, 140, 160, 130}},
        {{1, 1, 4, 1, 1, 4}, {113.855, 131.355, 148.855, 116.355}},
        {{1, 2, 1, 1, 1, 2}, {120.2143, 142.5699, 164.8429, 130.3000}},
        {{1, 2, 3, 1, 1, 1}, {121.5306, 141.0771, 160.6236, 130.1701}},
        {{1, 3, 2, 1, 1, 4}, {108.1347, 128.7720, 149.4092, 118.4534}},
        {{1, 4, 1, 1, 1, 1}, {112.4511, 135.8416, 159.8628, 128.6012}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.method));
        expectValues(seasonalSimple(c.method, {1}, kExample2, {4}, {4}), c.rows, 6e-5, 8);
    }
}

TEST(SeasonalSimple, EdgeCases) {
    // P = 1: every index is 1 and the result is the straight line.
    expectValues(seasonalSimple({1, 1, 1, 1, 1, 1}, {1}, {10, 12, 14}, {1}, {2}), {10, 12, 14, 16, 18}, 1e-9);
    // H = 0: the history only.
    expectValues(seasonalSimple({1, 1, 3, 1, 1, 1}, {1}, kExample2, {4}, {0}), kExample2, 0);
    // Method values are read as integers: 1.9 reads as 1.
    expectValues(seasonalSimple({1.9, 1, 3.5, 1, 1, 1.2}, {1.7}, {92, 109, 121, 98, 100, 117, 129, 106}, {4.9}, {1.5}),
                 {92, 109, 121, 98, 100, 117, 129, 106, 108}, 1e-9);
    // SEASON_MEAN with an incomplete last season: the two complete seasons
    // give the indices -17.5, 2.5, 22.5, -7.5; the last two periods are still
    // adjusted (147.5, 137.5) and averaged: T = 1265 / 10 = 126.5.
    V original = kExample2;
    original.insert(original.end(), {130, 140});
    expectValues(seasonalSimple({1, 3, 3, 1, 1, 3}, {1}, original, {4}, {2}), {149, 119}, 1e-9, 10);
    // The additive model accepts zero and negative history.
    expectValues(seasonalSimple({1, 1, 3, 1, 1, 1}, {1}, {-8, 9, 21, -2, 0, 17, 29, 6}, {4}, {1}), {8}, 1e-9, 8);
}

TEST(SeasonalSimple, NullValuesCountAsZero) {
    // A null ORIGINAL in the additive model is a 0 (shown as 0 with ACTFLAG 1).
    auto r = call("SEASONALSIMPLE", {col({1, 1, 3, 1, 1, 1}), col({1}), withNulls({92, 109, 121, 98, 100, 117, 129, 106}, {1}),
                                     col({4}), col({0})});
    expectValues(r, {92, 0, 121, 98, 100, 117, 129, 106}, 0);
    // A null H is 0; a null method is 0 and fails.
    r = call("SEASONALSIMPLE", {col({1, 1, 3, 1, 1, 1}), col({1}), col(kExample2), col({4}), withNulls({5}, {0})});
    expectValues(r, kExample2, 0);
    r = call("SEASONALSIMPLE", {withNulls({1, 1, 3, 1, 1, 1}, {2}), col({1}), col(kExample2), col({4}), col({0})});
    expectError(r, "ERR_FPK_SS_INVALID_METHOD_3", "FPK error[73000534]:Method 3 should be in (1,2,3,4).");
}

TEST(SeasonalSimple, Errors) {
    struct Case {
        V method, actFlag, original, periods, horizon;
        std::string name, message;
    };
    const V ok = {1, 1, 1, 1, 1, 1};
    const std::vector<Case> cases = {
        {{1, 1, 3, 1, 1, 2}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_CMBNTN",
         "FPK error[73000531]:Method combination is not correct."},
        {{2, 1, 1, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_1",
         "FPK error[73000532]:Method 1 should only be 1."},
        {{0.5, 1, 1, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_1",
         "FPK error[73000532]:Method 1 should only be 1."},
        {{1, 5, 1, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_2",
         "FPK error[73000533]:Method 2 should be in (1,2,3,4)."},
        {{1, 1, 0, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_3",
         "FPK error[73000534]:Method 3 should be in (1,2,3,4)."},
        {{1, 1, 1, 2, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_4",
         "FPK error[73000535]:Method 4 should only be 1."},
        {{1, 1, 1, 1, 3, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_5",
         "FPK error[73000536]:Method 5 should only be 1."},
        {{1, 1, 1, 1, 1, 5}, {1}, kExample2, {4}, {4}, "ERR_FPK_SS_INVALID_METHOD_6",
         "FPK error[73000537]:Method 6 should be in (1,2,3,4)."},
        // The method order wins over everything after it.
        {{1, 1, 1, 1, 1, 1e10}, {7}, {}, {0}, {-1}, "ERR_FPK_SS_INVALID_METHOD_6",
         "FPK error[73000537]:Method 6 should be in (1,2,3,4)."},
        {{1, 1, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 5 of column METHOD is invalid. METHOD should have 6 rows."},
        {{1, 1, 1, 1, 1, 1, 1}, {1}, kExample2, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 7 of column METHOD is invalid. METHOD should have 6 rows."},
        {ok, {}, kExample2, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column ACTFLAG is invalid. ACTFLAG should not be empty."},
        {ok, {2}, kExample2, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column ACTFLAG is invalid. ACTFLAG should be in (0,1)."},
        {ok, {1}, kExample2, {}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column PERIODNUMBER is invalid. PERIODNUMBER should not be empty."},
        {ok, {1}, kExample2, {0}, {4}, "ERR_FPK_SC_INVALID_PERIOD_NUM",
         "FPK error[73000517]:Periods number should be greater than 0."},
        {ok, {1}, kExample2, {4}, {}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column FORECATPERIOD is invalid. FORECATPERIOD should not be empty."},
        {ok, {1}, kExample2, {4}, {-1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column FORECATPERIOD is invalid. Forecast periods should not be less than 0."},
        {ok, {1}, {100, 120, 140, 110, 110, 130, 150}, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 7 of column ORIGINAL is invalid. ORIGINAL should have at least 2*PERIODNUMBER rows."},
        // 2 x P computed without overflow.
        {ok, {1}, kExample2, {2147483647}, {4}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 8 of column ORIGINAL is invalid. ORIGINAL should have at least 2*PERIODNUMBER rows."},
        {ok, {1}, {100, 120, 0, 110, 110, 130, 150, 120}, {4}, {4}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column ORIGINAL is invalid. Values should be greater than 0 for a "
         "multiplicative model."},
        // The least-squares line 100 - 29.7 t is below 0 at t = 4.
        {{1, 2, 1, 1, 1, 1}, {1}, {100, 1, 1, 1}, {1}, {1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column ORIGINAL is invalid. Trend should be greater than 0 for a "
         "multiplicative model."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = seasonalSimple(c.method, c.actFlag, c.original, c.periods, c.horizon);
        expectError(r, c.name, c.message);
        EXPECT_EQ(doublesOf(r).size(), 0u) << "nothing is written before an error";
    }
}

TEST(SeasonalSimple, TypeChecksComeFirst) {
    auto r = call("SEASONALSIMPLE", {col({9}), col({1}), typed(RhoCommonObjects::VT_INTEGER, kExample2), col({4}), col({4})});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column ORIGINAL is not supported.");
}

TEST(SeasonalSimple, TracesItsFirstLine) {
    std::vector<std::string> lines;
    qelhost::setTraceLevel("QELFPKSEASONALSIM", 3);
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        if (topic == "QELFPKSEASONALSIM") lines.emplace_back(line);
    });
    seasonalSimple({1, 1, 3, 1, 1, 1}, {1}, kExample2, {4}, {4});
    qelhost::setTraceSink({});
    qelhost::setTraceLevel("QELFPKSEASONALSIM", 0);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Information: FPKSeasonalSimple::execute() begin");
}

// The multiplicative model with its fitted history rows reaches code the
// robustness test's additive input does not.
TEST(SeasonalSimple, HostFailuresRaiseInternalErrorWithoutLeaks) {
    expectHostFaultsAreInternal([] { return seasonalSimple({1, 1, 1, 1, 1, 4}, {0}, kExample2, {4}, {4}); });
}
