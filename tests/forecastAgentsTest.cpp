// FORECASTAGENTS and FORECASTSENSITIVITY through the loader, checked against
// Erlang B and C written out independently: the factorial form for small
// sizes and the Poisson form in logarithms for thousands of agents.
#include <algorithm>

#include "testSupport.h"

using namespace fpktest;

namespace {

using Real = long double;

// Erlang B and C from the factorial form: A^N / N! over the partial sums.
Real erlangBFactorial(int n, Real a) {
    Real sum = 0;
    for (int k = 0; k <= n; ++k) sum += std::pow(a, static_cast<Real>(k)) / std::tgamma(static_cast<Real>(k + 1));
    return std::pow(a, static_cast<Real>(n)) / std::tgamma(static_cast<Real>(n + 1)) / sum;
}
Real erlangCFactorial(int n, Real a) {
    Real sum = 0;
    for (int k = 0; k < n; ++k) sum += std::pow(a, static_cast<Real>(k)) / std::tgamma(static_cast<Real>(k + 1));
    const Real top = std::pow(a, static_cast<Real>(n)) / std::tgamma(static_cast<Real>(n + 1)) * n / (n - a);
    return top / (sum + top);
}

// The same in logarithms (terms e^(k ln A - ln k!)), for large traffic.
struct LogErlang {
    Real b, c;
};
LogErlang erlangLog(long n, Real a) {
    std::vector<Real> lt(static_cast<std::size_t>(n) + 1);
    for (long k = 0; k <= n; ++k) lt[static_cast<std::size_t>(k)] = k * std::log(a) - std::lgamma(static_cast<Real>(k + 1));
    const Real top = *std::max_element(lt.begin(), lt.end());
    Real below = 0;  // terms 0 .. n-1
    for (long k = 0; k < n; ++k) below += std::exp(lt[static_cast<std::size_t>(k)] - top);
    const Real last = std::exp(lt.back() - top);
    const Real waitTerm = last * n / (n - a);
    return {last / (below + last), waitTerm / (below + waitTerm)};
}

Real serviceLevel(Real c, Real n, Real a, Real st, Real aht) { return 1 - c * std::exp(-(n - a) * st / aht); }

CallResult agents(double method, std::vector<double> sla, std::vector<double> st, std::vector<double> srph,
                  std::vector<double> aht) {
    return call("FORECASTAGENTS", {col({method}), col(sla), col(st), col(srph), col(aht)});
}

// Rows a, b, c, d of the worked examples: SLA, ST, SRPH, AHT.
const std::vector<double> kSla = {80, 80, 90, 80}, kSt = {20, 20, 30, 20}, kSrph = {360, 200, 30, 0},
                          kAht = {240, 180, 180, 0};

}  // namespace

// Methods 1 and 3 on rows a to d run whole through examples/forecastagents*.json.
TEST(ForecastAgents, WorkedExamples) {
    auto r = agents(2, kSla, kSt, kSrph, kAht);
    ASSERT_FALSE(r.error) << r.error->message;
    expectNearAll(doublesOf(r), {28, 13, 3, 0}, 1e-9, true);
    struct Row {
        double method, sla, st, srph, aht, want;
    };
    const Row rows[] = {
        {3, 20, 20, 360, 240, 24.70495901},  // anchored at the traffic
        {1, 20, 20, 360, 240, 25},           // 24 agents are unstable
        {1, 0, 20, 360, 240, 25},
        {3, 0, 20, 360, 240, 24},
        {1, 80, 0, 360, 240, 30},
        {3, 80, 0, 360, 240, 29.60903054},
        {1, 99.99, 20, 360, 240, 43},
        {2, 150, 20, 360, 240, 28},  // speed of answer ignores SLA
    };
    for (const Row& w : rows) {
        auto r = agents(w.method, {w.sla}, {w.st}, {w.srph}, {w.aht});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(doublesOf(r), {w.want}, 1e-9, true);
    }
}

