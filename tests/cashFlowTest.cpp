// DISCOUNTEDCASHFLOW and INFLATEDCASHFLOW through the loader. Expected values
// are closed forms (amount / (1 + rate)^(periods / periods per year)) and the
// spreadsheet NPV identity.
#include <cmath>
#include <functional>

#include "testSupport.h"

using namespace fpktest;

namespace {

struct CashFlowInputs {
    std::vector<double> prime;
    std::vector<std::string> time;
    std::vector<double> rate;
    std::vector<double> apr{0};
    std::vector<double> switchover{0};
    std::vector<std::string> switchoverDate{};
    std::vector<std::size_t> primeNulls{};
    std::vector<std::size_t> rateNulls{};
};

std::vector<Argument> args(const CashFlowInputs& in) {
    return {withNulls(in.prime, in.primeNulls), scol(in.time), withNulls(in.rate, in.rateNulls), col(in.apr),
            col(in.switchover), scol(in.switchoverDate)};
}

CallResult run(const char* fn, const CashFlowInputs& in) { return call(fn, args(in)); }

// Relative 1e-9 (absolute near 0); NaN stands for a null row.
void expectRows(const CallResult& r, const std::vector<double>& expected) { expectColumn(r, expected, 1e-9, true); }

std::vector<std::string> months(int from, int count) {
    std::vector<std::string> keys;
    for (int i = 0; i < count; ++i) {
        const int y = 2024 + (from - 1 + i) / 12, m = (from - 1 + i) % 12 + 1;
        char b[32];
        std::snprintf(b, sizeof b, "%04d%02d", y, m);
        keys.push_back(b);
    }
    return keys;
}

CashFlowInputs monthlyExample() {
    CashFlowInputs in;
    in.prime = std::vector<double>(6, 100);
    in.time = months(1, 6);
    in.rate = std::vector<double>(6, 12);
    in.apr = {1};
    in.switchover = {1};
    in.switchoverDate = {"20240401"};
    return in;
}

// The rows of monthlyExample() discounted after `history` rows of history.
std::vector<double> monthlyDiscounted(int history) {
    std::vector<double> rows(6, 100);
    for (int i = history; i < 6; ++i) rows[i] = 100 / std::pow(1.12, (i - history + 1) / 12.0);
    return rows;
}

}  // namespace

// The monthly, NPV, curve and quarterly worked examples run whole through
// examples/discountedcashflow*.json and examples/inflatedcashflow*.json.

TEST(CashFlowDiscounted, MonthlyPlanFromEnteredDate) {
    // The rate per period instead of per year.
    CashFlowInputs in = monthlyExample();
    in.apr = {0};
    expectRows(run("DISCOUNTEDCASHFLOW", in), {100, 100, 100, 89.285714285714285, 79.719387755102041,
                                              100 / std::pow(1.12, 3)});
    // A switch-over inside April makes April history; May is one period out.
    in = monthlyExample();
    in.switchoverDate = {"20240415"};
    expectRows(run("DISCOUNTEDCASHFLOW", in), monthlyDiscounted(4));
}

TEST(CashFlowDiscounted, SumIsSpreadsheetNpv) {
    CashFlowInputs in;
    in.prime = {100, 200, 300};
    in.time = {"2024", "2025", "2026"};
    in.rate = {10, 10, 10};
    CallResult r = run("DISCOUNTEDCASHFLOW", in);
    ASSERT_FALSE(r.error) << r.error->message;
    const std::vector<double> v = doublesOf(r);
    // NPV(0.1; 100; 200; 300) = 481.5927873...
    EXPECT_NEAR(v[0] + v[1] + v[2], 481.592787377911, 1e-9);
}

