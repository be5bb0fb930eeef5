// FORECAST through the loader: the worked examples of every method, the
// marker-row grouping, the error texts and what stays written after an error.
#include <algorithm>
#include <cstring>
#include <map>
#include <thread>

#include "testSupport.h"

using namespace fpktest;

namespace {

const double kNaN = std::nan("");

struct Plan {
    std::vector<std::string> period = {};
    std::vector<double> budget = {}, actual = {};
    std::vector<int32_t> afflag = {}, periodsNum = {};
    std::vector<double> overrides = {};
    std::vector<int32_t> days = {}, periodsFlag = {};
    int method = 0, indicator = 0;
    std::vector<std::size_t> nullPeriods = {};
};

ColumnHandle periodColumn(const Plan& p) {
    if (p.nullPeriods.empty()) return scol(p.period);
    std::vector<std::string_view> texts(p.period.begin(), p.period.end());
    std::vector<uint8_t> nulls(p.period.size(), 0);
    for (std::size_t r : p.nullPeriods) nulls[r] = 1;
    ColumnPtr c = Column::make("IN", RhoCommonObjects::VT_STRING);
    c->setNative(0, texts.size(), texts.data(), nulls.data());
    return ColumnHandle(c);
}

CallResult run(const Plan& p) {
    return call("FORECAST", {periodColumn(p), col(p.budget), col(p.actual), icol(p.afflag), icol(p.periodsNum),
                             col(p.overrides), icol(p.days), icol(p.periodsFlag), p.method, p.indicator});
}

std::vector<std::string> months(int n) {
    std::vector<std::string> m;
    for (int i = 1; i <= n; ++i) m.push_back("M" + std::to_string(i));
    return m;
}

void expectValues(const std::vector<double>& got, const std::vector<double>& want, double tol = 1e-9) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        if (std::isnan(want[i]))
            EXPECT_TRUE(std::isnan(got[i])) << "row " << i;
        else
            EXPECT_NEAR(got[i], want[i], tol * std::max(1.0, std::fabs(want[i]))) << "row " << i;
    }
}

const std::vector<std::string> kQuarters = {"Q1", "Q2", "Q3", "Q4", "YEAR", "Q1", "Q2", "Q3", "Q4", "YEAR"};
const std::vector<std::string> kMonths5 = {"JAN", "FEB", "MAR", "APR", "MAY"};

struct Case {
    const char* name;
    Plan plan;
    std::vector<double> forecast;
    double tol = 1e-9;
};

