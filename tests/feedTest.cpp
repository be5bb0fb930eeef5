// FEED and FEEDOVERFLOW through the loader.
#include "testSupport.h"

using namespace fpktest;

namespace {

void expectNear(const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], want[i], 1e-9 * std::max(1.0, std::fabs(want[i]))) << "row " << i;
}

TableHandle doublesTable(const char* name, std::vector<std::string> cols, std::size_t readOnly = 99) {
    TablePtr t = Table::make(name);
    for (std::size_t i = 0; i < cols.size(); ++i)
        t->addColumn(ColumnHandle(Column::make(cols[i], RhoCommonObjects::VT_DOUBLE, i == readOnly)));
    return TableHandle(t);
}

}  // namespace

TEST(Feed, CarriesTheStock) {
    struct Case {
        double prime;
        std::vector<double> in, out, opening, closing;
    };
    const Case cases[] = {
        {100, {50, 0, 30}, {20, 40, 0}, {100, 130, 90}, {130, 90, 120}},
        {-20, {10, 10}, {0, 25}, {-20, -10}, {-10, -25}},
    };
    for (const Case& c : cases) {
        auto r = call("FEED", {col({c.prime}), col(c.in), col(c.out)});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r, 0), c.opening);
        expectNear(doublesOf(r, 1), c.closing);
    }
}

TEST(Feed, EmptyPrimeNullsAndEmptyFlows) {
    auto r = call("FEED", {col({}), withNulls({5, 7}, {1}), col({1, 1})});
    ASSERT_FALSE(r.error) << r.error->message;
    expectNear(doublesOf(r, 0), {0, 4});
    expectNear(doublesOf(r, 1), {4, 3});
    r = call("FEED", {col({}), col({}), col({})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(doublesOf(r, 0).empty());
}

TEST(Feed, Errors) {
    expectError(call("FEED", {col({1}), col({1, 2, 3}), col({1, 2})}), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
                "FPK error[73000080]:Sizes of column OUT and IN should be equal.");
    expectError(call("FEED", {col({1}), col({1}), col({1, 2})}), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
                "FPK error[73000080]:Sizes of column IN and OUT should be equal.");
    expectError(call("FEED", {col({1}), icol({1}), col({1})}), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column IN is not supported.");
    // A read-only OPENING is reported before the size check.
    expectError(plugin().call("FEED", {col({1}), col({1, 2}), col({1})},
                              doublesTable("RESULT", {"OPENING", "CLOSING"}, 0)),
                "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column OPENING is read only.");
    expectError(plugin().call("FEED", {col({1}), col({1}), col({1})}, doublesTable("RESULT", {"OPENING"})),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "RESULT"}}));
}

TEST(FeedOverflow, WorkedExamples) {
    struct Case {
        const char* what;
        double prime;
        std::vector<double> in, factor;
        double indicator;
        std::vector<double> opening, outs, closing;
    };
    const Case cases[] = {
        {"end", 100, {50, 50, 50}, {4, 4, 2}, 0, {100, 125, 143.75}, {25, 31.25, 71.875}, {125, 143.75, 121.875}},
        {"start", 100, {50, 50, 50}, {4, 4, 2}, 1, {100, 112.5, 121.875}, {37.5, 40.625, 85.9375},
         {112.5, 121.875, 85.9375}},
        {"one-period delay", 0, {60, 60, 0}, {1, 1, 1}, 0, {0, 60, 60}, {0, 60, 60}, {60, 60, 0}},
        {"pass through", 0, {60, 60, 0}, {1, 1, 1}, 1, {0, 0, 0}, {60, 60, 0}, {0, 0, 0}},
        {"indicator 2 is end", 0, {60, 60, 0}, {1, 1, 1}, 2, {0, 60, 60}, {0, 60, 60}, {60, 60, 0}},
        {"steady state", 200, {50, 50, 50, 50}, {4, 4, 4, 4}, 0, {200, 200, 200, 200}, {50, 50, 50, 50},
         {200, 200, 200, 200}},
        {"tiny factors pass", 0, {3e-10, 0}, {1e-10, -1e-10}, 1, {0, -3 + 3e-10}, {3, 3e10 - 3},
         {-3 + 3e-10, -3e10}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = call("FEEDOVERFLOW", {col({c.prime}), col(c.in), col(c.factor), col({c.indicator})});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r, 0), c.opening);
        expectNear(doublesOf(r, 1), c.outs);
        expectNear(doublesOf(r, 2), c.closing);
    }
}

TEST(FeedOverflow, Errors) {
    const std::string divide = "FPK error[73000100]:Dividend should not be close to zero 1e-10.";
    for (auto factor : {col({4, 0, 4}), col({1e-11}), col({std::nan("")}), withNulls({4, 4}, {1})}) {
        TableHandle result(plugin().makeResultTable(*plugin().find("FEEDOVERFLOW")));
        auto r = plugin().call("FEEDOVERFLOW",
                               {col({1}), col(std::vector<double>(factor->size(), 1)), factor, col({0})}, result);
        expectError(r, "ERR_FPK_COMM_DIVIDE_BY_ZERO", divide);
        EXPECT_EQ(r.table->getColumn(0)->size(), 0u) << "nothing written";
    }
    expectError(call("FEEDOVERFLOW", {col({1}), col({1, 2}), col({1}), col({0})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2", "FPK error[73000080]:Sizes of column FACTOR and IN should be equal.");
    expectError(plugin().call("FEEDOVERFLOW", {col({1}), col({1}), col({1}), col({0})},
                              doublesTable("RESULT", {"OPENING", "OUTS", "CLOSING"}, 1)),
                "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column OUTS is read only.");
    auto r = call("FEEDOVERFLOW", {col({}), col({}), col({}), col({})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(doublesOf(r, 1).empty());
}