TEST(CashFlowDiscounted, RateCurveAppliesOverWholeDistance) {
    CashFlowInputs in;
    in.prime = {1000, 1000, 1000, 1000};
    in.time = {"2024", "2025", "2026", "2027"};
    in.rate = {-500, 3, 4, 5};  // the history row's rate is never read
    in.apr = {1};
    in.switchover = {3};
    in.switchoverDate = {"202501"};
    expectRows(run("DISCOUNTEDCASHFLOW", in), {1000, 1000 / 1.03, 1000 / (1.04 * 1.04), 1000 / std::pow(1.05, 3)});
    expectRows(run("INFLATEDCASHFLOW", in), {1000, 1030, 1081.6, 1157.625});
}

TEST(CashFlowDiscounted, PeriodsPerYearFollowTheKeys) {
    // No switch-over, twelve months at 12 % a year: the last row is a full year out.
    CashFlowInputs in;
    in.prime = std::vector<double>(12, 100);
    in.time = months(1, 12);
    in.rate = std::vector<double>(12, 12);
    in.apr = {1};
    CallResult r = run("DISCOUNTEDCASHFLOW", in);
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_NEAR(doublesOf(r)[0], 100 / std::pow(1.12, 1.0 / 12), 1e-9);
    EXPECT_NEAR(doublesOf(r)[11], 100 / 1.12, 1e-9);

    // Daily keys: 365 periods a year.
    in.prime = {50, 50};
    in.time = {"20230101", "20230102"};
    in.rate = {8, 8};
    expectRows(run("INFLATEDCASHFLOW", in), {50 * std::pow(1.08, 1.0 / 365), 50 * std::pow(1.08, 2.0 / 365)});

    // Weekly keys (seven days apart): 365/7 periods a year.
    in.prime = {10, 10};
    in.time = {"20240101", "20240108"};
    in.rate = {5, 5};
    expectRows(run("INFLATEDCASHFLOW", in), {10 * std::pow(1.05, 7.0 / 365), 10 * std::pow(1.05, 14.0 / 365)});
}

TEST(CashFlowInflated, UndoesDiscounting) {
    CashFlowInputs in = monthlyExample();
    in.prime = doublesOf(run("DISCOUNTEDCASHFLOW", in));
    expectRows(run("INFLATEDCASHFLOW", in), std::vector<double>(6, 100));
    // Deflation: -50 % halves a row one period out.
    CashFlowInputs d;
    d.prime = {100};
    d.time = {"2024"};
    d.rate = {-50};
    expectRows(run("INFLATEDCASHFLOW", d), {50});
    expectRows(run("DISCOUNTEDCASHFLOW", d), {200});
}

TEST(CashFlowDiscounted, HistoryBoundaries) {
    // Kind 0 reads neither SWITCHOVERDATE nor, with APR 0, TIME.
    CashFlowInputs in;
    in.prime = {10, 20};
    in.time = {"junk", "x"};
    in.rate = {0, 100};
    expectRows(run("DISCOUNTEDCASHFLOW", in), {10, 20 / 4.0});
    // A switch-over after the last key: everything is history, rates unchecked.
    in = monthlyExample();
    in.switchoverDate = {"20250101"};
    in.rate = std::vector<double>(6, -200);
    expectRows(run("DISCOUNTEDCASHFLOW", in), std::vector<double>(6, 100));
    // Keys out of order: the first planned key ends history; bad keys after it are never read.
    in = monthlyExample();
    in.time = {"202401", "202405", "202402", "2024-01", "junk", ""};
    expectRows(run("DISCOUNTEDCASHFLOW", in), monthlyDiscounted(1));
    // TODAY: keys far in the past are history, far in the future planned.
    in = CashFlowInputs{};
    in.prime = {1, 2, 3};
    in.rate = {10, 10, 10};
    in.switchover = {2};
    in.time = {"1990", "1991", "1992"};
    expectRows(run("DISCOUNTEDCASHFLOW", in), {1, 2, 3});
    in.time = {"2990", "2991", "2992"};
    expectRows(run("DISCOUNTEDCASHFLOW", in), {1 / 1.1, 2 / 1.21, 3 / 1.331});
    // SWITCHOVER 1.9 truncates to ENTER_DATE; a null SWITCHOVER is NONE.
    in = monthlyExample();
    in.switchover = {1.9};
    expectRows(run("DISCOUNTEDCASHFLOW", in), monthlyDiscounted(3));
    std::vector<Argument> a = args(monthlyExample());
    a[4] = withNulls({1}, {0});
    expectRows(call("DISCOUNTEDCASHFLOW", a), monthlyDiscounted(0));
}