const std::vector<Case>& workedExamples() {
    static const std::vector<Case> cases = {
        // ACT_BUD: a "TOTAL" after a "YEAR" sums only the rows since that "YEAR".
        {"ActBudGrouping", {{"M1", "M2", "YEAR", "M3", "TOTAL"}, {0, 20, 0, 30, 0}, {10}, {0, 1, 7, 1, 7}},
         {10, 20, 30, 30, 30}},
        {"MarkerFirstAndTwice", {{"YEAR", "M1", "YEAR", "TOTAL"}, {0, 5, 0, 0}, {}, {9, 1, 9, 9}}, {0, 5, 5, 0}},
        // Marker texts are exact: "year" and "TOTAL " are periods.
        {"MarkerTextsExact", {{"M1", "year", "TOTAL "}, {1, 2, 3}, {}, {1, 1, 1}}, {1, 2, 3}},
        // OVERRIDE is dense: its rows go to the forecast rows in order.
        {"OverrideDense", {months(4), {}, {10, 0, 30}, {0, 1, 0, 1}, {}, {7, 8, 99}, {}, {}, 1}, {10, 7, 30, 8}},
        {"Trend", {months(3), {100, 100, 120}, {90, 110}, {0, 0, 1}, {}, {}, {}, {}, 2}, {90, 110, 120}},
        // T = 300, SA = 120, SB = 100: the open rows share 180 by budget.
        {"GoalProportional",
         {{"M1", "M2", "M3", "TOTAL"}, {100, 100, 100, 0}, {120}, {0, 1, 1}, {}, {}, {}, {}, 3},
         {120, 90, 90, 300}},
        // No budget left in the open rows: T - SA = -20 split by nP - nA - 1 = 2.
        {"GoalEvenSplit",
         {{"M1", "M2", "M3", "TOTAL"}, {100, 0, 0, 0}, {120}, {0, 1, 1}, {}, {}, {}, {}, 3},
         {120, -10, -10, 100}},
        {"AverageExample1", {months(6), {}, {100, 110, 120, 130}, {0, 0, 0, 0, 1, 1}, {3}, {}, {}, {}, 4},
         {100, 110, 120, 130, 120, 120}},
        {"LinearExample2", {months(6), {}, {100, 110, 120, 130}, {0, 0, 0, 0, 1, 1}, {3}, {}, {}, {}, 5},
         {100, 110, 120, 130, 140, 150}},
        {"LinearWindow4", {months(6), {}, {100, 110, 120, 130}, {0, 0, 0, 0, 1, 1}, {4}, {}, {}, {}, 5},
         {100, 110, 120, 130, 140, 150}},
        {"LinearWindow1", {months(6), {}, {100, 110, 120, 130}, {0, 0, 0, 0, 1, 1}, {1}, {}, {}, {}, 5},
         {100, 110, 120, 130, 130, 130}},
        // The window holds the most recent actuals before the row.
        {"AverageSkipsOpenRows", {months(5), {}, {1, 3, 0, 9}, {0, 0, 1, 0, 1}, {2}, {}, {}, {}, 4}, {1, 3, 2, 9, 6}},
        {"AverageMarkers",
         {kQuarters, {}, {50, 60, 55, 65, 0, 70, 72}, {0, 0, 0, 0, 0, 0, 0, 1, 1, 0}, {2}, {}, {}, {}, 4},
         {50, 60, 55, 65, 230, 70, 72, 71, 71, 284}},
        {"LinearMarkers",
         {kQuarters, {}, {50, 60, 55, 65, 0, 70, 72}, {0, 0, 0, 0, 0, 0, 0, 1, 1, 0}, {4}, {}, {}, {}, 5},
         {50, 60, 55, 65, 230, 70, 72, 79.5, 85.1, 306.6}},
        {"AverageDays",
         {kMonths5, {}, {310, 280, 341}, {0, 0, 0, 1, 1}, {3}, {}, {31, 28, 31, 30, 31}, {}, 4, 1},
         {310, 280, 341, 931.0 / 90 * 30, 931.0 / 90 * 31}},
        // Rates 10, 10, 11 at midpoints 15.5, 45, 74.5: b = 29.5 / 1740.5.
        {"LinearDays",
         {kMonths5, {}, {310, 280, 341}, {0, 0, 0, 1, 1}, {3}, {}, {31, 28, 31, 30, 31}, {}, 5, 1},
         {310, 280, 341, (31.0 / 3 + 29.5 / 1740.5 * (105 - 45)) * 30, (31.0 / 3 + 29.5 / 1740.5 * (135.5 - 45)) * 31}},
        {"LinearDaysWindow1",
         {kMonths5, {}, {310, 280, 341}, {0, 0, 0, 1, 1}, {1}, {}, {31, 28, 31, 30, 31}, {}, 5, 1},
         {310, 280, 341, 330, 341}},
        {"Periodic",
         {months(6), {100, 100, 100, 100, 150, 50}, {90, 110, 0, 120}, {0, 0, 1, 0, 1, 1}, {1}, {}, {}, {0, 0, 1, 0, 0, 1}, 6},
         {90, 110, 100, 120, 180, 60}},
        {"PeriodicRatio095",
         {months(6), {100, 100, 100, 100, 150, 50}, {90, 100, 0, 120}, {0, 0, 1, 0, 1, 1}, {1}, {}, {}, {0, 0, 1, 0, 0, 1}, 6},
         {90, 100, 95, 120, 180, 60}},
        // No flags: one group with ratio 310 / 300.
        {"PeriodicOneGroup",
         {months(6), {100, 100, 100, 100, 150, 50}, {90, 100, 0, 120}, {0, 0, 1, 0, 1, 1}, {1}, {}, {}, {}, 6},
         {90, 100, 100 * 310.0 / 300, 120, 150 * 310.0 / 300, 50 * 310.0 / 300}},
        // A flag of 2 ends no group; a group whose actuals have budget 0 keeps its budget.
        {"PeriodicZeroBudgetGroup",
         {months(4), {0, 40, 50, 60}, {5, 0, 7}, {0, 1, 0, 1}, {1}, {}, {}, {2, 1}, 6},
         {5, 40, 7, 60 * 7.0 / 50}},
        {"Subtotal",
         {{"M1", "M2", "YEAR", "M3", "M4", "YEAR"}, {100, 200, 0, 100, 300, 0}, {80}, {0, 1, 9, 1, 1, 9}, {}, {}, {}, {}, 7},
         {80, 160, 240, 100, 300, 400}},
        {"SubtotalNoMarkers", {months(3), {100, 100, 50}, {90, 120}, {0, 0, 1}, {}, {}, {}, {}, 7}, {90, 120, 52.5}},
    };
    return cases;
}

}  // namespace

