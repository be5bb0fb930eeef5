// LAG: per-row shifts with padding, leads and truncated fractions.
#include <cmath>
#include <random>

#include "testSupport.h"

using namespace fpktest;

namespace {
const double N = std::nan("");
}

TEST(Lag, WorkedExamples) {
    const std::vector<double> v = {10, 20, 30, 40, 50};
    struct Case {
        const char* what;
        std::vector<double> pad, period, expected;
    } cases[] = {
        {"lag of one", {7, 7, 7, 7, 7}, {1, 1, 1, 1, 1}, {7, 10, 20, 30, 40}},
        {"lead of two", {0, 0, 0, 0, -1}, {-2, -2, -2, -2, -2}, {30, 40, 50, 0, -1}},
        {"varying shifts, truncated", {1, 2, 3, 4, 5}, {0, 1, 2, 1.9, -0.7}, {10, 10, 10, 30, 50}},
        {"shifts out of reach", {1, 2, 3, 4, 5}, {N, 5, -5, 1e300, 4}, {1, 2, 3, 4, 10}},
        {"shift of exactly n - 1 both ways", {1, 2, 3, 4, 5}, {-4, 0, 0, 0, 4}, {50, 20, 30, 40, 10}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CallResult r = call("LAG", {col(v), col(c.pad), col(c.period)});
        ASSERT_FALSE(r.error) << r.error->message;
        EXPECT_EQ(doublesOf(r), c.expected);
    }
}

TEST(Lag, NullsAndEmpty) {
    CallResult r = call("LAG", {withNulls({10, 0, 30}, {1}), withNulls({0, 8, 9}, {0}), col({1, 1, 1})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r), (std::vector<double>{0, 10, 0}));
    CallResult nullShift = call("LAG", {col({1, 2}), col({0, 0}), withNulls({1, 1}, {0, 1})});
    EXPECT_EQ(doublesOf(nullShift), (std::vector<double>{1, 2}));  // a null shift copies the row
    CallResult empty = call("LAG", {col({}), col({}), col({})});
    ASSERT_FALSE(empty.error) << empty.error->message;
    EXPECT_TRUE(doublesOf(empty).empty());
}

TEST(Lag, Errors) {
    expectError(call("LAG", {col({1, 2, 3}), col({1, 2}), col({1, 1, 1})}), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
                "FPK error[73000081]:Sizes of column VALUES, PAD and PERIOD should be equal.");
    expectError(call("LAG", {col({1}), col({1}), icol({1})}), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column PERIOD is not supported.");
    TablePtr renamed = Table::make("RESULTS");
    renamed->addColumn(ColumnHandle(Column::make("OTHER", RhoCommonObjects::VT_DOUBLE)));
    expectError(plugin().call("LAG", {col({1}), col({1}), col({1})}, TableHandle(renamed)), "ERR_FPK_COMM_COL_NOT_FIND",
                "FPK error[73000051]:Could not find column VALUE.");
}

// Shifts that cross range boundaries in both directions, against a direct
// reading of the definition.
// Random shifts per row (sources far apart), small shifts varying per row,
// and one shift for all rows (copied a block at a time) with runs that leave
// the series at either end, across ranges.
TEST(Lag, AcrossRanges) {
    const std::size_t n = 200000;
    std::mt19937 gen(3);
    std::uniform_real_distribution<double> shift(-150000, 150000);
    std::vector<double> v(n), pad(n), random(n), near(n);
    for (std::size_t r = 0; r < n; ++r) {
        v[r] = static_cast<double>(r);
        pad[r] = -1.0 - static_cast<double>(r);
        random[r] = shift(gen);
        near[r] = static_cast<double>(r % 25) - 12.5;  // varying, but each chunk reads only its neighbourhood
    }
    std::vector<std::vector<double>> periods = {random, near};
    for (double k : {1.0, 12.9, -3.0, 70000.0, -130000.0, 199999.0, 200000.0})
        periods.push_back(std::vector<double>(n, k));
    for (const std::vector<double>& period : periods) {
        std::vector<double> got = doublesOf(call("LAG", {col(v), col(pad), col(period)}));
        ASSERT_EQ(got.size(), n);
        for (std::size_t r = 0; r < n; ++r) {
            const double src = static_cast<double>(r) - std::trunc(period[r]);
            const double expected = (std::fabs(period[r]) < n && src >= 0 && src < n) ? src : pad[r];
            ASSERT_EQ(got[r], expected) << "row " << r << " shift " << period[r];
        }
    }
}

// A read that fails inside a range job is the internal error, with the
// detail line on LAG's topic after its opening line, and leaves no memory
// behind.
TEST(Lag, FailedRangeReadIsTracedInternalError) {
    const std::size_t n = 60000;  // one range: the reads come in a fixed order
    std::vector<double> v(n, 1.0);
    std::vector<std::string> lines;
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        if (topic == "QELFPKLAG") lines.emplace_back(line);
    });
    qelhost::setTraceLevel("QELFPKLAG", 3);
    const std::size_t before = libraryBytes();
    // A chunk reads PAD, PERIOD, then the VALUES rows its shifts point at.
    qelhost::armFault(qelhost::Fault::GetNative, 3);
    CallResult r = call("LAG", {col(v), col(v), col(v)});
    qelhost::disarmFaults();
    qelhost::setTraceLevel("QELFPKLAG", 0);
    qelhost::setTraceSink(nullptr);
    expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    EXPECT_EQ(lines, (std::vector<std::string>{"Information: FPKLag::execute() begin", "valuesCol->getNative failed."}));
    EXPECT_EQ(before, libraryBytes());
}