TEST(CashFlowDiscounted, LongColumnsSplitIntoRangesAgree) {
    const std::size_t n = 200001;
    CashFlowInputs in;
    in.prime.resize(n);
    in.rate.resize(n);
    in.time = std::vector<std::string>(n, "2000");
    for (std::size_t i = 0; i < n; ++i) {
        in.prime[i] = static_cast<double>(i % 97) - 40;
        in.rate[i] = static_cast<double>(i % 13) * 0.5;
    }
    for (std::size_t i : {5u, 64000u, 64001u, 199999u}) in.primeNulls.push_back(i);
    const unsigned threads = qelhost::threadCount();
    qelhost::setThreadCount(4);
    CallResult r = run("DISCOUNTEDCASHFLOW", in);
    const std::size_t ranges = qelhost::parallelStats().lastRanges.size();
    qelhost::setThreadCount(threads);
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_GT(ranges, 1u);
    const std::vector<double> v = doublesOf(r);
    ASSERT_EQ(v.size(), n);
    for (std::size_t i = 0; i < n; ++i) {
        if (std::find(in.primeNulls.begin(), in.primeNulls.end(), i) != in.primeNulls.end()) {
            ASSERT_TRUE(std::isnan(v[i])) << i;
            continue;
        }
        const double expected = in.prime[i] / std::pow(1 + in.rate[i] / 100, static_cast<double>(i + 1));
        ASSERT_NEAR(v[i], expected, 1e-9 * std::max(1.0, std::fabs(expected))) << i;
    }
    // The rates are checked by ranges too: one bad rate deep in the column fails the call.
    in.rate[150001] = -100;
    expectError(run("DISCOUNTEDCASHFLOW", in), "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column RATE is invalid. Rate should be greater than -100.");
}

TEST(CashFlowDiscounted, EmptyPlanStillChecksControls) {
    CashFlowInputs in;
    CallResult r = run("DISCOUNTEDCASHFLOW", in);
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(doublesOf(r).empty());
    in.apr = {0.5};
    expectError(run("DISCOUNTEDCASHFLOW", in), "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column APR is invalid. APR should be in (0,1).");
    in.apr = {0};
    in.switchover = {1};
    expectError(run("INFLATEDCASHFLOW", in), "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
                "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD.");
}