TEST(Forecast, WorkedExamples) {
    for (const Case& c : workedExamples()) {
        SCOPED_TRACE(c.name);
        CallResult r = run(c.plan);
        ASSERT_FALSE(r.error) << r.error->message;
        expectValues(doublesOf(r, 1), c.forecast, c.tol);
        std::vector<std::string> periods = textsOf(r, 0);
        EXPECT_EQ(periods, c.plan.period);
    }
}

TEST(Forecast, FullTermIsGoalByteForByte) {
    Plan p{{"M1", "M2", "YEAR", "M3", "M4", "TOTAL"}, {103.3, 97.1, 0, 88.8, 120.4, 0}, {99.9, 101.7}, {0, 0, 5, 1, 1, 5}};
    for (auto budgets : {p.budget, std::vector<double>{103.3, 97.1, 0, 0, 0, 0}}) {
        p.budget = budgets;
        p.method = 3;
        CallResult goal = run(p);
        p.method = 8;
        CallResult fullTerm = run(p);
        ASSERT_FALSE(goal.error);
        ASSERT_FALSE(fullTerm.error);
        std::vector<double> a = doublesOf(goal, 1), b = doublesOf(fullTerm, 1);
        ASSERT_EQ(a.size(), b.size());
        EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(double)), 0);
    }
}

TEST(Forecast, UnguardedDivisions) {
    // TREND without closed rows: 0 * budget / 0.
    CallResult trend = run({months(2), {10, 20}, {}, {1, 1}, {}, {}, {}, {}, 2});
    ASSERT_FALSE(trend.error);
    expectValues(doublesOf(trend, 1), {kNaN, kNaN});
    // TREND with closed budget 0: infinity.
    trend = run({months(2), {0, 20}, {5}, {0, 1}, {}, {}, {}, {}, 2});
    ASSERT_FALSE(trend.error);
    EXPECT_EQ(doublesOf(trend, 1)[1], INFINITY);
    // GOAL even split with nP - nA - 1 = 0: (100 - 40) / 0.
    CallResult goal = run({months(2), {100, 0}, {40}, {0, 1}, {}, {}, {}, {}, 3});
    ASSERT_FALSE(goal.error);
    EXPECT_EQ(doublesOf(goal, 1)[1], INFINITY);
}

TEST(Forecast, NullsAndEmptyInputs) {
    // A null PERIOD is copied as null and is a period row; a null flag is 0.
    Plan p{{"M1", "YEAR", "M3"}, {1, 2, 3}, {4, 5, 6}, {1, 1, 1}};
    p.nullPeriods = {1};
    CallResult r = run(p);
    ASSERT_FALSE(r.error);
    expectValues(doublesOf(r, 1), {1, 2, 3});
    ColumnBase* re = r.table->getColumn(0);
    std::vector<std::string_view> texts(3);
    std::vector<uint8_t> nulls(3);
    ASSERT_TRUE(re->getNative(0, 3, texts.data(), nulls.data()));
    EXPECT_EQ(nulls, (std::vector<uint8_t>{0, 1, 0}));

    for (int method : {0, 1}) {
        CallResult empty = run({{}, {}, {}, {}, {}, {}, {}, {}, method});
        ASSERT_FALSE(empty.error) << method;
        EXPECT_TRUE(doublesOf(empty, 1).empty());
        EXPECT_TRUE(textsOf(empty, 0).empty());
    }
}

