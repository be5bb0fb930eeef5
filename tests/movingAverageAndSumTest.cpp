// MOVINGAVERAGEANDSUM: simple and weighted moving averages and sums with
// history from PRIME.
#include <cmath>
#include <random>

#include "functions/fpkMovingAverageAndSum.h"
#include "testSupport.h"

using namespace fpktest;

namespace {
TableHandle tab(const std::string& name, const std::vector<ColumnHandle>& cols) {
    TablePtr t = Table::make(name);
    for (const ColumnHandle& c : cols) t->addColumn(c);
    return TableHandle(t);
}
TableHandle dtab(const std::string& name, const std::vector<double>& v) { return tab(name, {col(v)}); }

CallResult mas(const TableHandle& original, double style, double method, const TableHandle& prime,
               const TableHandle& periods, const TableHandle& weights) {
    TablePtr result = Table::make("result");
    result->addColumn(ColumnHandle(Column::make("RESULT", RhoCommonObjects::VT_DOUBLE)));
    return plugin().call("MOVINGAVERAGEANDSUM",
                         {original, dtab("AVERAGESTYLE", {style}), dtab("AVERAGEMETHOD", {method}), prime, periods,
                          weights},
                         TableHandle(result));
}
CallResult mas(const std::vector<double>& original, double style, double method, const std::vector<double>& prime,
               double periods, const std::vector<double>& weights) {
    return mas(dtab("ORIGINAL", original), style, method, dtab("PRIME", prime), dtab("AVERAGEPERIODS", {periods}),
               dtab("WEIGHTINGS", weights));
}

void expectNear(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(actual[i], expected[i], 1e-9) << "row " << i;
}

// Direct reading of the definition: existing positions oldest first.
std::vector<double> reference(const std::vector<double>& x, const std::vector<double>& prime, std::size_t w,
                              const std::vector<double>* weights, bool sum) {
    const long n = static_cast<long>(x.size()), P = static_cast<long>(prime.size()), W = static_cast<long>(w);
    std::vector<double> out(x.size());
    for (long r = 0; r < n; ++r) {
        double s = 0, d = 0;
        for (long k = 0; k < W; ++k) {
            const long q = r - W + 1 + k;
            if (q < -P) continue;
            const double v = q >= 0 ? x[q] : prime[P + q];
            const double wk = weights ? (*weights)[k] : 1.0;
            s += weights ? wk * v : v;
            d += wk;
        }
        out[r] = sum ? s : s / d;
    }
    return out;
}
}  // namespace

TEST(MovingAverageAndSum, WorkedExamples) {
    const std::vector<double> x = {10, 20, 30, 40};
    const std::vector<double> w123 = {1, 2, 3}, w235 = {0.2, 0.3, 0.5};
    struct Case {
        const char* what;
        double style, method;
        std::vector<double> prime;
        double periods;
        std::vector<double> weights, expected;
    } cases[] = {
        {"simple average", 0, 0, {4, 8}, 3, {}, {22.0 / 3, 38.0 / 3, 20, 30}},
        {"simple sum", 0, 1, {4, 8}, 3, {}, {22, 38, 60, 90}},
        {"weighted average", 1, 0, {4, 8}, 3, w123, {50.0 / 6, 88.0 / 6, 140.0 / 6, 200.0 / 6}},
        {"weighted sum", 1, 1, {4, 8}, 3, w235, {8.2, 14.6, 23, 33}},
        {"simple average, no history", 0, 0, {}, 3, {}, {10, 15, 20, 30}},
        {"simple sum, no history", 0, 1, {}, 3, {}, {10, 30, 60, 90}},
        {"weighted average, no history", 1, 0, {}, 3, w123, {10, 16, 140.0 / 6, 200.0 / 6}},
        {"weighted sum, no history", 1, 1, {}, 3, w235, {5, 13, 23, 33}},
        {"only the last two history rows reach", 0, 0, {99, 4, 8}, 3, {}, {22.0 / 3, 38.0 / 3, 20, 30}},
        {"window of one, simple", 0, 0, {4, 8}, 1, {}, x},
        {"window of one, weighted sum", 1, 1, {4, 8}, 1, {2.5}, {25, 50, 75, 100}},
        {"window longer than everything", 0, 0, {4, 8}, 10, {}, {22.0 / 3, 42.0 / 4, 72.0 / 5, 112.0 / 6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CallResult r = mas(x, c.style, c.method, c.prime, c.periods, c.weights);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r), c.expected);
    }
}

