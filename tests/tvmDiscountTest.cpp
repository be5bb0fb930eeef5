// NETPRESENTVALUE and INTERNALRATE through the loader. References are
// computed here from the definitions (in long double), or in closed form.
#include <cmath>
#include <random>

#include "testSupport.h"

using namespace fpktest;

namespace {

std::vector<double> repeat(double v, std::size_t n) { return std::vector<double>(n, v); }

// Part periods of a cash flow by flag (no pay dates): as the start of a
// chain, and as a later row.
long double firstPart(int flag, long double days) { return flag == 2 ? days / 2 : (flag == 1 ? days : 0); }
long double laterPart(int flag, long double days) { return flag == 2 ? days / 2 : (flag == 3 ? days : 0); }

struct Series {
    std::vector<double> values, rate, flag, days;
};

// The net present value of each row from its definition, and the sum of the
// absolute terms (the scale of the rounding a sum of them can carry).
void reference(const Series& s, std::vector<long double>& npv, std::vector<long double>& scale) {
    const std::size_t n = s.values.size();
    npv.assign(n, 0);
    scale.assign(n, 0);
    for (std::size_t i = 0; i < n; ++i) {
        long double sum = s.values[i], abs = std::fabs(s.values[i]);
        long double d = firstPart(static_cast<int>(s.flag[i]), s.days[i]);
        for (std::size_t j = i + 1; j < n; ++j) {
            const long double t = (d + laterPart(static_cast<int>(s.flag[j]), s.days[j])) / 365.0L;
            const long double term = s.values[j] / std::pow(1.0L + s.rate[i], t);
            sum += term;
            abs += std::fabs(term);
            d += s.days[j];
        }
        npv[i] = sum;
        scale[i] = abs;
    }
}

Series randomSeries(std::size_t n, unsigned seed, bool oneRate) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> value(-1000, 1000), rate(0.0, 0.2);
    const double daysOf[3] = {30, 91, 365};
    Series s;
    const double shared = 0.0731;
    for (std::size_t i = 0; i < n; ++i) {
        s.values.push_back(std::round(value(gen) * 100) / 100);
        s.rate.push_back(oneRate ? shared : rate(gen));
        s.flag.push_back(1 + static_cast<double>(gen() % 3));
        s.days.push_back(daysOf[gen() % 3]);
    }
    return s;
}

CallResult npvCall(const Series& s) {
    return call("NETPRESENTVALUE",
                {col(s.rate), col(s.values), col(s.flag), scol(std::vector<std::string>(s.values.size(), "")),
                 col(s.days)});
}

CallResult irrCall(const std::vector<double>& values, const std::vector<double>& flag, const std::vector<double>& estimate,
                   const std::vector<double>& method, const std::vector<double>& days,
                   const std::vector<std::string>& dates = {}) {
    std::vector<std::string> d = dates;
    d.resize(values.size());
    return call("INTERNALRATE", {col(values), col(flag), scol(d), col(estimate), col(method), col(days)});
}

}  // namespace

TEST(TvmNetPresentValue, YearEndFlowsMatchSpreadsheetNpv) {
    // FLAG 3, 365 days: row i = values[i] + NPV(rate[i], values[i+1..]) with
    // NPV(r, v) = sum v_k / (1 + r)^k, k = 1, 2, ...
    auto r = npvCall({{-100, 110}, {0.1, 0.1}, {3, 3}, {365, 365}});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_NEAR(doublesOf(r)[0], 0, 1e-12);
    EXPECT_EQ(doublesOf(r)[1], 110);

    const Series s{{-1000, 300, 420, 0, 680, -50}, {0.08, 0.12, 0.05, 0.0, 0.3, 0.01}, repeat(3, 6), repeat(365, 6)};
    auto got = npvCall(s);
    ASSERT_FALSE(got.error) << got.error->message;
    const std::vector<double> out = doublesOf(got);
    ASSERT_EQ(out.size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) {
        double want = s.values[i], scale = std::fabs(s.values[i]);
        for (std::size_t k = 1; i + k < 6; ++k) {
            want += s.values[i + k] / std::pow(1 + s.rate[i], static_cast<double>(k));
            scale += std::fabs(s.values[i + k]);
        }
        EXPECT_NEAR(out[i], want, 1e-12 * scale) << "row " << i;
    }
}

TEST(TvmNetPresentValue, FlagsPlaceFlowsWithinPeriods) {
    struct Case {
        double flag0, flag1, days, years;  // years between the two flows
    };
    for (const Case& c : std::vector<Case>{{2, 2, 365, 1.0},          // half + half a year
                                           {1, 1, 365, 1.0},          // start of one period to the start of the next
                                           {3, 1, 91, 0.0},           // end of one period, start of the next
                                           {1, 3, 30, 60.0 / 365}}) {  // start of one, end of the next
        auto r = npvCall({{0, 100}, {0.25, 0.25}, {c.flag0, c.flag1}, {c.days, c.days}});
        ASSERT_FALSE(r.error) << r.error->message;
        EXPECT_NEAR(doublesOf(r)[0], 100 / std::pow(1.25, c.years), 1e-12) << c.flag0 << "," << c.flag1;
    }
}