namespace {
struct ErrorCase {
    const char* name;
    Plan plan;
    const char* error;
    const char* message;
    std::size_t rowsWritten;  // rows present before the failing row; -1: columns untouched
};

constexpr std::size_t kUntouched = static_cast<std::size_t>(-1);
const char* const kBadFlag = "FPK error[73000058]:Value of column AFFLAG is invalid. AFflag should be in (0,1).";
const char* const kPrdNum = "FPK error[73000508]:Period number should not be in greater than size of ACTUAL.";
std::string sizeLess(const char* a, const char* b) {
    return std::string("FPK error[73000505]:Size of column ") + a + " should not be less than size of column " + b + ".";
}
}  // namespace

TEST(Forecast, Errors) {
    const std::string m12 = "FPK error[73000506]:Method should be in (0,1,2,3,4,5,6,7,8).";
    const std::vector<ErrorCase> cases = {
        {"MethodNegative", {months(1), {1}, {}, {1}, {}, {}, {}, {}, -1}, "ERR_FPK_FCST_INVALID_METHOD", m12.c_str(), kUntouched},
        {"MethodBeforeIndicator", {months(1), {1}, {}, {1}, {}, {}, {}, {}, 9, 5}, "ERR_FPK_FCST_INVALID_METHOD", m12.c_str(), kUntouched},
        {"Indicator", {months(1), {1}, {}, {1}, {}, {}, {}, {}, 0, 2}, "ERR_FPK_FCST_INVALID_INDICATOR",
         "FPK error[73000507]:Indicator should be in (0,1).", kUntouched},
        {"ActBudFlag2", {months(3), {1, 2, 3}, {4}, {0, 2, 1}}, "ERR_FPK_COMM_INVALID_COL_VALUE", kBadFlag, 1},
        {"ActBudFlagBeyondBudget", {months(2), {1}, {}, {1, 1, 1}}, "ERR_FPK_FCST_COL_SIZE_LESS",
         nullptr, kUntouched},
        {"ActBudPeriodShorter", {months(2), {1, 2, 3}, {}, {1, 1, 1}}, "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, kUntouched},
        {"ActBudFlagRunsOut", {months(2), {1, 2}, {}, {1}}, "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, 1},
        {"TrendFlagsShorterThanActual", {months(3), {1, 2, 3}, {1, 2, 3}, {0, 0}, {}, {}, {}, {}, 2},
         "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, kUntouched},
        {"ActBudMissingActual", {months(3), {1, 2, 3}, {4}, {0, 1, 0}}, "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, 2},
        {"OverrideExhausted", {months(4), {}, {1, 2, 3}, {0, 1, 0, 1}, {}, {7}, {}, {}, 1},
         "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, 3},
        {"TrendMarkerFlagInRatioPass", {{"M1", "YEAR", "M2"}, {1, 0, 2}, {5, 0}, {0, 5, 1}, {}, {}, {}, {}, 2},
         "ERR_FPK_COMM_INVALID_COL_VALUE", kBadFlag, 0},
        {"GoalBudgetSize", {months(3), {1, 2}, {}, {1, 1, 1}, {}, {}, {}, {}, 3}, "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
         "FPK error[73000080]:Sizes of column PERIOD and BUDGET should be equal.", kUntouched},
        {"AverageZeroWindow", {months(2), {}, {1}, {0, 1}, {0}, {}, {}, {}, 4}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column PERIODSNUM is invalid. Period number should be greater than 0.", kUntouched},
        {"AverageEmptyWindow", {months(2), {}, {1}, {0, 1}, {}, {}, {}, {}, 5}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         "FPK error[73000058]:Value of column PERIODSNUM is invalid. Period number should be greater than 0.", kUntouched},
        {"AverageWindowBeyondActual", {months(2), {}, {1, 2}, {0, 0}, {3}, {}, {}, {}, 4}, "ERR_FPK_FCST_INVALID_PRD_NUM",
         kPrdNum, kUntouched},
        {"AverageNoActualBefore", {months(3), {}, {1, 2, 3}, {1, 0, 0}, {1}, {}, {}, {}, 4},
         "ERR_FPK_FCST_INVALID_PRD_NUM", kPrdNum, 0},
        {"LinearShortFlags", {months(3), {}, {1}, {0, 1}, {1}, {}, {}, {}, 5}, "ERR_FPK_FCST_COL_SIZE_LESS", nullptr,
         kUntouched},
        {"AverageZeroDays", {months(3), {}, {1, 2}, {0, 0, 1}, {1}, {}, {31, 0, 31}, {}, 4, 1},
         "ERR_FPK_COMM_INVALID_COL_VALUE", "FPK error[73000058]:Value of column DAYS is invalid. Days should be greater than 0.", 1},
        {"PeriodicFlag2", {months(3), {1, 2, 3}, {1}, {0, 1, 2}, {1}, {}, {}, {}, 6}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         kBadFlag, 0},
        {"SubtotalMissingActual", {{"M1", "M2", "YEAR"}, {1, 2, 0}, {1}, {0, 0, 1}, {}, {}, {}, {}, 7},
         "ERR_FPK_FCST_COL_SIZE_LESS", nullptr, 0},
    };
    const std::map<std::string, std::string> sizeTexts = {
        {"ActBudFlagBeyondBudget", sizeLess("BUDGET", "AFFLAG")},
        {"ActBudMissingActual", sizeLess("ACTUAL", "PERIOD")},
        {"ActBudPeriodShorter", sizeLess("PERIOD", "AFFLAG")},
        {"ActBudFlagRunsOut", sizeLess("AFFLAG", "PERIOD")},
        {"TrendFlagsShorterThanActual", sizeLess("AFFLAG", "ACTUAL")},
        {"OverrideExhausted", sizeLess("OVERRIDE", "PERIOD")},
        {"LinearShortFlags", sizeLess("AFFLAG", "PERIOD")},
        {"SubtotalMissingActual", sizeLess("ACTUAL", "PERIOD")},
    };
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(c.name);
        CallResult r = run(c.plan);
        expectError(r, c.error, c.message ? c.message : sizeTexts.at(c.name));
        ColumnBase* re = r.table->getColumn(0);
        ColumnBase* fc = r.table->getColumn(1);
        if (c.rowsWritten == kUntouched) {
            EXPECT_EQ(re->size(), 0u);
            EXPECT_EQ(fc->size(), 0u);
            continue;
        }
        // Both columns have the PERIOD rows; exactly the rows before the
        // failing one are written.
        const std::size_t n = c.plan.period.size();
        ASSERT_EQ(re->size(), n);
        ASSERT_EQ(fc->size(), n);
        std::vector<std::string_view> texts(n);
        std::vector<double> values(n);
        std::vector<uint8_t> textNulls(n), valueNulls(n);
        ASSERT_TRUE(re->getNative(0, n, texts.data(), textNulls.data()));
        ASSERT_TRUE(fc->getNative(0, n, values.data(), valueNulls.data()));
        for (std::size_t i = 0; i < n; ++i) {
            EXPECT_EQ(textNulls[i] == 0, i < c.rowsWritten) << "row " << i;
            EXPECT_EQ(valueNulls[i] == 0, i < c.rowsWritten) << "row " << i;
            if (i < c.rowsWritten) {
                EXPECT_EQ(texts[i], c.plan.period[i]);
            }
        }
    }
}

TEST(Forecast, GoalIgnoresMarkerFlagsThatTrendReads) {
    CallResult r = run({{"M1", "YEAR", "M2"}, {1, 0, 2}, {5, 0}, {0, 5, 1}, {}, {}, {}, {}, 3});
    ASSERT_FALSE(r.error) << r.error->message;
    // T = 3, SB = 1, SA = 5: M2 = (3 - 5) * 2 / 2.
    expectValues(doublesOf(r, 1), {5, 5, -2});
}

TEST(Forecast, ColumnTypesVerifiedOnlyWhereUsed) {
    // PERIOD must be text.
    CallResult r = call("FORECAST", {col({1}), col({1}), col({}), icol({1}), icol({}), col({}), icol({}), icol({}), 0, 0});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column PERIOD is not supported.");
    // The result must be a text column, then a double column.
    const qelhost::FunctionInfo* info = plugin().find("FORECAST");
    TablePtr wrong = Table::make("RESULT");
    wrong->addColumn(ColumnHandle(Column::make("RE_PERIOD", RhoCommonObjects::VT_DOUBLE)));
    wrong->addColumn(ColumnHandle(Column::make("FORECAST", RhoCommonObjects::VT_DOUBLE)));
    r = plugin().call(*info, {scol({"M1"}), col({1}), col({}), icol({1}), icol({}), col({}), icol({}), icol({}), 0, 0},
                      TableHandle(wrong));
    expectError(r, "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                "FPK error[73000022]:Data types of table RESULT do not match FPK specification.");
    // An OVERRIDE of text is only refused by the OVERRIDE method.
    for (int method : {0, 1}) {
        r = call("FORECAST", {scol({"M1"}), col({1}), col({}), icol({1}), icol({}), scol({"x"}), icol({}), icol({}),
                              method, 0});
        if (method == 0)
            EXPECT_FALSE(r.error);
        else
            expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                        "FPK error[73000050]:Data type of column OVERRIDE is not supported.");
    }
}

TEST(Forecast, NoScratchMemoryKept) {
    RhoUtils::Allocator* before = qelhost::findAllocator("ForecastAllocator");
    for (const Case& c : workedExamples()) run(c.plan);
    run({months(3), {}, {1, 2, 3}, {1, 0, 0}, {1}, {}, {}, {}, 4});
    RhoUtils::Allocator* alloc = qelhost::findAllocator("ForecastAllocator");
    ASSERT_NE(alloc, nullptr);
    (void)before;
    EXPECT_EQ(alloc->outstandingBytes(), 0u);
}

TEST(Forecast, ReadFailureIsTraced) {
    std::vector<std::string> lines;
    qelhost::setTraceLevel("QELFPKFORECAST", 3);
    qelhost::setTraceSink([&](const std::string&, int, std::string_view line) { lines.emplace_back(line); });
    Plan p{months(2), {1, 2}, {3}, {0, 1}, {}, {}, {}, {}, 2};
    ColumnHandle period = periodColumn(p);
    std::vector<Argument> args = {period, col(p.budget), col(p.actual), icol(p.afflag), icol({}), col({}), icol({}),
                                  icol({}), 2, 0};
    const qelhost::FunctionInfo* info = plugin().find("FORECAST");
    qelhost::armFault(qelhost::Fault::GetNative, 1);  // the first read: BUDGET
    CallResult r = plugin().call(*info, args, TableHandle(plugin().makeResultTable(*info)));
    qelhost::disarmFaults();
    qelhost::setTraceSink({});
    qelhost::setTraceLevel("QELFPKFORECAST", 0);
    expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "budget->getNative failed."), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Information: FPKForecast::execute() begin"), lines.end());
}

TEST(Forecast, ConcurrentCallsThroughTheLoader) {
    // Each thread runs its own method; the loader serialises FORECAST calls,
    // so every thread sees the method it asked for.
    const std::vector<std::string> names = {"ActBudGrouping", "OverrideDense", "Trend",    "GoalProportional",
                                            "AverageMarkers", "LinearMarkers", "LinearDays", "Periodic",
                                            "Subtotal"};
    std::vector<std::size_t> picks;
    for (const std::string& name : names)
        for (std::size_t i = 0; i < workedExamples().size(); ++i)
            if (name == workedExamples()[i].name) picks.push_back(i);
    ASSERT_EQ(picks.size(), names.size());
    std::vector<std::thread> threads;
    std::vector<int> failures(picks.size(), 0);
    for (std::size_t t = 0; t < picks.size(); ++t) {
        threads.emplace_back([&, t] {
            const Case& c = workedExamples()[picks[t]];
            for (int round = 0; round < 40; ++round) {
                CallResult r = run(c.plan);
                std::vector<double> got = doublesOf(r, 1);
                bool same = !r.error && got.size() == c.forecast.size();
                for (std::size_t i = 0; same && i < got.size(); ++i)
                    same = std::fabs(got[i] - c.forecast[i]) <= c.tol * std::max(1.0, std::fabs(c.forecast[i]));
                if (!same) ++failures[t];
            }
        });
    }
    for (auto& th : threads) th.join();
    for (std::size_t t = 0; t < picks.size(); ++t) EXPECT_EQ(failures[t], 0) << workedExamples()[picks[t]].name;
}