TEST(CashFlowErrors, FirstFailureIsReported) {
    const std::string invalid = "FPK error[73000058]:Value of column ";
    struct Case {
        const char* what;
        std::function<void(CashFlowInputs&)> change;
        const char* name;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"TIME short", [](CashFlowInputs& c) { c.time.pop_back(); c.rate.push_back(1); },
         "ERR_FPK_COMM_INVALID_COL_VALUE", invalid + "TIME is invalid. Size should be equal to size of PRIME."},
        {"RATE long", [](CashFlowInputs& c) { c.rate.push_back(1); }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "RATE is invalid. Size should be equal to size of PRIME."},
        {"APR empty", [](CashFlowInputs& c) { c.apr.clear(); }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "APR is invalid. Column should have at least 1 row."},
        {"APR 2", [](CashFlowInputs& c) { c.apr = {2}; }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "APR is invalid. APR should be in (0,1)."},
        {"APR NaN", [](CashFlowInputs& c) { c.apr = {std::nan("")}; }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "APR is invalid. APR should be in (0,1)."},
        {"SWITCHOVER empty", [](CashFlowInputs& c) { c.switchover.clear(); }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "SWITCHOVER is invalid. Column should have at least 1 row."},
        {"SWITCHOVER 4", [](CashFlowInputs& c) { c.switchover = {4}; }, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE",
         "FPK error[73000104]:Switchover date is out of range."},
        {"SWITCHOVER NaN", [](CashFlowInputs& c) { c.switchover = {std::nan("")}; },
         "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE", "FPK error[73000104]:Switchover date is out of range."},
        {"date empty", [](CashFlowInputs& c) { c.switchoverDate.clear(); }, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {"date short", [](CashFlowInputs& c) { c.switchoverDate = {"202404"}; },
         "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {"month 13", [](CashFlowInputs& c) { c.switchoverDate = {"20241301"}; }, "ERR_FPK_COMM_MONTH_OUT_OF_RANGE",
         "FPK error[73000102]:The month of date is out of range."},
        {"day 31", [](CashFlowInputs& c) { c.switchoverDate = {"20240431"}; }, "ERR_FPK_COMM_DAY_OUT_OF_RANGE",
         "FPK error[73000103]:The day of date is out of range."},
        {"bad key reached", [](CashFlowInputs& c) { c.time[1] = "2024-01"; }, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column TIME should be YYYYMMDD."},
        {"quarter 5", [](CashFlowInputs& c) { c.time = {"20245", "20241", "20242", "20243", "20244", "20251"}; },
         "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", "FPK error[73000102]:The month of date is out of range."},
        {"RATE -100 planned", [](CashFlowInputs& c) { c.rate[4] = -100; }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "RATE is invalid. Rate should be greater than -100."},
        {"RATE NaN planned", [](CashFlowInputs& c) { c.rate[5] = std::nan(""); }, "ERR_FPK_COMM_INVALID_COL_VALUE",
         invalid + "RATE is invalid. Rate should be greater than -100."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CashFlowInputs in = monthlyExample();
        c.change(in);
        expectError(run("DISCOUNTEDCASHFLOW", in), c.name, c.message);
        expectError(run("INFLATEDCASHFLOW", in), c.name, c.message);
    }
    // A history row's rate of -100 is never checked.
    CashFlowInputs in = monthlyExample();
    in.rate[0] = -100;
    EXPECT_FALSE(run("DISCOUNTEDCASHFLOW", in).error);
}

TEST(CashFlowErrors, TypesAndResultTable) {
    std::vector<Argument> a = args(monthlyExample());
    a[1] = col({1, 2, 3, 4, 5, 6});  // TIME as numbers
    expectError(call("DISCOUNTEDCASHFLOW", a), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column TIME is not supported.");
    a = args(monthlyExample());
    a[3] = icol({1});  // APR as an integer column
    expectError(call("INFLATEDCASHFLOW", a), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column APR is not supported.");

    const qelhost::FunctionInfo* info = plugin().find("DISCOUNTEDCASHFLOW");
    TablePtr t = plugin().makeResultTable(*info);
    t->column(0)->setReadOnly(true);
    CashFlowInputs bad = monthlyExample();
    bad.rate.push_back(1);  // a size error that the read-only check precedes
    CallResult r = plugin().call(*info, args(bad), TableHandle(t));
    expectError(r, "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column RESULT is read only.");

    TablePtr wide = plugin().makeResultTable(*info);
    wide->addColumn(ColumnHandle(Column::doubles("EXTRA", {})));
    r = plugin().call(*info, args(monthlyExample()), TableHandle(wide));
    expectError(r, "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "RESULT"}}));
}

TEST(CashFlowTrace, BeginLineAndProfilingSection) {
    std::vector<std::string> lines;
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        if (topic == "QELFPKCASHFLOW") lines.emplace_back(line);
    });
    qelhost::setTraceLevel("QELFPKCASHFLOW", 3);
    qelhost::resetProfiler();
    qelhost::setProfilerEnabled(true);
    CallResult r = run("INFLATEDCASHFLOW", monthlyExample());
    qelhost::setProfilerEnabled(false);
    qelhost::setTraceLevel("QELFPKCASHFLOW", 0);
    qelhost::setTraceSink({});
    ASSERT_FALSE(r.error);
    EXPECT_EQ(lines, (std::vector<std::string>{"Information: FPKCashFlow::execute() begin"}));
    EXPECT_EQ(qelhost::profilerSections().count("InflatedCashFlow"), 1u);
}
