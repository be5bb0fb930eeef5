// YEARTODATE and YEARTODATESTATISTICAL: running totals per year and back.
#include <random>

#include "testSupport.h"

using namespace fpktest;

namespace {
std::vector<double> series(const std::string& fn, const ColumnHandle& values, const ColumnHandle& start) {
    CallResult r = call(fn, {values, start});
    EXPECT_FALSE(r.error) << r.error->message;
    return doublesOf(r);
}

struct YtdCase {
    const char* what;
    int start;
    std::vector<double> periods, totals;
};

const YtdCase kCases[] = {
    {"calendar year with a second year",
     1,
     {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 5, 15, 25},
     {10, 30, 60, 100, 150, 210, 280, 360, 450, 550, 660, 780, 5, 20, 45}},
    {"starting in October", 10, {100, 100, 100, 100, 200, 200, 200}, {100, 200, 300, 100, 300, 500, 700}},
    {"fractions", 1, {1.5, 2.25, 3.125}, {1.5, 3.75, 6.875}},
    {"credit notes", 2, {100, 150, -10, -180, 70}, {100, 250, 240, 60, 130}},
    {"December start opens a year at row 1", 12, {100, 7, 50}, {100, 7, 57}},
    {"empty", 5, {}, {}},
};
}  // namespace

TEST(YearToDate, WorkedExamples) {
    for (const YtdCase& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(series("YEARTODATE", col(c.periods), col({double(c.start)})), c.totals);
        EXPECT_EQ(series("YEARTODATESTATISTICAL", col(c.totals), icol({c.start})), c.periods);
    }
}

TEST(YearToDate, NullsReadAsZero) {
    EXPECT_EQ(series("YEARTODATE", withNulls({100, 9, 50}, {1}), col({12})), (std::vector<double>{100, 0, 50}));
    EXPECT_EQ(series("YEARTODATESTATISTICAL", withNulls({100, 9, 50}, {1}), icol({12})),
              (std::vector<double>{100, 0, 50}));
}

TEST(YearToDate, StartDateErrors) {
    const char* msg = "FPK error[73000529]:STARTDATE is out of range.";
    for (const ColumnHandle& start : {col({0}), col({13}), col({4.5}), col({}), withNulls({3}, {0})})
        expectError(call("YEARTODATE", {col({}), start}), "ERR_FPK_YTD_STDT_OUT_OF_RANGE", msg);
    for (const ColumnHandle& start : {icol({0}), icol({13}), icol({})})
        expectError(call("YEARTODATESTATISTICAL", {col({1, 2}), start}), "ERR_FPK_YTD_STDT_OUT_OF_RANGE", msg);
    expectError(call("YEARTODATESTATISTICAL", {col({1, 2}), col({1})}), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column STARTDATE is not supported.");
}

TEST(YearToDate, StatisticalReadOnlyResult) {
    const qelhost::FunctionInfo* info = plugin().find("YEARTODATESTATISTICAL");
    TablePtr result = plugin().makeResultTable(*info);
    result->column(0)->setReadOnly(true);
    CallResult r = plugin().call(*info, {col({1, 2}), icol({0})}, TableHandle(result));
    expectError(r, "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column ORIGINAL is read only.");
}

// Whole numbers round-trip exactly for every start month, over a series long
// enough to be cut into several ranges (each chunk reads the row before it
// as well).
TEST(YearToDate, RoundTripAcrossRanges) {
    std::mt19937 gen(7);
    std::uniform_int_distribution<int> value(-2000000000, 2000000000);
    std::vector<double> x(200003);
    for (double& v : x) v = value(gen);
    for (int s = 1; s <= 12; s += 5) {
        SCOPED_TRACE(s);
        std::vector<double> totals = series("YEARTODATE", col(x), col({double(s)}));
        // Closed form: the total restarts where (s - 1 + r) is a multiple of 12.
        double acc = 0;
        for (std::size_t r = 0; r < x.size(); ++r) {
            acc = (r == 0 || (s - 1 + r) % 12 == 0) ? x[r] : acc + x[r];
            ASSERT_EQ(totals[r], acc) << r;
        }
        EXPECT_EQ(series("YEARTODATESTATISTICAL", col(totals), icol({s})), x);
    }
}
