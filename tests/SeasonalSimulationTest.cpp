// SEASONALSIMULATION through the loader: the worked examples, the period
// arithmetic (wrap-around, backwards, truncation, nulls) and the errors.
#include <cmath>
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;
const double kNull = std::nan("");

CallResult simulate(const V& method, const qelhost::ColumnHandle& periods, const V& param) {
    return call("SEASONALSIMULATION", {col(method), periods, col(param)});
}

V range(int from, int to) {
    V v;
    for (int i = from; i <= to; ++i) v.push_back(i);
    return v;
}

}  // namespace

// The sine wave and the knots with wrap-around run whole through
// examples/seasonalsimulation*.json.
TEST(SeasonalSimulation, WorkedExamples) {
    struct Case {
        const char* what;
        V method;
        qelhost::ColumnHandle periods;
        V param, want;
        double tol;
    };
    const std::vector<Case> cases = {
        {"two harmonics as factors", {1, 12, 3}, col(range(1, 12)), {0.9, 1.1, 1, 0, 0.5},
         {1.1, 1.065869, 0.988889, 0.922222, 0.9, 0.911909, 0.922222, 0.911909, 0.9, 0.922222, 0.988889, 1.065869},
         5e-7},
        {"knots over a year", {2, 12, 4}, col(range(1, 12)), {0, 100, 1, 3, 2, 0},
         {33.3333, 55.5556, 77.7778, 100, 88.8889, 77.7778, 66.6667, 44.4444, 22.2222, 0, 11.1111, 22.2222}, 5e-5},
        {"no shape", {1, 4, 0}, col({1, 2}), {10, 20}, {15, 15}, 0},
        {"flat knots", {2, 6, 1}, col({1, 4, -7}), {-3, 5, 42}, {1, 1, 1}, 0},
        {"P = 1", {1, 1, 0}, col({1, 2, 3}), {0, 1}, {0.5, 0.5, 0.5}, 0},
        // DF = P - 1 reproduces any pattern: s(u) = cos(pi u).
        {"alternating harmonic", {1, 4, 3}, col({1, 2, 3, 4}), {0, 1, 0, 0, 1}, {1, 0, 1, 0}, 1e-12},
        // Period 0 is the last of the previous season; P + 1 the first of the next.
        {"season arithmetic", {1, 12, 2}, col({0, 13, 25, -11, 12e14 + 1}), {80, 120, 0, 1}, {90, 100, 100, 100, 100},
         1e-9},
        {"non-finite periods", {1, 12, 2}, col({INFINITY, -INFINITY, NAN, 4}), {80, 120, 0, 1},
         {kNull, kNull, kNull, 120}, 1e-9},
        {"no periods", {1, 12, 2}, col({}), {80, 120, 0, 1}, {}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectColumn(simulate(c.method, c.periods, c.param), c.want, c.tol);
    }
}

TEST(SeasonalSimulation, ResultsStayWithinLowerAndUpperAndReachBoth) {
    // A long season with many harmonics of arbitrary weights.
    V param = {-5, 7};
    for (int j = 1; j <= 30; ++j) param.push_back(std::sin(j * 1.7) / j);
    for (double method : {1.0, 2.0}) {
        auto r = simulate({method, 365, 30}, col(range(1, 365)), param);
        ASSERT_FALSE(r.error) << r.error->message;
        const V got = doublesOf(r);
        double lo = 1e300, hi = -1e300;
        for (double v : got) {
            lo = std::min(lo, v);
            hi = std::max(hi, v);
        }
        EXPECT_NEAR(lo, -5, 1e-12);
        EXPECT_NEAR(hi, 7, 1e-12);
    }
}

TEST(SeasonalSimulation, Errors) {
    struct Case {
        V method, param;
        std::string name, message;
    };
    const std::string value = "FPK error[73000058]:Value of column METHOD is invalid. ";
    const std::vector<Case> cases = {
        {{1, 12}, {0, 1}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 2 of column METHOD is invalid. METHOD should have 3 rows."},
        {{3, 12, 2}, {80, 120, 0, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE", value + "Method should be in (1,2)."},
        {{0.5, 12, 2}, {80, 120, 0, 1}, "ERR_FPK_COMM_INVALID_COL_VALUE", value + "Method should be in (1,2)."},
        {{1, 0, 0}, {80, 120}, "ERR_FPK_COMM_INVALID_COL_VALUE", value + "Periodicity should be between 1 and 10000."},
        {{1, 10001, 0}, {80, 120}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "Periodicity should be between 1 and 10000."},
        {{1, 12, -1}, {80, 120}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "Degrees of freedom should not be less than 0."},
        {{1, 12, 12}, {80, 120}, "ERR_FPK_SNSMLTN_INVALID_PARAM_DF",
         "FPK error[73000522]:Degrees of Freedom should be less than Periodicity."},
        {{1, 1, 1}, {80, 120, 0}, "ERR_FPK_SNSMLTN_INVALID_PARAM_DF",
         "FPK error[73000522]:Degrees of Freedom should be less than Periodicity."},
        {{1, 12, 2}, {80, 120, 0}, "ERR_FPK_SNSMLTN_PARAM_SIZE_NOT_MATCH",
         "FPK error[73000524]:Size of column PARAM should be equal to (Degrees of Freedom + 2)."},
        {{1, 12, 2}, {120, 80, 0, 1}, "ERR_FPK_SNSMLTN_INVALID_PARAM_LOWER",
         "FPK error[73000523]:Lower should be less than Upper."},
        {{1, 12, 2}, {80, 80, 0, 1}, "ERR_FPK_SNSMLTN_INVALID_PARAM_LOWER",
         "FPK error[73000523]:Lower should be less than Upper."},
        {{1, 12, 2}, {NAN, 80, 0, 1}, "ERR_FPK_SNSMLTN_INVALID_PARAM_LOWER",
         "FPK error[73000523]:Lower should be less than Upper."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = simulate(c.method, col({1, 2}), c.param);
        expectError(r, c.name, c.message);
        EXPECT_EQ(doublesOf(r).size(), 0u);
    }
    // A null setting counts as 0.
    expectError(call("SEASONALSIMULATION", {withNulls({1, 12, 2}, {0}), col({1}), col({80, 120, 0, 1})}),
                "ERR_FPK_COMM_INVALID_COL_VALUE", value + "Method should be in (1,2).");
}

// Knots (the robustness test's input has harmonics), with nulls and periods
// outside the season.
TEST(SeasonalSimulation, HostFailuresRaiseInternalErrorWithoutLeaks) {
    // The columns are made before any fault is armed: the test's own writes count too.
    const auto periods = withNulls(range(-3, 30), {5});
    expectHostFaultsAreInternal([&] { return simulate({2, 12, 4}, periods, {0, 100, 1, 3, 2, 0}); });
}
