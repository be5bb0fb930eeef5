// FUTURE, PRESENTVALUE, PAYMENT, RATE and NUMBERPERIODS through the loader.
// Expected values come from the closed forms of compound interest:
//   g = (1 + r)^n, r = rate / 100
//   future   = pv g + pmt (1 + r type) (g - 1) / r
//   original = (fv - pmt (1 + r type) (g - 1) / r) / g
//   payment  = (fv - pv g) r / ((1 + r type) (g - 1))
// and the schedule opening of period k = pv (1 + r)^k + pmt ((1 + r)^k - 1) / r
// (interest always on the opening balance).
#include <cmath>
#include <random>

#include "testSupport.h"

using namespace fpktest;

namespace {

// Result columns after the solved ones: PAYMENT, OPENNING, CLOSING, INTEREST, PERIODS.
struct ScheduleCols {
    std::vector<double> payment, opening, closing, interest, periods;
};
ScheduleCols scheduleOf(const CallResult& r, std::size_t lead) {
    return {doublesOf(r, lead), doublesOf(r, lead + 1), doublesOf(r, lead + 2), doublesOf(r, lead + 3),
            doublesOf(r, lead + 4)};
}

double growth(double r, double n) { return std::pow(1 + r, n); }
double annuity(double r, double n, double type) { return (1 + r * type) * (growth(r, n) - 1) / r; }

// Relative agreement; `scale` (the size of the terms that were added, when
// they cancel) defaults to the value itself.
void expectRel(double got, double want, double tol, const std::string& what, double scale = 0) {
    const double s = scale != 0 ? scale : std::fabs(want);
    EXPECT_LE(std::fabs(got - want), tol * s) << what << ": got " << got << " want " << want;
}

struct TvmCase {
    double rate, periods, present, payment, future, type;
};
// Whole period counts, both payment timings, loans and savings.
const std::vector<TvmCase> kCases = {
    {5, 10, 1000, -100, 0, 0},    {5, 10, 1000, -100, 0, 1},     {0.5, 360, 250000, -1500, 0, 0},
    {0.5, 360, 250000, -1500, 0, 1}, {12, 3, -500, 200, 1000, 0}, {12, 3, -500, 200, 1000, 1},
    {1.25, 48, 0, 250, 20000, 1},  {7, 1, 100, 10, 50, 0},
};

}  // namespace

TEST(TvmFuture, WorkedExampleTwoYearsAtTenPercent) {
    auto r = call("FUTURE", {col({2}), col({10}), col({1000}), col({0}), col({0})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r, 0), (std::vector<double>{1210, 1210}));
    const ScheduleCols s = scheduleOf(r, 1);
    EXPECT_EQ(s.opening, (std::vector<double>{1000, 1100}));
    EXPECT_EQ(s.interest, (std::vector<double>{100, 110}));
    EXPECT_EQ(s.closing, (std::vector<double>{1100, 1210}));
    EXPECT_EQ(s.periods, (std::vector<double>{2, 1}));
    EXPECT_EQ(s.payment, (std::vector<double>{0, 0}));
}

TEST(TvmFuture, MatchesClosedFormAndSchedule) {
    for (const TvmCase& c : kCases) {
        const double r = c.rate / 100;
        auto res = call("FUTURE", {col({c.periods}), col({c.rate}), col({c.present}), col({c.payment}), col({c.type})});
        ASSERT_FALSE(res.error) << res.error->message;
        const std::vector<double> fut = doublesOf(res, 0);
        ASSERT_EQ(fut.size(), static_cast<std::size_t>(c.periods));
        const double want = c.present * growth(r, c.periods) + c.payment * annuity(r, c.periods, c.type);
        const double scale = std::fabs(c.present * growth(r, c.periods)) + std::fabs(c.payment * annuity(r, c.periods, 1));
        expectRel(fut[0], want, 1e-12, "FUTURE", scale);
        const ScheduleCols s = scheduleOf(res, 1);
        for (std::size_t k = 0; k < fut.size(); ++k) {
            const double open = c.present * growth(r, k) + c.payment * (growth(r, k) - 1) / r;
            expectRel(s.opening[k], open, 1e-12, "OPENNING", scale);
            expectRel(s.interest[k], open * r, 1e-12, "INTEREST", scale * r);
            EXPECT_EQ(s.periods[k], c.periods - k);
            EXPECT_EQ(fut[k], fut[0]);
        }
        // With TYPE 1 the solved value compounds the payment too; the schedule
        // books interest on the opening balance only, so they part ways.
        const double lastClose = c.present * growth(r, c.periods) + c.payment * annuity(r, c.periods, 0);
        expectRel(s.closing.back(), lastClose, 1e-12, "last CLOSING", scale);
    }
}