TEST(ForecastAgents, MatchesTextbookErlangC) {
    // For a grid of traffic and targets, the count is the first N > A whose
    // service level (or speed of answer) by the factorial form meets it.
    std::vector<double> sla, st, srph, aht;
    for (double a : {0.3, 1.0, 2.5, 7.0, 10.0, 24.0, 33.3, 61.0})
        for (double target : {50.0, 80.0, 95.0})
            for (double t : {0.0, 15.0, 60.0}) {
                sla.push_back(target);
                st.push_back(t);
                srph.push_back(a * 3600 / 200);
                aht.push_back(200);
            }
    auto r1 = agents(1, sla, st, srph, aht);
    std::vector<double> st2(st);
    for (double& t : st2) t += 5;
    auto r2 = agents(2, sla, st2, srph, aht);
    ASSERT_FALSE(r1.error || r2.error);
    const auto n1 = doublesOf(r1), n2 = doublesOf(r2);
    for (std::size_t i = 0; i < sla.size(); ++i) {
        const Real a = static_cast<Real>(srph[i]) * aht[i] / 3600;
        int want1 = 0, want2 = 0;
        for (int n = static_cast<int>(std::floor(a)) + 1; want1 == 0 || want2 == 0; ++n) {
            const Real c = erlangCFactorial(n, a);
            if (want1 == 0 && serviceLevel(c, n, a, st[i], aht[i]) >= sla[i] / 100) want1 = n;
            if (want2 == 0 && c * aht[i] / (n - a) <= st2[i]) want2 = n;
        }
        EXPECT_EQ(n1[i], want1) << "A " << static_cast<double>(a) << " SLA " << sla[i] << " ST " << st[i];
        EXPECT_EQ(n2[i], want2) << "A " << static_cast<double>(a) << " ST " << st2[i];
    }
}

TEST(ForecastAgents, ThousandsOfAgents) {
    // Traffic of 1,000 to 4,999 Erlangs: the count found is the first that
    // meets the target by the logarithmic Poisson form.
    for (double a : {1000.0, 2500.5, 4999.0}) {
        auto r = agents(1, {90}, {10}, {a * 3600 / 300}, {300});
        ASSERT_FALSE(r.error) << r.error->message;
        const double n = doublesOf(r)[0];
        ASSERT_TRUE(std::isfinite(n));
        const long nn = static_cast<long>(n);
        const LogErlang at = erlangLog(nn, a), below = erlangLog(nn - 1, a);
        EXPECT_GE(serviceLevel(at.c, nn, a, 10, 300), 0.9L) << a;
        if (nn - 1 > a) {
            EXPECT_LT(serviceLevel(below.c, nn - 1, a, 10, 300), 0.9L) << a;
        }
        // The fractional count interpolates between the same two levels.
        auto r3 = agents(3, {90}, {10}, {a * 3600 / 300}, {300});
        ASSERT_FALSE(r3.error) << r3.error->message;
        const Real hi = serviceLevel(at.c, nn, a, 10, 300);
        const Real xLo = nn - 1 > a ? nn - 1 : a;
        const Real yLo = nn - 1 > a ? serviceLevel(below.c, nn - 1, a, 10, 300) : 0;
        EXPECT_NEAR(doublesOf(r3)[0], static_cast<double>(xLo + (nn - xLo) * (0.9L - yLo) / (hi - yLo)), 1e-9 * n);
    }
}

