// DRIVER through the loader: history to the switch-over, then in proportion
// to each driver.
#include "testSupport.h"

using namespace fpktest;

namespace {

ColumnHandle named(const char* name, ColumnHandle c) {
    static_cast<Column*>(c.get())->setName(name);
    return c;
}

TableHandle result(std::size_t doubles, int keyType = RhoCommonObjects::VT_STRING) {
    std::vector<ColumnHandle> cols{ColumnHandle(Column::make("TIME", keyType))};
    for (std::size_t j = 0; j < doubles; ++j)
        cols.push_back(ColumnHandle(Column::make("D" + std::to_string(j + 1), RhoCommonObjects::VT_DOUBLE)));
    return tableOf("result", cols);
}

const std::vector<std::string> kMonths = {"202401", "202402", "202403", "202404", "202405", "202406"};

CallResult driver(std::vector<std::string> time, ColumnHandle history, ColumnHandle kind, ColumnHandle date,
                  std::vector<ColumnHandle> drivers, TableHandle res = TableHandle()) {
    if (!res) res = result(drivers.size());
    for (std::size_t j = 0; j < drivers.size(); ++j) drivers[j] = named(j == 0 ? "A" : "B", drivers[j]);
    return plugin().call("DRIVER",
                         {tableOf("HISTORY", {named("HISTORY", history)}), tableOf("TIME", {named("TIME", scol(time))}),
                          tableOf("SWITCHOVER", {named("SWITCHOVER", kind)}),
                          tableOf("SWITCHOVERDATE", {named("SWITCHOVERDATE", date)}), tableOf("DRIVERS", drivers)},
                         res);
}

ColumnHandle kHistory() { return col({1000, 1080, 1050, 0, 0, 0}); }
ColumnHandle kA() { return col({200, 220, 210, 231, 252, 189}); }
ColumnHandle kB() { return col({40, 44, 42, 42, 40, 0}); }

}  // namespace

// The month switch-over worked example runs whole through examples/driver.json.
TEST(Driver, Projections) {
    struct Case {
        const char* what;
        std::vector<std::string> time;
        ColumnHandle history, kind, date;
        std::vector<ColumnHandle> drivers;
        std::vector<std::vector<double>> want;
    };
    const Case cases[] = {
        {"quarters, integer date", {"20241", "20242", "20243", "20244"}, icol({500, 520, 0, 0}), icol({1}),
         icol({20240701}), {col({10, 13, 12, 15})}, {{500, 520, 480, 600}}},
        {"no switch-over", kMonths, kHistory(), col({0}), scol({}), {kA(), kB()},
         {{1000, 1100, 1050, 1155, 1260, 945}, {1000, 1100, 1050, 1050, 1000, 0}}},
        {"switch-over before every key", kMonths, kHistory(), col({1}), scol({"20240101"}), {kA(), kB()},
         {{1000, 1100, 1050, 1155, 1260, 945}, {1000, 1100, 1050, 1050, 1000, 0}}},
        {"mid-month date keeps the month as history", kMonths, col({1000, 1080, 1050, 1100, 0, 0}), col({1}),
         scol({"20240415"}), {kA()}, {{1000, 1080, 1050, 1100, 1200, 900}}},
        {"double date acts as text", kMonths, kHistory(), col({3.7}), col({202404.0}), {kA()},
         {{1000, 1080, 1050, 1155, 1260, 945}}},
        {"all history: zero base driver allowed", kMonths, kHistory(), col({1}), scol({"20240701"}),
         {kA(), col({40, 44, 0, 42, 40, 0})}, {{1000, 1080, 1050, 0, 0, 0}, {1000, 1080, 1050, 0, 0, 0}}},
        {"empty switch-over column is none", kMonths, kHistory(), col({}), scol({}), {kA()},
         {{1000, 1100, 1050, 1155, 1260, 945}}},
        {"malformed key after the switch-over is not read", {"202401", "202402", "202403", "20240x"},
         col({1, 2, 0, 0}), col({3}), scol({"202403"}), {col({1, 1, 3, 4})}, {{1, 2, 6, 8}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = driver(c.time, c.history, c.kind, c.date, c.drivers);
        ASSERT_FALSE(r.error) << r.error->message;
        EXPECT_EQ(textsOf(r, 0), c.time);
        for (std::size_t j = 0; j < c.want.size(); ++j) expectNearAll(doublesOf(r, j + 1), c.want[j], 1e-9, true);
    }
    auto r = driver({}, col({}), col({1}), scol({"20240101"}), {col({})});
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(textsOf(r, 0).empty());
}

TEST(Driver, Errors) {
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202404"}), {kA(), col({40, 44, 0, 42, 40, 0})}),
                "ERR_FPK_DRIVER_INVALID_ORG_DRIVER", "FPK error[73000538]:Original driver should not be 0.");
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202404"}), {kA(), kB()}, result(1)),
                "ERR_FPK_COMM_TABLE_COL_SIZE",
                "FPK error[73000023]:Column number 2 of table result does not match expected size 3.");
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202404"}), {kA()}, result(1, RhoCommonObjects::VT_DOUBLE)),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "result"}}));
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202404"}), {kA(), scol({"1"})}),
                "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE",
                fpktest::cataloguedMessage(73000022, {{"TAB", "DRIVERS"}}));
    expectError(driver(kMonths, col({1, 2}), col({3}), scol({"202404"}), {kA()}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2", "FPK error[73000080]:Sizes of column HISTORY and TIME should be equal.");
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202404"}), {col({1, 2, 3, 4, 5, 6, 7})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2", "FPK error[73000080]:Sizes of column TIME and A should be equal.");
    expectError(driver(kMonths, kHistory(), col({4}), scol({"202404"}), {kA()}), "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE",
                "FPK error[73000104]:Switchover date is out of range.");
    expectError(driver(kMonths, kHistory(), col({1}), scol({"202404"}), {kA()}),
                "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
                "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD.");
    expectError(driver(kMonths, kHistory(), col({3}), scol({"202413"}), {kA()}), "ERR_FPK_COMM_MONTH_OUT_OF_RANGE",
                "FPK error[73000102]:The month of date is out of range.");
    expectError(driver({"202401", "2024x2", "202403"}, col({1, 2, 3}), col({3}), scol({"202403"}), {col({1, 1, 1})}),
                "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
                "FPK error[73000056]:Format of date for column TIME should be YYYYMMDD.");
}
