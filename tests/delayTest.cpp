// DELAY through the loader: the worked profiles, the steady state of the
// opening run-off, and the table checks.
#include <numeric>

#include "testSupport.h"

using namespace fpktest;

namespace {

TableHandle resultTable(int type = RhoCommonObjects::VT_DOUBLE, int count = 1) {
    std::vector<ColumnHandle> cols;
    for (int i = 0; i < count; ++i) cols.push_back(ColumnHandle(Column::make("RECEIVED", type)));
    return tableOf("result", cols);
}

CallResult delay(ColumnHandle prime, ColumnHandle invoice, std::vector<ColumnHandle> paid,
                 TableHandle result = resultTable()) {
    return plugin().call("DELAY",
                         {tableOf("PRIME", {prime}), tableOf("INVOICE", {invoice}), tableOf("PAID", std::move(paid))},
                         result);
}

}  // namespace

// The one-profile worked example runs whole through examples/delay.json.
TEST(Delay, WorkedProfiles) {
    struct Case {
        const char* what;
        ColumnHandle prime;
        ColumnHandle invoice;
        std::vector<ColumnHandle> paid;
        std::vector<double> want;
    };
    const Case cases[] = {
        {"profile changes after row 0", col({250}), col({500, 500, 500}), {col({100, 40}), col({0, 60})},
         {750, 200, 500}},
        {"empty prime, 10 % never paid", icol({}), icol({100, 100, 100, 100}), {col({60}), col({30})},
         {60, 90, 90, 90}},
        {"prime 90 received in full", icol({90}), icol({100, 100, 100, 100}), {col({60}), col({30})},
         {150, 90, 90, 90}},
        {"one column: same-period payment plus prime", col({5}), col({10, 20}), {col({50})}, {10, 10}},
        {"no invoices", col({700}), col({}), {col({50}), col({50})}, {}},
        {"extra PAID rows unused", col({0}), col({100, 100}), {col({100, 0, 0, 0}), col({0, 100, 100, 100})},
         {100, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = delay(c.prime, c.invoice, c.paid);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(doublesOf(r), c.want, 1e-9, true);
    }
}

TEST(Delay, SteadyStateStaysSteady) {
    // A constant invoice x with PRIME = x * S (S = sum of k * share_k) keeps
    // receiving x * (sum of the shares) every period, for any profile,
    // including ones that do not add up to 100 %.
    const std::vector<std::vector<double>> profiles = {
        {10, 20, 30, 25, 15}, {0, 0, 0, 100}, {35, 25, 20}, {5, 50, 10, 5, 0, 20}};
    for (const auto& p : profiles) {
        const double x = 1234.5;
        double s = 0, total = 0;
        for (std::size_t k = 0; k < p.size(); ++k) {
            s += static_cast<double>(k) * p[k] / 100;
            total += p[k] / 100;
        }
        std::vector<ColumnHandle> paid;
        for (double v : p) paid.push_back(col({v}));
        auto r = delay(col({x * s}), col(std::vector<double>(12, x)), paid);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(doublesOf(r), std::vector<double>(12, x * total), 1e-9, true);
    }
}

TEST(Delay, OpeningBalanceFullyReceived) {
    // Without invoices the whole PRIME comes in over the first m-1 periods,
    // whatever the profile adds up to.
    for (const auto& p : std::vector<std::vector<double>>{{60, 30}, {20, 20, 20, 20}, {0, 150, 90}}) {
        std::vector<ColumnHandle> paid;
        for (double v : p) paid.push_back(col({v}));
        auto r = delay(col({1000}), col(std::vector<double>(8, 0)), paid);
        ASSERT_FALSE(r.error) << r.error->message;
        const auto got = doublesOf(r);
        EXPECT_NEAR(std::accumulate(got.begin(), got.end(), 0.0), 1000, 1e-9);
        for (std::size_t t = p.size() > 1 ? p.size() - 1 : 1; t < got.size(); ++t) EXPECT_EQ(got[t], 0) << t;
    }
}

TEST(Delay, NullCellsReadAsZero) {
    auto r = delay(withNulls({700}, {0}), withNulls({1000, 1000}, {1}), {withNulls({50, 0}, {1}), col({50})});
    ASSERT_FALSE(r.error) << r.error->message;
    // P = 0; period 1 profile is 0 %, 50 %.
    expectNearAll(doublesOf(r), {500, 500}, 1e-9, true);
}

TEST(Delay, TableChecks) {
    expectError(delay(col({1}), col({1}), {scol({"50"})}), "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "PAID"}}));
    expectError(plugin().call("DELAY", {tableOf("PRIME", {col({1}), col({2})}), tableOf("INVOICE", {col({1})}),
                                        tableOf("PAID", {col({100})})},
                              resultTable()),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE", fpktest::cataloguedMessage(73000022, {{"TAB", "PRIME"}}));
    expectError(delay(col({1}), col({1}), {col({100})}, resultTable(RhoCommonObjects::VT_INTEGER)),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE", fpktest::cataloguedMessage(73000022, {{"TAB", "result"}}));
    expectError(delay(col({1}), col({1}), {col({100})}, resultTable(RhoCommonObjects::VT_DOUBLE, 2)),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE", fpktest::cataloguedMessage(73000022, {{"TAB", "result"}}));
    expectError(delay(col({1}), col({1}), {col({100}), typed(RhoCommonObjects::VT_BOOLEAN, {1})}),
                "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column PAID is not supported.");
    // Float and decimal columns are doubles.
    auto r = delay(typed(RhoCommonObjects::VT_DECIMAL, {0}), typed(RhoCommonObjects::VT_FLOAT, {8}), {col({50})});
    ASSERT_FALSE(r.error) << r.error->message;
    expectNearAll(doublesOf(r), {4}, 1e-9, true);
}