TEST(ForecastAgents, Errors) {
    const std::string bad = "FPK error[73000058]:Value of column ";
    expectError(agents(4, kSla, kSt, kSrph, kAht), "ERR_FPK_COMM_INVALID_COL_VALUE",
                bad + "METHOD is invalid. Method should be in (1,2,3).");
    expectError(agents(1.5, kSla, kSt, kSrph, kAht), "ERR_FPK_COMM_INVALID_COL_VALUE",
                bad + "METHOD is invalid. Method should be in (1,2,3).");
    expectError(call("FORECASTAGENTS", {col({}), col({}), col({}), col({}), col({})}), "ERR_FPK_COMM_INVALID_COL_VALUE",
                bad + "METHOD is invalid. Method should be in (1,2,3).");
    auto empty = agents(1, {}, {}, {}, {});
    ASSERT_FALSE(empty.error) << empty.error->message;
    EXPECT_TRUE(doublesOf(empty).empty());
    struct Row {
        double method, sla, st, srph, aht;
        const char* message;
    };
    const double nan = std::nan("");
    const Row rows[] = {
        {1, 100, 20, 360, 240, "SLA is invalid. SLA should be at least 0 and less than 100."},
        {3, -1, 20, 360, 240, "SLA is invalid. SLA should be at least 0 and less than 100."},
        {1, 80, -1, 360, 240, "ST is invalid. ST should not be less than 0."},
        {2, 80, 0, 360, 240, "ST is invalid. ST should be greater than 0."},
        {1, 80, 20, nan, 240, "SRPH is invalid. SRPH should not be less than 0."},
        {1, 80, 20, -1, 240, "SRPH is invalid. SRPH should not be less than 0."},
        {1, 80, 20, 360, 0, "AHT is invalid. AHT should be greater than 0."},
        {1, 80, 20, 1e300, 1e10, "SRPH is invalid. Traffic SRPH*AHT/3600 should not be greater than 1e9."},
    };
    for (const Row& w : rows) {
        // The bad row is the second; the first row is fine and nothing is written.
        TableHandle result(plugin().makeResultTable(*plugin().find("FORECASTAGENTS")));
        auto r = plugin().call("FORECASTAGENTS",
                               {col({w.method}), col({80, w.sla}), col({20, w.st}), col({360, w.srph}), col({240, w.aht})},
                               result);
        expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE", bad + w.message);
        EXPECT_EQ(r.table->getColumn(0)->size(), 0u);
    }
    expectError(agents(1, {80, 80, 80}, {20, 20, 20}, {1, 1, 1}, {1, 1}), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_4",
                "FPK error[73000082]:Sizes of column SLA, ST, SRPH and AHT should be equal.");
}

namespace {
CallResult sensitivity(std::vector<double> agents, std::vector<double> srph, std::vector<double> aht,
                       std::vector<double> st, std::vector<double> cqt, std::vector<double> cql) {
    return call("FORECASTSENSITIVITY", {col(agents), col(srph), col(aht), col(st), col(cqt), col(cql)});
}
std::vector<double> rowOf(const CallResult& r, std::size_t row) {
    std::vector<double> out;
    for (std::size_t c = 0; c < 11; ++c) out.push_back(doublesOf(r, c).at(row));
    return out;
}
}  // namespace