TEST(TvmPresentValue, MatchesClosedForm) {
    for (const TvmCase& c : kCases) {
        const double r = c.rate / 100;
        auto res =
            call("PRESENTVALUE", {col({c.rate}), col({c.periods}), col({c.payment}), col({c.future}), col({c.type})});
        ASSERT_FALSE(res.error) << res.error->message;
        const double want = (c.future - c.payment * annuity(r, c.periods, c.type)) / growth(r, c.periods);
        const double scale = (std::fabs(c.future) + std::fabs(c.payment * annuity(r, c.periods, 1))) / growth(r, c.periods);
        const std::vector<double> orig = doublesOf(res, 0);
        expectRel(orig[0], want, 1e-12, "ORIGINAL", scale);
        EXPECT_EQ(scheduleOf(res, 1).opening[0], orig[0]);
    }
}

TEST(TvmPayment, MatchesClosedForm) {
    for (const TvmCase& c : kCases) {
        const double r = c.rate / 100;
        auto res = call("PAYMENT", {col({c.rate}), col({c.periods}), col({c.present}), col({c.future}), col({c.type})});
        ASSERT_FALSE(res.error) << res.error->message;
        const double want = (c.future - c.present * growth(r, c.periods)) / annuity(r, c.periods, c.type);
        const double scale = (std::fabs(c.future) + std::fabs(c.present * growth(r, c.periods))) / annuity(r, c.periods, c.type);
        const std::vector<double> pmt = doublesOf(res, 0);
        ASSERT_EQ(pmt.size(), static_cast<std::size_t>(c.periods));
        expectRel(pmt[0], want, 1e-12, "PAYMENT", std::fabs(scale));
        EXPECT_EQ(pmt.back(), pmt[0]);
        // An end-of-period payment that the schedule books the same way
        // lands on FUTURE.
        if (c.type == 0 && c.future != 0) expectRel(scheduleOf(res, 0).closing.back(), c.future, 1e-9, "CLOSING");
    }
}

TEST(TvmPayment, RateZeroIsNotGuarded) {
    auto pv = call("PRESENTVALUE", {col({0}), col({3}), col({-10}), col({100}), col({0})});
    ASSERT_FALSE(pv.error) << pv.error->message;
    EXPECT_TRUE(std::isnan(doublesOf(pv, 0)[0]));
    auto pmt = call("PAYMENT", {col({5}), col({0}), col({100}), col({100}), col({0})});
    ASSERT_FALSE(pmt.error) << pmt.error->message;
    EXPECT_TRUE(doublesOf(pmt, 0).empty());  // no periods, no rows
}

