// DELAYSTOCK through the loader: forward cover in periods and in days.
#include "testSupport.h"

using namespace fpktest;

namespace {

void expectNear(const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], want[i], 1e-9 * std::max(1.0, std::fabs(want[i]))) << "row " << i;
}

CallResult delayStock(double prime, std::vector<double> demand, std::vector<double> level, std::vector<double> days,
                      double indicator) {
    return call("DELAYSTOCK", {col({prime}), col(demand), col(level), col(days), col({indicator})});
}

}  // namespace

TEST(DelayStock, WorkedExamples) {
    struct Case {
        const char* what;
        double prime;
        std::vector<double> demand, level, days;
        double indicator;
        std::vector<double> opening, closing, purchases;
    };
    const double nan = std::nan("");
    const Case cases[] = {
        {"periods", 100, {100, 120, 90, 110}, {1, 1, 1.5, 0.5}, {30, 30, 30, 30}, 0, {100, 120, 90, 165},
         {120, 90, 165, 55}, {120, 90, 165, 0}},
        {"days", 400, {310, 280, 620, 300}, {45, 45, 20, 45}, {31, 28, 31, 30}, 1, {400, 620, 760, 200},
         {620, 760, 200, 450}, {530, 420, 60, 550}},
        {"days, odd values", 0, {100, 50, 200}, {-5, 40, 10}, {30, 0, 20}, 1, {0, 0, 400}, {0, 400, 100},
         {100, 450, -100}},
        {"indicator 2 is periods", 0, {100, 50, 200}, {2, 2, 2}, {1, 1, 1}, 2, {0, 250, 400}, {250, 400, 400},
         {350, 200, 200}},
        {"indicator 0.5 is periods", 0, {100, 50, 200}, {2, 2, 2}, {1, 1, 1}, 0.5, {0, 250, 400}, {250, 400, 400},
         {350, 200, 200}},
        {"no cover", 500, {100, 200, 300}, {0, nan, -1}, {1, 1, 1}, 0, {500, 0, 0}, {0, 0, 0}, {-400, 200, 300}},
        {"infinite or NaN days take no time", 0, {100, 50, 200}, {40, 40, 10}, {30, nan, 20}, 1, {0, 400, 400},
         {400, 400, 100}, {500, 50, -100}},
        {"no demand rows", 7, {}, {}, {}, 1, {}, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = delayStock(c.prime, c.demand, c.level, c.days, c.indicator);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r, 0), c.opening);
        expectNear(doublesOf(r, 1), c.closing);
        expectNear(doublesOf(r, 2), c.purchases);
    }
}

TEST(DelayStock, WholeCoverIsSumOfNextDemands) {
    // In periods a whole cover k holds the next k demands, the last demand
    // standing in for the periods after the last row.
    const std::vector<double> demand = {10, 20, 30, 40, 50, 60, 70};
    for (double k : {1.0, 2.0, 3.0, 5.0}) {
        auto r = delayStock(0, demand, std::vector<double>(demand.size(), k), std::vector<double>(demand.size(), 0), 0);
        ASSERT_FALSE(r.error) << r.error->message;
        std::vector<double> want;
        for (std::size_t t = 0; t < demand.size(); ++t) {
            double s = 0;
            for (std::size_t i = t + 1; i <= t + static_cast<std::size_t>(k); ++i)
                s += i < demand.size() ? demand[i] : demand.back();
            want.push_back(s);
        }
        expectNear(doublesOf(r, 1), want);
    }
}

TEST(DelayStock, Errors) {
    const std::string sizeMsg = "FPK error[73000057]:Size 0 of column ";
    expectError(call("DELAYSTOCK", {col({}), col({}), col({}), col({}), col({1})}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                sizeMsg + "PRIME is invalid. Column should have at least 1 row.");
    expectError(call("DELAYSTOCK", {col({1}), col({1, 2}), col({1, 1}), col({1}), col({0})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
                "FPK error[73000081]:Sizes of column DEMAND, LEVEL and DAYS should be equal.");
    expectError(call("DELAYSTOCK", {col({1}), col({1}), col({1}), col({1}), col({})}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                sizeMsg + "INDICATOR is invalid. Column should have at least 1 row.");
    expectError(call("DELAYSTOCK", {col({1}), col({1}), icol({1}), col({1}), col({0})}),
                "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column LEVEL is not supported.");
}
