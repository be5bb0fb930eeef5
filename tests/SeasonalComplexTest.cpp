// SEASONALCOMPLEX through the loader: working days, cycles, overrides, the
// four result columns, the errors in their order, and the override records
// of the front door.
#include <cmath>
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;

const V kAdditive = {92, 109, 121, 98, 100, 117, 129, 106};
const V kMultiplicative = {100, 120, 140, 110, 110, 130, 150, 120};
const V kDays20(12, 20);

CallResult complexCall(const V& original, const V& days, const V& cycle, const V& override_, const V& value,
                       const V& config) {
    return call("SEASONALCOMPLEX", {col(original), col(days), col(cycle), col(override_), col(value), col(config)});
}

const double kNull = std::nan("");

}  // namespace

TEST(SeasonalComplex, AdditiveWithReplacement) {
    auto r = complexCall(kAdditive, kDays20, {0}, {0, 1, 0, 0}, {0, 130, 0, 0}, {4, 4, 1, 3, 1, 2, 1});
    expectColumn(r, {102, 104, 106, 108, 110, 112, 114, 116, 118, 120, 122, 124}, 1e-9, false, 0);
    expectColumn(r, {0, 0, 0, 0, 0, 0, 0, 0, kNull, kNull, kNull, kNull}, 1e-9, false, 1);
    expectColumn(r, {92, 109, 121, 98, 100, 117, 129, 106, 108, 125, 137, 114}, 1e-9, false, 2);
    expectColumn(r, {92, 109, 121, 98, 100, 117, 129, 106, 108, 130, 137, 114}, 1e-9, false, 3);
}

TEST(SeasonalComplex, AdditiveWithAddedAmounts) {
    // Row 10's 99 is ignored: its flag is 0.
    auto r = complexCall(kAdditive, kDays20, {0}, {0, 1, 0, 1}, {0, 5, 99, -4}, {4, 4, 1, 3, 1, 3, 1});
    expectColumn(r, {92, 109, 121, 98, 100, 117, 129, 106, 108, 130, 137, 110}, 1e-9, false, 3);
}

// The multiplicative working-day and the cycle worked examples run whole
// through examples/seasonalcomplex*.json.

TEST(SeasonalComplex, FullCycleIsRemovedAndPutBack) {
    // A history that is exactly line + season + cycle, y_t = 100 + 2t +
    // season + 4 cos(2 pi (t - 3) / 6), is fitted without residual, and the
    // forecast carries the cycle on with the same formula.
    const V season = {-10, 5, 15, -10};
    V full, trend;
    for (int t = 1; t <= 16; ++t) {
        full.push_back(100 + 2 * t + season[(t - 1) % 4] + 4 * std::cos(2 * M_PI * (t - 3) / 6.0));
        trend.push_back(100 + 2 * t);
    }
    const V history(full.begin(), full.begin() + 12);
    auto r = complexCall(history, V(16, 20), {1, 4, 6, 3, 2}, {}, {}, {4, 4, 1, 3, 2, 1, 1});
    expectColumn(r, trend, 1e-9, false, 0);
    expectColumn(r, full, 1e-9, false, 2);
    expectColumn(r, full, 1e-9, false, 3);
}

TEST(SeasonalComplex, NeutralSettings) {
    // Method 4 = 2 with no cycle (CYCLE 0) is Method 4 = 1; unused columns may be empty.
    auto none = complexCall(kMultiplicative, kDays20, {}, {}, {}, {4, 4, 1, 1, 1, 1, 1});
    auto zero = complexCall(kMultiplicative, kDays20, {0}, {}, {}, {4, 4, 1, 1, 2, 1, 1});
    ASSERT_FALSE(none.error) << none.error->message;
    ASSERT_FALSE(zero.error) << zero.error->message;
    for (std::size_t c = 0; c < 4; ++c) EXPECT_EQ(doublesOf(none, c).size(), 12u);
    expectColumn(zero, doublesOf(none, 2), 1e-12, false, 2);
    // Constant working days give the SEASONALSIMPLE model (ACTFLAG 0).
    auto simple = call("SEASONALSIMPLE", {col({1, 1, 1, 1, 1, 1}), col({0}), col(kMultiplicative), col({4}), col({4})});
    expectColumn(none, doublesOf(simple), 1e-9, false, 2);
    // H = 0: n rows, OVERRIDE empty even with overrides on.
    auto h0 = complexCall(kMultiplicative, V(8, 20), {}, {}, {}, {4, 0, 1, 1, 1, 2, 1});
    expectColumn(h0, kMultiplicative, 0, false, 3);
}