TEST(TvmSchedule, FractionalAndNegativePeriodsMoveTheOffsetUnrounded) {
    // 2.5 periods: three rows at 0..2; the next block starts at trunc(2.5) = 2.
    auto r = call("FUTURE", {col({2.5, 2}), col({10, 0}), col({100, 7}), col({0, 1}), col({0, 0})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r, 0), (std::vector<double>{133.1, 133.1, 9, 9}));
    EXPECT_EQ(doublesOf(r, 5), (std::vector<double>{2.5, 1.5, 2, 1}));
    EXPECT_EQ(doublesOf(r, 2), (std::vector<double>{100, 110, 7, 8}));

    // 3 periods, then -2 (no rows, offset back to 1), then 2 over rows 1..2;
    // a count of 0 writes nothing and leaves the offset.
    auto n = call("FUTURE", {col({3, -2, 0, 2}), col({0, 0, 0, 0}), col({1, 2, 3, 50}), col({1, 1, 1, 5}),
                             col({0, 0, 0, 0})});
    ASSERT_FALSE(n.error) << n.error->message;
    EXPECT_EQ(doublesOf(n, 0), (std::vector<double>{4, 60, 60}));
    EXPECT_EQ(doublesOf(n, 2), (std::vector<double>{1, 50, 55}));
    EXPECT_EQ(doublesOf(n, 5), (std::vector<double>{3, 2, 1}));
}

TEST(TvmSchedule, ShorterInputColumnsReadAsZero) {
    auto r = call("FUTURE", {col({1, 1}), col({10}), col({100, 200}), col({}), col({0})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r, 0), (std::vector<double>{110, 200}));
}

TEST(TvmErrors, TypeOutsideZeroOneKeepsEarlierRows) {
    const std::string msg = "FPK error[73000058]:Value of column METHOD is invalid. Type should be in (0,1).";
    for (double bad : {2.0, -1.0, 0.5, std::nan("")}) {
        auto r = call("PAYMENT", {col({5, 5, 5}), col({2, 2, 2}), col({100, 100, 100}), col({0, 0, 0}),
                                  col({0, bad, 0})});
        expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE", msg);
        EXPECT_EQ(doublesOf(r, 4), (std::vector<double>{2, 1}));  // the first block stays
    }
    auto f = call("FUTURE", {col({1, 1}), col({5, 5}), col({1, 1}), col({0, 0}), col({1, 7})});
    expectError(f, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column TYPE is invalid. Type should be in (0,1).");
    // FUTURE looks at TYPE only while compounding: not for a row without periods.
    auto quiet = call("FUTURE", {col({0, 1}), col({5, 5}), col({1, 1}), col({0, 0}), col({7, 0})});
    EXPECT_FALSE(quiet.error);
}

TEST(TvmErrors, ColumnTypesAndUnplaceablePeriods) {
    auto r = call("RATE", {col({1}), col({1}), icol({0}), col({1}), col({0})});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column PAYMENT is not supported.");
    for (double bad : {std::nan(""), HUGE_VAL, 3e9}) {
        auto p = call("FUTURE", {col({1, bad}), col({5, 5}), col({1, 1}), col({0, 0}), col({0, 0})});
        expectError(p, "ERR_FPK_COMM_INVALID_COL_VALUE",
                    "FPK error[73000058]:Value of column PERIODS is invalid. Periods should be finite and keep the "
                    "schedule below row 2147483648.");
        EXPECT_EQ(doublesOf(p, 0).size(), 1u);
    }
}

TEST(TvmRate, SolvedRateReachesFuture) {
    // Exact first estimates (no payment) and searched ones.
    struct Case { double present, periods, payment, future, type; };
    for (const Case& c : std::vector<Case>{{1000, 10, 0, 2000, 0}, {100, 3, 10, 200, 0}, {10, 2, 1, 20, 1},
                                           {-1000, 4, 300, 50, 0}}) {
        auto res = call("RATE", {col({c.present}), col({c.periods}), col({c.payment}), col({c.future}), col({c.type})});
        ASSERT_FALSE(res.error) << res.error->message;
        const double r = doublesOf(res, 0)[0] / 100;
        ASSERT_NE(r, 0);
        const double reached = c.present * growth(r, c.periods) + c.payment * annuity(r, c.periods, c.type);
        EXPECT_LE(std::fabs(reached - c.future), 0.1) << "rate " << r;
        EXPECT_EQ(scheduleOf(res, 1).interest[0], c.present * doublesOf(res, 0)[0] / 100);
    }
    // With a balance of 1000 the fixed step factors keep jumping over the
    // 0.1 band around 2000 (a separate simulation of the search agrees): 0.
    auto miss = call("RATE", {col({1000}), col({5}), col({100}), col({2000}), col({0})});
    EXPECT_EQ(doublesOf(miss, 0), (std::vector<double>(5, 0.0)));
    auto exact = call("RATE", {col({1000}), col({10}), col({0}), col({2000}), col({0})});
    expectRel(doublesOf(exact, 0)[0], (std::pow(2.0, 0.1) - 1) * 100, 1e-12, "RATE");
}

TEST(TvmRate, StepBudgetIsSharedByAllRows) {
    // Row 0 can never reach its future (its balance stays below -100 for any
    // positive rate), so it spends all 200 steps; the easy row after it then
    // gets 0 as well, while alone it is solved at once.
    auto both = call("RATE", {col({-100, 1000}), col({1, 10}), col({0, 0}), col({100, 2000}), col({0, 0})});
    ASSERT_FALSE(both.error) << both.error->message;
    const std::vector<double> rate = doublesOf(both, 0);
    ASSERT_EQ(rate.size(), 11u);
    EXPECT_EQ(rate[0], 0);
    EXPECT_EQ(rate[1], 0);
    EXPECT_EQ(doublesOf(both, 4)[0], 0);  // interest at rate 0
}

TEST(TvmNumberPeriods, CountsWholePeriodsAndRepeatsCalculatedFuture) {
    // 100 at 10 % without payments passes 150 after ceil(log 1.5 / log 1.1) = 5 periods.
    auto r = call("NUMBERPERIODS", {col({10, 0, 10, 10}), col({100, 100, 200, 1}), col({0, 20, 0, 0}),
                                    col({150, 150, 150, 1.5}), col({0, 0, 0, 1})});
    ASSERT_FALSE(r.error) << r.error->message;
    const double want = std::ceil(std::log(1.5) / std::log(1.1));
    const std::vector<double> period = doublesOf(r, 0), calc = doublesOf(r, 1);
    // Rows: 5 of the first input row, 3 of the second (2.5 periods at rate 0),
    // none of the third (future below present); the fourth starts at
    // trunc(5 + 2.5 + 0) = 7, over the last row of the second block.
    ASSERT_EQ(period.size(), 12u);
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(period[k], want);
        EXPECT_NEAR(calc[k], 100 * std::pow(1.1, 5), 1e-9);
    }
    EXPECT_EQ(period[5], 2.5);
    EXPECT_EQ(calc[5], 160);  // the CLOSING of the block's last row: 100 + 3 x 20
    EXPECT_EQ(doublesOf(r, 3)[6], 120);
    // TYPE 1: (1 + 0) x 1.1 = 1.1, then (1.1 + 0) x 1.1 ... passes 1.5 after
    // ceil(log 1.5 / log 1.1) periods as well.
    EXPECT_EQ(period[7], want);
    EXPECT_EQ(period.back(), want);
}