TEST(MovingAverageAndSum, NullsAndEmpty) {
    CallResult r = mas(tab("ORIGINAL", {withNulls({10, 9, 30}, {1})}), 0, 0, tab("PRIME", {withNulls({5}, {0})}),
                       dtab("AVERAGEPERIODS", {2}), dtab("WEIGHTINGS", {}));
    ASSERT_FALSE(r.error) << r.error->message;
    expectNear(doublesOf(r), {5, 5, 15});
    CallResult empty = mas({}, 1, 0, {1, 2, 3}, 2, {1, 1});
    ASSERT_FALSE(empty.error) << empty.error->message;
    EXPECT_TRUE(doublesOf(empty).empty());
    CallResult ints = mas(tab("ORIGINAL", {icol({1, 2, 3})}), 0, 1, tab("PRIME", {icol({})}),
                          tab("AVERAGEPERIODS", {icol({2})}), tab("WEIGHTINGS", {icol({})}));
    ASSERT_FALSE(ints.error) << ints.error->message;
    expectNear(doublesOf(ints), {1, 3, 5});
}

TEST(MovingAverageAndSum, Errors) {
    const std::vector<double> x = {10, 20, 30, 40};
    const std::string value = "ERR_FPK_COMM_INVALID_COL_VALUE", size = "ERR_FPK_COMM_INVALID_COL_SIZE";
    expectError(mas(x, 2, 0, {}, 3, {}), value,
                "FPK error[73000058]:Value of column AVERAGESTYLE is invalid. Averagestyle should be in (0,1).");
    expectError(mas(x, 0, 2, {}, 3, {}), value,
                "FPK error[73000058]:Value of column AVERAGEMETHOD is invalid. Averagemethod should be in (0,1).");
    const char* periodsMsg = "FPK error[73000058]:Value of column AVERAGEPERIODS is invalid. Averageperiods should be "
                             "a whole number greater than 0.";
    expectError(mas(x, 0, 0, {}, 0, {}), value, periodsMsg);
    expectError(mas(x, 0, 0, {}, 2.5, {}), value, periodsMsg);
    expectError(mas(x, 1, 0, {}, 3, {1, 2}), size,
                "FPK error[73000057]:Size 2 of column WEIGHTINGS is invalid. Size should be equal to AVERAGEPERIODS.");
    expectError(mas(x, 1, 0, {}, 3, {1, 0, 2}), value,
                "FPK error[73000058]:Value of column WEIGHTINGS is invalid. Weightings should be greater than 0.");
    const TableHandle empty = dtab("E", {});
    expectError(mas(dtab("ORIGINAL", x), 0, 0, empty, empty, empty), size,
                "FPK error[73000057]:Size 0 of column AVERAGEPERIODS is invalid. AVERAGEPERIODS should not be empty.");
    TablePtr result = Table::make("result");
    result->addColumn(ColumnHandle(Column::make("RESULT", RhoCommonObjects::VT_DOUBLE)));
    CallResult noStyle = plugin().call("MOVINGAVERAGEANDSUM",
                                       {dtab("ORIGINAL", x), dtab("AVERAGESTYLE", {}), dtab("AVERAGEMETHOD", {}),
                                        empty, dtab("AVERAGEPERIODS", {3}), empty},
                                       TableHandle(result));
    expectError(noStyle, size,
                "FPK error[73000057]:Size 0 of column AVERAGESTYLE is invalid. AVERAGESTYLE should not be empty.");
    CallResult twoColumns = mas(dtab("ORIGINAL", x), 1, 0, empty, dtab("AVERAGEPERIODS", {1}),
                                tab("WEIGHTINGS", {col({1}), col({1})}));
    ASSERT_TRUE(twoColumns.error);
    EXPECT_EQ(twoColumns.error->name, "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE");
}

// The block computation of complete windows against the definition, for
// every style and method, windows shorter and longer than the block, and
// history shorter and longer than the window. The order of additions is the
// same, so the results are identical.
TEST(MovingAverageAndSum, AgreesWithDefinition) {
    std::mt19937 gen(9);
    std::uniform_real_distribution<double> value(-1e6, 1e6), weight(0.01, 5);
    for (int trial = 0; trial < 120; ++trial) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 300)(gen);
        const std::size_t w = std::uniform_int_distribution<std::size_t>(1, trial % 2 ? 40 : 400)(gen);
        const std::size_t P = std::uniform_int_distribution<std::size_t>(0, 60)(gen);
        std::vector<double> x(n), prime(P), weights(w);
        for (double& v : x) v = value(gen);
        for (double& v : prime) v = value(gen);
        for (double& v : weights) v = weight(gen);
        const std::size_t p = std::min(P, w - 1);
        std::vector<double> ext(prime.end() - static_cast<long>(p), prime.end());
        ext.insert(ext.end(), x.begin(), x.end());
        for (bool weighted : {false, true})
            for (bool sum : {false, true}) {
                std::vector<double> got(n);
                businessFunctions::movingaverage::movingWindow(
                    ext.data(), p, n, w, weighted ? weights.data() : nullptr,
                    sum ? businessFunctions::FPKMovingAverageAndSum::SUM
                        : businessFunctions::FPKMovingAverageAndSum::AVERAGE,
                    got.data());
                SCOPED_TRACE(testing::Message() << "n " << n << " w " << w << " P " << P << " weighted " << weighted
                                                << " sum " << sum);
                ASSERT_EQ(got, reference(x, prime, w, weighted ? &weights : nullptr, sum));
            }
    }
}