TEST(SeasonalComplex, NullsCountAsZero) {
    // A null flag is no override; a null value replaces with 0.
    auto r = call("SEASONALCOMPLEX", {col(kAdditive), col(kDays20), col({0}), withNulls({1, 1, 0, 0}, {0}),
                                      withNulls({50, 60, 0, 0}, {1}), col({4, 4, 1, 3, 1, 2, 1})});
    expectColumn(r, {92, 109, 121, 98, 100, 117, 129, 106, 108, 0, 137, 114}, 1e-9, false, 3);
    // A null working day is 0 and fails.
    r = call("SEASONALCOMPLEX", {col(kAdditive), withNulls(kDays20, {3}), col({0}), col({}), col({}),
                                 col({4, 4, 1, 3, 1, 1, 1})});
    expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column WORKINGDAYS is invalid. Working days should be greater than 0.");
}

TEST(SeasonalComplex, Errors) {
    struct Case {
        V original, days, cycle, override_, value, config;
        std::string name, message;
    };
    const V cfg = {4, 4, 1, 3, 1, 1, 1};
    const std::string value = "FPK error[73000058]:Value of column ";
    const std::vector<Case> cases = {
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 3, 1, 1}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 6 of column CONFIG is invalid. CONFIG should have 7 rows."},
        {kAdditive, kDays20, {}, {}, {}, {0, 4, 1, 3, 1, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "CONFIG is invalid. Periodicity should be greater than 0."},
        {kAdditive, kDays20, {}, {}, {}, {4, -1, 1, 3, 1, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "CONFIG is invalid. Forecast periods should not be less than 0."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 5, 3, 1, 1, 1}, "ERR_FPK_SC_INVALID_METHOD_2",
         "FPK error[73000512]:Method 2 should be in (1,2,3,4)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 0, 1, 1, 1}, "ERR_FPK_SC_INVALID_METHOD_3",
         "FPK error[73000513]:Method 3 should be in (1,2,3,4)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 1, 4, 1, 1}, "ERR_FPK_SC_INVALID_METHOD_4",
         "FPK error[73000514]:Method 4 should be in (1,2,3)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 1, 1, 4, 1}, "ERR_FPK_SC_INVALID_METHOD_5",
         "FPK error[73000515]:Method 5 should be in (1,2,3)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 1, 1, 1, 0}, "ERR_FPK_SC_INVALID_METHOD_6",
         "FPK error[73000516]:Method 6 should be in (1,2,3,4)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 3, 1, 1, 2}, "ERR_FPK_SC_INVALID_METHOD_CMBNTN",
         "FPK error[73000510]:Method combination is not correct."},
        {{1, 2, 3, 4, 5, 6, 7}, V(11, 20), {}, {}, {}, cfg, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 7 of column ORIGINAL is invalid. ORIGINAL should have at least 2*periodicity rows."},
        {kAdditive, V(11, 20), {}, {}, {}, cfg, "ERR_FPK_SC_WKDYS_SIZE_NOT_MATCH",
         "FPK error[73000521]:Size of column WORKINGDAYS should be equal to (size of ORIGINAL + ForcastPeriods)."},
        {kAdditive, kDays20, {}, {}, {}, {4, 4, 1, 3, 2, 1, 1}, "ERR_FPK_SC_CYCLE_SIZE_NOT_MATCH",
         "FPK error[73000520]:Size of Column CYCLE should be equal to (4*(number of cycle)+1)."},
        {kAdditive, kDays20, {1, 6, 8, 1}, {}, {}, {4, 4, 1, 3, 2, 1, 1}, "ERR_FPK_SC_CYCLE_SIZE_NOT_MATCH",
         "FPK error[73000520]:Size of Column CYCLE should be equal to (4*(number of cycle)+1)."},
        {kAdditive, kDays20, {-1}, {}, {}, {4, 4, 1, 3, 2, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "CYCLE is invalid. Number of cycles should not be less than 0."},
        {kAdditive, kDays20, {1, 6, 0, 1, 1}, {}, {}, {4, 4, 1, 3, 2, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "CYCLE is invalid. Cycle length should be greater than 0."},
        {kAdditive, kDays20, {1, 6, 8, 1, 3}, {}, {}, {4, 4, 1, 3, 2, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "CYCLE is invalid. Cycle function should be in (1,2)."},
        {kMultiplicative, kDays20, {2, 0.6, 8, 1, 1, -0.4, 4, 1, 2}, {}, {}, {4, 4, 1, 1, 3, 1, 1},
         "ERR_FPK_COMM_INVALID_COL_VALUE", value + "CYCLE is invalid. Sum of cycle amplitudes should be less than 1."},
        {kAdditive, kDays20, {}, {0, 1, 0}, {0, 1, 0, 0}, {4, 4, 1, 3, 1, 2, 1}, "ERR_FPK_SC_OVRD_SIZE_NOT_MATCH",
         "FPK error[73000519]:Size of column OVERRIDE should be equal to Forecast periods."},
        {kAdditive, kDays20, {}, {0, 1, 0, 0}, {0, 1, 0}, {4, 4, 1, 3, 1, 3, 1}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 3 of column OVERRIDEVALUE is invalid. Size of OVERRIDEVALUE should be equal to "
         "Forecast periods."},
        {kAdditive, kDays20, {}, {0, 2, 0, 0}, {0, 1, 0, 0}, {4, 4, 1, 3, 1, 2, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "OVERRIDE is invalid. Override should be in (0,1)."},
        {kAdditive, {20, 20, 20, 0, 20, 20, 20, 20, 20, 20, 20, 20}, {}, {}, {}, cfg, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "WORKINGDAYS is invalid. Working days should be greater than 0."},
        {{100, 120, -1, 110, 110, 130, 150, 120}, kDays20, {}, {}, {}, {4, 4, 1, 1, 1, 1, 1},
         "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "ORIGINAL is invalid. Values should be greater than 0 for a multiplicative model."},
        {{100, 1, 1, 1}, V(5, 20), {}, {}, {}, {1, 1, 2, 1, 1, 1, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "ORIGINAL is invalid. Trend should be greater than 0 for a multiplicative model."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = complexCall(c.original, c.days, c.cycle, c.override_, c.value, c.config);
        expectError(r, c.name, c.message);
        for (std::size_t col = 0; col < 4; ++col) EXPECT_EQ(doublesOf(r, col).size(), 0u);
    }
}

TEST(SeasonalComplex, VerificationComesBeforeEverything) {
    // An integer OVERRIDE column is a type error, even with a bad CONFIG.
    auto r = call("SEASONALCOMPLEX", {col(kAdditive), col(kDays20), col({0}), icol({0, 1, 0, 0}), col({0, 1, 0, 0}),
                                      col({4})});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column OVERRIDE is not supported.");
}

TEST(SeasonalComplex, FailedOverrideReadIsReportedOnlyWhenOverridesAreUsed) {
    std::vector<std::string> lines;
    qelhost::setTraceLevel("QELFPKSEASONALCOMPLEX", 3);
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        if (topic == "QELFPKSEASONALCOMPLEX") lines.emplace_back(line);
    });
    // The first read of the call is the front door's read of OVERRIDE.
    qelhost::armFault(qelhost::Fault::GetNative, 1);
    auto r = complexCall(kAdditive, kDays20, {}, {0, 1, 0, 0}, {0, 130, 0, 0}, {4, 4, 1, 3, 1, 2, 1});
    qelhost::disarmFaults();
    expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Information: FPKSeasonalComplex::execute() begin");
    EXPECT_EQ(lines[1], "override->getNative failed.");
    // Without overrides the failed read does not matter.
    qelhost::armFault(qelhost::Fault::GetNative, 1);
    r = complexCall(kAdditive, kDays20, {}, {0, 1, 0, 0}, {0, 130, 0, 0}, {4, 4, 1, 3, 1, 1, 1});
    qelhost::disarmFaults();
    qelhost::setTraceSink({});
    qelhost::setTraceLevel("QELFPKSEASONALCOMPLEX", 0);
    expectColumn(r, {92, 109, 121, 98, 100, 117, 129, 106, 108, 125, 137, 114}, 1e-9, false, 3);
}

// Overrides and a multiplicative cycle reach code the robustness test's input
// does not.
TEST(SeasonalComplex, HostFailuresRaiseInternalErrorWithoutLeaks) {
    expectHostFaultsAreInternal([] {
        return complexCall(kMultiplicative, kDays20, {1, 0.1, 8, 1, 2}, {0, 1, 0, 0}, {0, 5, 0, 0},
                           {4, 4, 2, 2, 2, 3, 2});
    });
}