TEST(TvmNumberPeriods, RateZeroDivisionIsWrittenOnOneRow) {
    auto r = call("NUMBERPERIODS", {col({0, 5}), col({100, 1}), col({0, 0}), col({150, 2}), col({9, 0})});
    ASSERT_FALSE(r.error) << r.error->message;
    const std::vector<double> period = doublesOf(r, 0);
    ASSERT_EQ(period.size(), 16u);
    EXPECT_TRUE(std::isinf(period[0]));
    EXPECT_EQ(period[1], std::ceil(std::log(2.0) / std::log(1.05)));
}

namespace {

// The account schedule from its definition, one input row and one step at a
// time: the solved value by the function's own loops and formulas, the
// block of row i at rows trunc(offset + k), opening k > 0 read back from the
// CLOSING one row up. Period counts must keep every row at or after row 0.
std::vector<std::vector<double>> scheduleByDefinition(const std::string& fn, const std::vector<double>& periods,
                                                      const std::vector<double>& rate, const std::vector<double>& a,
                                                      const std::vector<double>& b, const std::vector<double>& type) {
    std::vector<std::vector<double>> out(6);
    double offset = 0;
    for (std::size_t i = 0; i < periods.size(); ++i) {
        const double n = periods[i], r = rate[i], t = type[i];
        double f = 1, solved = 0, original = 0, payment = 0;
        for (double c = 0; n > c; c += 1) f = f * (1.0 + r / 100.0);
        if (fn == "FUTURE") {  // a = present, b = payment
            double bal = a[i];
            for (double c = 0; n > c; c += 1)
                bal = t == 0 ? bal + b[i] + r * bal / 100.0 : (bal + b[i]) * (r / 100.0 + 1.0);
            solved = bal, original = a[i], payment = b[i];
        } else if (fn == "PRESENTVALUE") {  // a = payment, b = future
            const double ann = t == 0 ? (f - 1.0) * a[i] * 100.0 / r : (r / 100.0 + 1.0) * a[i] * (f - 1.0) * 100.0 / r;
            solved = original = (b[i] - ann) / f, payment = a[i];
        } else {  // PAYMENT: a = present, b = future
            original = a[i];
            solved = payment = t == 0 ? (b[i] - a[i] * f) * r / 100.0 / (f - 1.0)
                                      : ((b[i] - a[i] * f) * r / 100.0) / ((r / 100.0 + 1.0) * (f - 1.0));
        }
        for (double k = 0; n > k; k += 1) {
            const std::size_t row = static_cast<std::size_t>(std::trunc(offset + k));
            for (auto& c : out)
                if (c.size() <= row) c.resize(row + 1, 0.0);
            const double open = k == 0 ? original : out[3][row - 1];
            const double in = open * r / 100.0;
            out[0][row] = solved;
            out[1][row] = payment;
            out[2][row] = open;
            out[3][row] = open + payment + in;
            out[4][row] = in;
            out[5][row] = n - k;
        }
        offset += n;
    }
    return out;
}

}  // namespace