TEST(TvmNetPresentValue, PayDatesCountDaysInTheirPeriod) {
    struct Case {
        double days;
        const char* date;
        double first, later;  // days to the period's end / since its start
    };
    for (const Case& c : std::vector<Case>{
             {365, "01.01", 364, 1},                    // 31 - 1 + 334, and 1
             {365, "15.05", 31 - 15 + 214, 15 + 120},   // to 31 Dec; since 1 Jan
             {30, "10.07", 20, 10},                     // monthly: days - day, day
             {91, "15.05", 16 + 30, 15 + 28 + 31 + 30},  // quarterly; the later sum starts at February
             {91, "20.03", 11, 20 + 31 + 28},           // March: nothing left in the quarter
         }) {
        auto r = call("NETPRESENTVALUE", {col({0.1, 0.1, 0.1}), col({0, 100, 100}), col({4, 4, 4}),
                                          scol({c.date, c.date, c.date}), col({c.days, c.days, c.days})});
        ASSERT_FALSE(r.error) << r.error->message;
        const double t1 = (c.first + c.later) / 365, t2 = (c.first + c.days + c.later) / 365;
        EXPECT_NEAR(doublesOf(r)[0], 100 / std::pow(1.1, t1) + 100 / std::pow(1.1, t2), 1e-12) << c.date;
    }
    // Another period length leaves the part period at 0.
    auto r = call("NETPRESENTVALUE",
                  {col({0.1, 0.1}), col({0, 100}), col({4, 4}), scol({"15.05", "15.05"}), col({200, 200})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r)[0], 100);
}

TEST(TvmNetPresentValue, LongSeriesAgreeWithTheDefinition) {
    // One shared rate (summed block-wise from suffix sums) and one rate per
    // row (summed directly): both within 1e-12 of the sizes of the terms.
    for (bool oneRate : {true, false}) {
        for (std::size_t n : {1u, 127u, 128u, 129u, 1500u}) {
            const Series s = randomSeries(n, static_cast<unsigned>(n), oneRate);
            auto r = npvCall(s);
            ASSERT_FALSE(r.error) << r.error->message;
            const std::vector<double> out = doublesOf(r);
            std::vector<long double> want, scale;
            reference(s, want, scale);
            ASSERT_EQ(out.size(), n);
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_LE(std::fabs(out[i] - want[i]), 1e-12L * scale[i]) << "row " << i << " of " << n << (oneRate ? " one rate" : "");
        }
    }
    // A few rates cycling over the rows (one of them negative), summed per rate.
    {
        Series s = randomSeries(1500, 3, true);
        const double cycle[4] = {0.03, 0.05, -0.02, 0.08};
        for (std::size_t i = 0; i < s.rate.size(); ++i) s.rate[i] = cycle[i % 4];
        auto r = npvCall(s);
        std::vector<long double> want, scale;
        reference(s, want, scale);
        const std::vector<double> out = doublesOf(r);
        ASSERT_EQ(out.size(), 1500u);
        for (std::size_t i = 0; i < out.size(); ++i) ASSERT_LE(std::fabs(out[i] - want[i]), 1e-12L * scale[i]) << i;
    }
    // A shared rate of 0 adds the values up; a tiny one barely discounts them.
    for (double rate : {0.0, 1e-9}) {
        Series s = randomSeries(700, 7, true);
        s.rate.assign(700, rate);
        auto r = npvCall(s);
        std::vector<long double> want, scale;
        reference(s, want, scale);
        const std::vector<double> out = doublesOf(r);
        for (std::size_t i = 0; i < out.size(); ++i) ASSERT_LE(std::fabs(out[i] - want[i]), 1e-12L * scale[i]);
    }
}

