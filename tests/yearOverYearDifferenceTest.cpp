// YEAROVERYEARDIFFERENCE: differences and percentage changes against the row
// twelve months earlier.
#include <cmath>

#include "testSupport.h"

using namespace fpktest;

namespace {
const double N = std::nan("");

void expectSeries(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::isnan(expected[i]))
            EXPECT_TRUE(std::isnan(actual[i])) << "row " << i << " should be null";
        else
            EXPECT_NEAR(actual[i], expected[i], 1e-9) << "row " << i;
    }
}

std::vector<double> nulls(std::size_t k, std::vector<double> tail) {
    std::vector<double> v(k, N);
    v.insert(v.end(), tail.begin(), tail.end());
    return v;
}

const char* kDivide = "FPK error[73000100]:Dividend should not be close to zero 1e-10.";
}  // namespace

TEST(YearOverYearDifference, WorkedExamples) {
    const std::vector<double> b1 = {100, 110, 120, 130, 140, 150, 160, 170, 180, 190, 200, 210, 120, 110, 150};
    const std::vector<double> b2 = {-50, 80, 40, 10, 10, 10, 10, 10, 10, 10, 10, 10, -25, 100, 30};
    struct Case {
        std::vector<double> base;
        double style;
        std::vector<double> expected;
    } cases[] = {
        {b1, 0, nulls(12, {20, 0, 30})},
        {b1, 1, nulls(12, {20, 0, 25})},
        {b2, 0, nulls(12, {25, 20, -10})},
        {b2, 1, nulls(12, {50, 25, -25})},
        {{0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 5}, 0, nulls(12, {5})},
        {{0, 0, 0}, 1, nulls(3, {})},  // no prior-year row, so nothing is divided
        {{}, 1, {}},
        {{1e-10, -1e-10, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2e-10, 0}, 1, nulls(12, {100, 100})},
    };
    for (const Case& c : cases) {
        CallResult r = call("YEAROVERYEARDIFFERENCE", {col(c.base), col({c.style})});
        ASSERT_FALSE(r.error) << r.error->message;
        expectSeries(doublesOf(r), c.expected);
    }
}

TEST(YearOverYearDifference, Errors) {
    std::vector<double> base(13, 1.0);
    base[0] = 0;
    expectError(call("YEAROVERYEARDIFFERENCE", {col(base), col({1})}), "ERR_FPK_COMM_DIVIDE_BY_ZERO", kDivide);
    for (double tiny : {5e-11, N}) {
        base[0] = tiny;
        expectError(call("YEAROVERYEARDIFFERENCE", {col(base), col({1})}), "ERR_FPK_COMM_DIVIDE_BY_ZERO", kDivide);
    }
    base[0] = 7;
    expectError(call("YEAROVERYEARDIFFERENCE", {withNulls(base, {0}), col({1})}), "ERR_FPK_COMM_DIVIDE_BY_ZERO",
                kDivide);
    const char* style = "FPK error[73000058]:Value of column STYLE is invalid. Style should be in (0,1).";
    for (const ColumnHandle& s : {col({2}), col({0.5}), col({})})
        expectError(call("YEAROVERYEARDIFFERENCE", {col(base), s}), "ERR_FPK_COMM_INVALID_COL_VALUE", style);

    // The read-only check comes before STYLE is looked at.
    const qelhost::FunctionInfo* info = plugin().find("YEAROVERYEARDIFFERENCE");
    TablePtr result = plugin().makeResultTable(*info);
    result->column(0)->setReadOnly(true);
    expectError(plugin().call(*info, {col(base), col({7})}, TableHandle(result)), "ERR_FPK_COMM_COL_READ_ONLY",
                "FPK error[73000054]:Column DIFFERENCE is read only.");
}

// Long series are cut into ranges and chunks; each chunk reads the 12 rows
// before it as well. With B[r] = r + 1 the difference is always 12 and the
// percentage 12 / (r - 11) * 100.
TEST(YearOverYearDifference, AcrossRanges) {
    const std::size_t n = 300001;
    std::vector<double> base(n);
    for (std::size_t r = 0; r < n; ++r) base[r] = static_cast<double>(r + 1);
    std::vector<double> abs = doublesOf(call("YEAROVERYEARDIFFERENCE", {col(base), col({0})}));
    std::vector<double> pct = doublesOf(call("YEAROVERYEARDIFFERENCE", {col(base), col({1})}));
    ASSERT_EQ(abs.size(), n);
    ASSERT_EQ(pct.size(), n);
    for (std::size_t r = 0; r < 12; ++r) ASSERT_TRUE(std::isnan(abs[r]) && std::isnan(pct[r])) << r;
    for (std::size_t r = 12; r < n; ++r) {
        ASSERT_EQ(abs[r], 12.0) << r;
        ASSERT_EQ(pct[r], 12.0 / static_cast<double>(r - 11) * 100.0) << r;
    }
}
