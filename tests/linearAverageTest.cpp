// LINEARAVERAGE: the least-squares line through the series.
#include <random>

#include "testSupport.h"

using namespace fpktest;

namespace {
void expectNear(const std::vector<double>& actual, const std::vector<double>& expected, double tol = 1e-9) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(actual[i], expected[i], tol) << "row " << i;
}
}  // namespace

TEST(LinearAverage, WorkedExamples) {
    struct Case {
        std::vector<double> y, expected;
    } cases[] = {
        {{10, 12, 11, 15, 17}, {9.6, 11.3, 13, 14.7, 16.4}},
        {{1, 4, 9, 16, 25, 36}, {-7.0 / 3, 14.0 / 3, 35.0 / 3, 56.0 / 3, 77.0 / 3, 98.0 / 3}},
        {{5, 9}, {5, 9}},
        {{42}, {42}},
        {{3, 3, 3}, {3, 3, 3}},
        {{}, {}},
    };
    for (const Case& c : cases) {
        CallResult r = call("LINEARAVERAGE", {col(c.y)});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r), c.expected);
    }
    CallResult withNull = call("LINEARAVERAGE", {withNulls({100, 5, 80, 70}, {1})});
    expectNear(doublesOf(withNull), {64, 63, 62, 61});
}

// A series on an exact line plus noise that is symmetric around the middle
// row and orthogonal to the row number is fitted back to the line.
TEST(LinearAverage, RecoversLineUnderSymmetricNoise) {
    std::mt19937 gen(11);
    std::uniform_real_distribution<double> noise(-50, 50);
    const std::size_t n = 1001;
    std::vector<double> y(n), line(n);
    for (std::size_t i = 0; i < n; ++i) line[i] = -3.25 + 0.5 * static_cast<double>(i);
    for (std::size_t i = 0; i < n / 2; ++i) {
        const double e = noise(gen);  // even noise: e at i and at n-1-i
        y[i] = line[i] + e;
        y[n - 1 - i] = line[n - 1 - i] + e;
    }
    y[n / 2] = line[n / 2] + 0.0;
    // Even noise shifts the intercept by its mean and leaves the slope.
    double mean = 0;
    for (std::size_t i = 0; i < n; ++i) mean += y[i] - line[i];
    mean /= static_cast<double>(n);
    std::vector<double> expected(n);
    for (std::size_t i = 0; i < n; ++i) expected[i] = line[i] + mean;
    std::vector<double> got = doublesOf(call("LINEARAVERAGE", {col(y)}));
    expectNear(got, expected, 1e-8);
    double sumIn = 0, sumOut = 0;
    for (std::size_t i = 0; i < n; ++i) {
        sumIn += y[i];
        sumOut += got[i];
    }
    EXPECT_NEAR(sumIn, sumOut, 1e-7);
}

TEST(LinearAverage, ReadOnlyResult) {
    const qelhost::FunctionInfo* info = plugin().find("LINEARAVERAGE");
    TablePtr result = plugin().makeResultTable(*info);
    result->column(0)->setReadOnly(true);
    expectError(plugin().call(*info, {col({1, 2})}, TableHandle(result)), "ERR_FPK_COMM_COL_READ_ONLY",
                "FPK error[73000054]:Column AVERAGED_RESULT is read only.");
}