TEST(TvmNetPresentValue, Errors) {
    auto flag = npvCall({{1, 2}, {0.1, 0.1}, {3, 5}, {365, 365}});
    expectError(flag, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column FLAG is invalid. flag type is not in (1,2,3,4).");
    EXPECT_TRUE(doublesOf(flag).empty());
    auto date = call("NETPRESENTVALUE", {col({0.1}), col({1}), col({4}), scol({"5.5."}), col({365})});
    expectError(date, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column PAYDATE is invalid. Pay date should be DD.MM with a day in "
                "1..31 and a month in 1..12.");
    auto month = call("NETPRESENTVALUE", {col({0.1}), col({1}), col({4}), scol({"01.13"}), col({365})});
    EXPECT_TRUE(month.error);
    // Pay dates are looked at only when some flag is 4.
    auto ignored = call("NETPRESENTVALUE", {col({0.1}), col({1}), col({3}), icol({7}), col({365})});
    EXPECT_FALSE(ignored.error);
    auto shortRate = call("NETPRESENTVALUE", {col({0.1}), col({1, 2}), col({3, 3}), scol({"", ""}), col({365, 365})});
    expectError(shortRate, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    auto type = call("NETPRESENTVALUE", {icol({1}), col({1}), col({3}), scol({""}), col({365})});
    expectError(type, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column RATE is not supported.");
}

TEST(TvmInternalRate, WholeSeriesMatchesSpreadsheetIrr) {
    // -100, 110 returns 10 %; -100, 60, 60 solves 60x^2 + 60x - 100 = 0 for
    // x = 1 / (1 + rate).
    auto a = irrCall({-100, 110}, {3, 3}, {}, {0, 0}, {365, 365});
    ASSERT_FALSE(a.error) << a.error->message;
    ASSERT_EQ(doublesOf(a).size(), 1u);
    EXPECT_NEAR(doublesOf(a)[0], 0.1, 1e-4);
    const double x = (-60 + std::sqrt(60.0 * 60 + 4 * 60 * 100)) / 120;
    auto b = irrCall({-100, 60, 60}, {3, 3, 3}, {0.5}, {0, 0, 0}, {365, 365, 365});
    ASSERT_FALSE(b.error) << b.error->message;
    EXPECT_NEAR(doublesOf(b)[0], 1 / x - 1, 1e-4);
    // A longer one: -1000 then 150 a year for ten years; the NPV at the
    // found rate (by the spreadsheet's definition) is close to zero.
    std::vector<double> v = {-1000};
    v.resize(11, 150);
    auto c = irrCall(v, repeat(3, 11), {}, {}, repeat(365, 11));
    ASSERT_FALSE(c.error) << c.error->message;
    const double rate = doublesOf(c)[0];
    double npv = 0;
    for (std::size_t k = 0; k < v.size(); ++k) npv += v[k] / std::pow(1 + rate, static_cast<double>(k));
    EXPECT_NEAR(npv, 0, 1e-3);
    EXPECT_NEAR(rate, 0.0814, 1e-4);
}

TEST(TvmInternalRate, PerRowRates) {
    // METHOD 0 rows take the series from themselves on; other rows the series
    // from row 0 up to themselves.
    const double x = (-60 + std::sqrt(60.0 * 60 + 4 * 60 * 100)) / 120;
    auto r = irrCall({-100, 60, 60}, {3, 3, 3}, {}, {0, 1, 2}, {365, 365, 365});
    ASSERT_FALSE(r.error) << r.error->message;
    const std::vector<double> out = doublesOf(r);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_NEAR(out[0], 1 / x - 1, 1e-4);
    EXPECT_NEAR(out[1], -0.4, 1e-12);  // -100 + 60x = 0: x = 5/3
    EXPECT_NEAR(out[2], 1 / x - 1, 1e-4);
}

TEST(TvmInternalRate, FailureKeepsEarlierRows) {
    // Row 2 (METHOD 0) is a single cash flow: its derivative is 0.
    auto r = irrCall({-100, 110, 50}, {3, 3, 3}, {}, {0, 0, 0, 1}, {365, 365, 365});
    expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    const std::vector<double> out = doublesOf(r);
    ASSERT_EQ(out.size(), 2u);
    // Row 0: -100 + 110x + 50x^2 = 0; row 1: 110 + 50x = 0, x = -2.2.
    const double x0 = (-110 + std::sqrt(110.0 * 110 + 4 * 50 * 100)) / 100;
    EXPECT_NEAR(out[0], 1 / x0 - 1, 1e-4);
    EXPECT_NEAR(out[1], 1 / -2.2 - 1, 1e-12);

    auto single = irrCall({-100}, {3}, {}, {0}, {365});
    expectError(single, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
    EXPECT_TRUE(doublesOf(single).empty());
}

TEST(TvmInternalRate, PayDatesAndFlags) {
    // The end of one year to the middle of the next (FLAG 3, then 2): half a
    // year, so (1 + rate)^0.5 = 1.1.
    auto mid = irrCall({-100, 110}, {3, 2}, {}, {0, 0}, {365, 365});
    ASSERT_FALSE(mid.error) << mid.error->message;
    EXPECT_NEAR(doublesOf(mid)[0], 0.21, 1e-4);
    // Quarterly pay dates on the 15th of May: (46 + 104) days apart.
    auto user = irrCall({-100, 110}, {4, 4}, {}, {0, 0}, {91, 91}, {"15.05", "15.05"});
    ASSERT_FALSE(user.error) << user.error->message;
    EXPECT_NEAR(doublesOf(user)[0], std::pow(1.1, 365.0 / 150) - 1, 1e-4);
    auto bad = irrCall({-100, 110}, {3, 0}, {}, {0, 0}, {365, 365});
    expectError(bad, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column FLAG is invalid. flag type is not in (1,2,3,4).");
}