TEST(TvmSchedule, ConsecutiveWholeBlocksMatchTheDefinitionExactly) {
    // Runs of whole period counts (placed several blocks at a time) broken
    // by fractional and long counts (placed one at a time), both types.
    std::mt19937 gen(11);
    const std::size_t rows = 400;
    std::vector<double> periods, rate, present, payment, future, type;
    for (std::size_t i = 0; i < rows; ++i) {
        // 2.5 periods put the offset between rows until the 0.5 after them.
        const unsigned pick = gen() % 20;
        if (!periods.empty() && periods.back() == 2.5)
            periods.push_back(0.5);
        else
            periods.push_back(pick == 0 ? 2.5 : pick == 1 ? 70 : 1 + static_cast<double>(gen() % 12));
        rate.push_back(0.25 + static_cast<double>(gen() % 400) / 16);
        present.push_back(static_cast<double>(gen() % 20000) - 5000);
        payment.push_back(static_cast<double>(gen() % 1000) - 600);
        future.push_back(static_cast<double>(gen() % 30000));
        type.push_back(static_cast<double>(gen() % 2));
    }
    struct Fn {
        const char* name;
        std::vector<Argument> args;
        const std::vector<double>&a, &b;
    };
    for (const Fn& fn : std::vector<Fn>{
             {"FUTURE", {col(periods), col(rate), col(present), col(payment), col(type)}, present, payment},
             {"PRESENTVALUE", {col(rate), col(periods), col(payment), col(future), col(type)}, payment, future},
             {"PAYMENT", {col(rate), col(periods), col(present), col(future), col(type)}, present, future}}) {
        auto r = call(fn.name, fn.args);
        ASSERT_FALSE(r.error) << r.error->message;
        const auto want = scheduleByDefinition(fn.name, periods, rate, fn.a, fn.b, type);
        const std::size_t lead = std::string(fn.name) == "PAYMENT" ? 1 : 0;  // PAYMENT has no separate solved column
        for (std::size_t c = lead; c < 6; ++c)
            EXPECT_EQ(doublesOf(r, c - lead), want[c]) << fn.name << " column " << c - lead;
    }
}
