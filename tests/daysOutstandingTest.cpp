// DAYSOUTSTANDING and DELAYDEBT through the loader: the worked examples, the
// agreement of the two under one constant delay, and the checks.
#include "testSupport.h"

using namespace fpktest;

namespace {

struct Inputs {
    double indicator;
    double prime;
    std::vector<double> invoice, duration, level, days;
    int flag;
};

CallResult run(const char* fn, const Inputs& in) {
    return call(fn, {col({in.indicator}), col({in.prime}), col(in.invoice), col(in.duration), col(in.level),
                     col(in.days), in.flag});
}

struct Expect {
    std::vector<double> opening, closing, receipts;
};

void check(const char* fn, const Inputs& in, const Expect& e) {
    SCOPED_TRACE(fn);
    auto r = run(fn, in);
    ASSERT_FALSE(r.error) << r.error->message;
    expectNearAll(doublesOf(r, 0), e.opening, 1e-9, true);
    expectNearAll(doublesOf(r, 1), e.closing, 1e-9, true);
    expectNearAll(doublesOf(r, 2), e.receipts, 1e-9, true);
}

const Inputs kDays45{1, 4500, {3100, 5600, 3100, 3000}, {31, 28, 31, 30}, {0, 0, 0, 0}, {45, 45, 45, 45}, 1};
const Inputs kPeriods{0, 500, {100, 200, 300, 400}, {0, 0, 0, 0}, {2, 2, 1, 1}, {-1, -1, -1, -1}, 0};
const Inputs kRising{1, 1000, {3000, 3000, 3000}, {30, 30, 30}, {0, 0, 0}, {0, 60, 15}, 1};

}  // namespace

// The 45-day and the per-period worked examples of both functions run whole
// through examples/daysoutstanding*.json and examples/delaydebt*.json.

TEST(DaysOutstanding, WorkedExamples) {
    Inputs frac{0, 300, {100, 200, 300, 400}, {}, {1.5, 1.5, 1.5, 1.5}, {}, 1};
    check("DAYSOUTSTANDING", frac, {{300, 200, 250, 400}, {200, 250, 400, 550}, {200, 150, 150, 250}});
    frac.flag = 0;
    check("DAYSOUTSTANDING", frac, {{300, 100, 250, 400}, {100, 250, 400, 550}, {300, 50, 150, 250}});
    check("DAYSOUTSTANDING", kRising, {{1000, 0, 6000}, {0, 6000, 1500}, {4000, -3000, 7500}});
    // No days outstanding: everything is received at once.
    check("DAYSOUTSTANDING", {1, 50, {10, 20}, {30, 31}, {}, {0, 0}, 1}, {{50, 0}, {0, 0}, {60, 20}});
}

TEST(DelayDebt, WorkedExamples) {
    check("DELAYDEBT", kRising, {{1000, 0, 3000}, {0, 3000, 4500}, {4000, 0, 1500}});
    // A run-off longer than all rows: only part of PRIME comes in.
    check("DELAYDEBT", {1, 900, {0, 0}, {30, 30}, {}, {90, 90}, 1}, {{900, 600}, {600, 300}, {300, 300}});
    // RUN_OFF with no delay in row 0 receives PRIME at once.
    check("DELAYDEBT", {1, 900, {0, 0}, {30, 30}, {}, {0, 90}, 1}, {{900, 0}, {0, 0}, {900, 0}});
}