// Stable, fractional, zero-threshold, overloaded, no-traffic and no-agent
// rows run whole through examples/forecastsensitivity.json.
TEST(ForecastSensitivity, WorkedExamples) {
    const double null = std::nan("");
    struct Case {
        const char* what;
        double agents, srph, aht, st, cqt, cql;
        std::vector<double> want;
    };
    const Case cases[] = {
        {"at the traffic", 24, 360, 240, 20, 60, 5,
         {15, 24, 100, 14.64825332, 100, null, null, null, 100, 100, 0}},
        {"no handling time", 5, 360, 0, 20, 60, 5, std::vector<double>(11, null)},
        {"negative thresholds", 28, 360, 240, -1, -1, -1,
         {15, 24, 85.71428571, 6.661213392, 33.31385280, 19.98831168, 1.998831168, 60, 100, 100, 0}},
        {"fractional queue length", 28, 360, 240, 20, 60, 2.7,
         {15, 24, 85.71428571, 6.661213392, 33.31385280, 19.98831168, 1.998831168, 60, 12.25548155, 20.97898602,
          76.12958139}},
        {"NaN threshold stays in its column", 28, 360, 240, null, 60, 5,
         {15, 24, 85.71428571, 6.661213392, 33.31385280, 19.98831168, 1.998831168, 60, 12.25548155, 13.21125650,
          null}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = sensitivity({c.agents}, {c.srph}, {c.aht}, {c.st}, {c.cqt}, {c.cql});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(rowOf(r, 0), c.want, 2e-9, true);
    }
}

TEST(ForecastSensitivity, ShortColumnsAndNulls) {
    auto r = call("FORECASTSENSITIVITY",
                  {withNulls({28, 28, 5}, {2}), col({360, 360, 360}), col({240, 240, 240}), col({20}), col({60, 60}),
                   col({})});
    ASSERT_FALSE(r.error) << r.error->message;
    // Row 1: ST missing (0 s), CQL missing (0).
    const auto row1 = rowOf(r, 1);
    const Real c = erlangCFactorial(28, 24);
    EXPECT_NEAR(row1[10], static_cast<double>((1 - c) * 100), 1e-9);
    EXPECT_NEAR(row1[9], static_cast<double>(c * 24 / 28 * 100), 1e-9);
    EXPECT_TRUE(std::isnan(rowOf(r, 2)[2]));  // null agents
}

TEST(ForecastSensitivity, MatchesTextbookErlang) {
    struct Case {
        double n, a;
    };
    std::vector<double> agents, srph, aht, zeros;
    for (const Case& c : {Case{1, 0.5}, Case{3, 1.5}, Case{14, 10}, Case{30, 24}, Case{60, 55.5}, Case{150, 120}}) {
        agents.push_back(c.n);
        srph.push_back(c.a * 3600 / 180);
        aht.push_back(180);
        zeros.push_back(0);
    }
    auto r = sensitivity(agents, srph, aht, zeros, zeros, zeros);
    ASSERT_FALSE(r.error) << r.error->message;
    const auto loss = doublesOf(r, 3), delay = doublesOf(r, 4);
    for (std::size_t i = 0; i < agents.size(); ++i) {
        const Real a = static_cast<Real>(srph[i]) * 180 / 3600;
        const int n = static_cast<int>(agents[i]);
        EXPECT_NEAR(loss[i], static_cast<double>(erlangBFactorial(n, a) * 100), 1e-9 * std::max(1.0, loss[i]));
        EXPECT_NEAR(delay[i], static_cast<double>(erlangCFactorial(n, a) * 100), 1e-9 * std::max(1.0, delay[i]));
    }
    // Thousands of agents, near and above the traffic, and far below it.
    for (const Case& c : {Case{4100, 4000}, Case{5000, 4950.25}, Case{3000, 4000}}) {
        auto big = sensitivity({c.n}, {c.a * 3600 / 180}, {180}, {0}, {0}, {0});
        ASSERT_FALSE(big.error) << big.error->message;
        const LogErlang e = erlangLog(static_cast<long>(c.n), c.a);
        const double gotLoss = doublesOf(big, 3)[0], gotDelay = doublesOf(big, 4)[0];
        EXPECT_NEAR(gotLoss, static_cast<double>(e.b * 100), 1e-9 * gotLoss) << c.n;
        if (c.n > c.a) {
            EXPECT_NEAR(gotDelay, static_cast<double>(e.c * 100), 1e-9 * gotDelay) << c.n;
        }
    }
    // A huge agent count ends as soon as B is 0.
    auto huge = sensitivity({1e15}, {360}, {240}, {20}, {60}, {5});
    ASSERT_FALSE(huge.error);
    EXPECT_EQ(doublesOf(huge, 3)[0], 0);
    EXPECT_EQ(doublesOf(huge, 10)[0], 100);
}

TEST(ForecastSensitivity, AgentsMeetTheirTarget) {
    auto a = agents(1, kSla, kSt, kSrph, kAht);
    ASSERT_FALSE(a.error);
    auto n = doublesOf(a);
    for (std::size_t i = 0; i < 3; ++i) {
        auto r = sensitivity({n[i], n[i] - 1}, {kSrph[i], kSrph[i]}, {kAht[i], kAht[i]}, {kSt[i], kSt[i]}, {0, 0}, {0, 0});
        ASSERT_FALSE(r.error);
        const auto sl = doublesOf(r, 10);
        EXPECT_GE(sl[0], kSla[i]);
        EXPECT_LT(sl[1], kSla[i]);
    }
}

TEST(ForecastSensitivity, Errors) {
    expectError(call("FORECASTSENSITIVITY", {col({1}), icol({1}), col({1}), col({1}), col({1}), col({1})}),
                "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column SRPH is not supported.");
    TablePtr t = Table::make("RESULT");
    for (int i = 0; i < 10; ++i) t->addColumn(ColumnHandle(Column::make("C", RhoCommonObjects::VT_DOUBLE)));
    expectError(plugin().call("FORECASTSENSITIVITY", {col({1}), col({1}), col({1}), col({1}), col({1}), col({1})},
                              TableHandle(t)),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "RESULT"}}));
}