TEST(DaysOutstanding, AgreesWithDelayDebtUnderOneDelay) {
    // With one delay on every row, the countback balance and the delayed
    // invoices give the same rows, for both openings, whole and fractional
    // delays, days and periods.
    const std::vector<double> invoice = {120, 80, 0, 300, 45.5, 210, 99, 150, 60, 75, 310, 20};
    const std::vector<double> duration = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int flag : {0, 1}) {
        for (double d : {0.0, 10.0, 29.5, 45.0, 100.0, 400.0}) {
            Inputs in{1, 777, invoice, duration, {}, std::vector<double>(invoice.size(), d), flag};
            auto a = run("DAYSOUTSTANDING", in), b = run("DELAYDEBT", in);
            ASSERT_FALSE(a.error || b.error);
            for (std::size_t c = 0; c < 3; ++c) expectNearAll(doublesOf(a, c), doublesOf(b, c), 1e-9, true);
        }
        for (double level : {1.0, 1.5, 2.0, 3.25, 12.0}) {
            Inputs in{0, 777, invoice, {}, std::vector<double>(invoice.size(), level), {}, flag};
            auto a = run("DAYSOUTSTANDING", in), b = run("DELAYDEBT", in);
            ASSERT_FALSE(a.error || b.error);
            for (std::size_t c = 0; c < 3; ++c) expectNearAll(doublesOf(a, c), doublesOf(b, c), 1e-9, true);
        }
    }
}

TEST(DaysOutstanding, Checks) {
    const std::string bad = "FPK error[73000058]:Value of column ";
    for (const char* fn : {"DAYSOUTSTANDING", "DELAYDEBT"}) {
        SCOPED_TRACE(fn);
        Inputs in = kPeriods;
        in.flag = 2;
        expectError(run(fn, in), "ERR_FPK_COMM_INVALID_COL_VALUE", bad + "FLAG is invalid. Flag should be in (0,1).");
        in = kPeriods;
        in.level[2] = 0.5;
        TableHandle result(plugin().makeResultTable(*plugin().find(fn)));
        auto r = plugin().call(fn, {col({0}), col({500}), col(in.invoice), col({}), col(in.level), col({}), 0}, result);
        expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE", bad + "LEVEL is invalid. Level should be between 1 and 12.");
        EXPECT_EQ(r.table->getColumn(0)->size(), 0u);
        for (double level : {12.01, std::nan("")}) {
            in.level[2] = level;
            expectError(run(fn, in), "ERR_FPK_COMM_INVALID_COL_VALUE",
                        bad + "LEVEL is invalid. Level should be between 1 and 12.");
        }
        in.level = {12, 12, 12};  // the fourth row is missing: null, so 0
        expectError(run(fn, in), "ERR_FPK_COMM_INVALID_COL_VALUE",
                    bad + "LEVEL is invalid. Level should be between 1 and 12.");
        in.level = {12, 12, 12, 12};
        EXPECT_FALSE(run(fn, in).error);
        for (double ind : {0.5, 2.0}) {
            in.indicator = ind;
            expectError(run(fn, in), "ERR_FPK_COMM_INVALID_COL_VALUE",
                        bad + "INDICATOR is invalid. Indicator should be in (0,1).");
        }
        Inputs days = kDays45;
        days.level = {0, 0, 0, 0};  // not read in days
        days.duration[1] = 0;
        expectError(run(fn, days), "ERR_FPK_COMM_INVALID_COL_VALUE",
                    bad + "DURATION is invalid. Duration should be greater than 0.");
        days.duration[1] = 28;
        days.days[3] = -1;
        expectError(run(fn, days), "ERR_FPK_COMM_INVALID_COL_VALUE",
                    bad + "DAYS is invalid. Days should not be less than 0.");
        days.days = {45};  // missing rows mean 0 days
        EXPECT_FALSE(run(fn, days).error);
        expectError(call(fn, {col({}), col({}), col({}), col({}), col({}), col({}), 0}),
                    "ERR_FPK_COMM_INVALID_COL_VALUE", bad + "INDICATOR is invalid. Column should have at least 1 row.");
        expectError(call(fn, {col({0}), col({}), col({}), col({}), col({}), col({}), 0}),
                    "ERR_FPK_COMM_INVALID_COL_VALUE", bad + "PRIME is invalid. Column should have at least 1 row.");
        auto empty = call(fn, {col({0}), col({1}), col({}), col({}), col({}), col({}), 1});
        ASSERT_FALSE(empty.error) << empty.error->message;
        EXPECT_TRUE(doublesOf(empty, 0).empty());
        expectError(call(fn, {col({0}), col({1}), col({}), icol({}), col({}), col({}), 1}),
                    "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                    "FPK error[73000050]:Data type of column DURATION is not supported.");
    }
}
