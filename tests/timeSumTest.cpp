// TIMESUM: year rows aggregated from their months, in both layouts.
#include <cmath>

#include "testSupport.h"

using namespace fpktest;

namespace {
TableHandle dtab(const std::string& name, const std::vector<double>& v) { return tableOf(name, {col(v)}); }

CallResult timeSum(const TableHandle& data, const std::vector<double>& numPeriods, const TableHandle& methods,
                   const std::vector<double>& days, const std::vector<double>& config) {
    TablePtr result = Table::make("RESULT");
    result->addColumn(ColumnHandle(Column::make("RESULT", RhoCommonObjects::VT_DOUBLE)));
    return plugin().call("TIMESUM",
                         {data, dtab("NUMPERIODS", numPeriods), methods, dtab("DAYS", days), dtab("CONFIG", config)},
                         TableHandle(result));
}
CallResult timeSum(const std::vector<double>& data, const std::vector<double>& numPeriods, double method,
                   const std::vector<double>& days, double config) {
    return timeSum(dtab("DATA", data), numPeriods, dtab("METHODS", {method}), days, {config});
}

struct SumCase {
    const char* what;
    std::vector<double> data, numPeriods;
    double method;
    std::vector<double> days;
    double config;
    std::vector<double> expected;
};
}  // namespace

// The day-weighted and block-last worked examples run whole through
// examples/timesum*.json.
TEST(TimeSum, WorkedExamples) {
    const std::vector<double> noDays;
    const std::vector<SumCase> cases = {
        {"interleaved sum", {10, 20, 30, 0, 40, 50, 0}, {3, 2}, 1, noDays, 0, {10, 20, 30, 60, 40, 50, 90}},
        {"interleaved average", {10, 20, 30, 0, 40, 50, 0}, {3, 2}, 2, noDays, 0, {10, 20, 30, 20, 40, 50, 45}},
        {"interleaved first", {500, 520, 510, 999, 530, 560, 999}, {3, 2}, 4, noDays, 0,
         {500, 520, 510, 500, 530, 560, 530}},
        {"day-weighted, leap February", {1, 2, 4, 0}, {3}, 3, {31, 29, 31, 0}, 0, {1, 2, 4, 213.0 / 91}},
        {"block day-weighted", {100, 110, 120, 130, 140, 0, 0}, {3, 2}, 3, {31, 28, 31, 30, 31, -5, -5}, 1,
         {100, 110, 120, 130, 140, 9900.0 / 90, 8240.0 / 61}},
        {"block average of three years", {1, 2, 3, 4, 5, 6, 0, 0, 0}, {2, 1, 3}, 2, noDays, 1,
         {1, 2, 3, 4, 5, 6, 1.5, 3, 5}},
        {"empty", {}, {}, 1, noDays, 0, {}},
    };
    for (const SumCase& c : cases) {
        SCOPED_TRACE(c.what);
        CallResult r = timeSum(c.data, c.numPeriods, c.method, c.days, c.config);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(doublesOf(r), c.expected, 1e-9);
    }
}

TEST(TimeSum, SingleMonthYearGivesThatMonthForEveryMethod) {
    for (double method = 1; method <= 5; ++method) {
        CallResult r = timeSum({7.5, 0}, {1}, method, {30, 0}, 0);
        ASSERT_FALSE(r.error) << r.error->message;
        expectNearAll(doublesOf(r), {7.5, 7.5}, 1e-9);
    }
}

TEST(TimeSum, NullMonthsCountAsZero) {
    TableHandle data = tableOf("DATA", {withNulls({1, 20, 30, 1, 40, 50, 7}, {0, 3})});
    CallResult r = timeSum(data, {3, 2}, dtab("METHODS", {2}), {}, {0});
    ASSERT_FALSE(r.error) << r.error->message;
    expectNearAll(doublesOf(r), {0, 20, 30, 50.0 / 3, 40, 50, 45}, 1e-9);
}

TEST(TimeSum, IntegerColumnsPass) {
    CallResult r = timeSum(tableOf("DATA", {icol({1, 2, 0})}), {2}, tableOf("METHODS", {icol({1})}), {}, {0});
    ASSERT_FALSE(r.error) << r.error->message;
    expectNearAll(doublesOf(r), {1, 2, 3}, 1e-9);
}

TEST(TimeSum, Errors) {
    const std::string value = "ERR_FPK_COMM_INVALID_COL_VALUE";
    const std::string size = "ERR_FPK_COMM_INVALID_COL_SIZE";
    expectError(timeSum({10, 20, 30, 0, 40, 50}, {3, 2}, 1, {}, 0), "ERR_FPK_TS_DATA_SIZE_NOT_MATCH",
                "FPK error[73000527]:Size of column DATA should be equal to (length of month + length of year).");
    expectError(timeSum(dtab("DATA", {1, 0}), {1}, tableOf("METHODS", {icol({1}), icol({2})}), {}, {0}),
                "ERR_FPK_COMM_TABLE_COL_SIZE",
                "FPK error[73000023]:Column number 2 of table METHODS does not match expected size 1.");
    expectError(timeSum({100, 0, 120, 0, 130, 140, 0}, {3, 2}, 3, {31, 0, 31, 0, 30, 31, 0}, 0), value,
                "FPK error[73000058]:Value of column DAYS is invalid. Days should be greater than 0.");
    expectError(timeSum({1, 2, 3, 0, 4, 5, 0}, {3, 2}, 3, {31, 28, 31, 0, 30, 31}, 0),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2", "FPK error[73000080]:Sizes of column DAYS and DATA should be equal.");
    expectError(timeSum({1, 2, 3, 0, 4, 5, 0}, {3, 2}, 3, {31, 28, 31, 0, 30, 31, 0, 1}, 0),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2", "FPK error[73000080]:Sizes of column DATA and DAYS should be equal.");
    const char* numMsg = "FPK error[73000058]:Value of column NUMPERIODS is invalid. Numperiods should be a whole number "
                         "greater than 0.";
    expectError(timeSum({1, 2, 0}, {2.5}, 1, {}, 0), value, numMsg);
    expectError(timeSum({1, 0}, {0}, 1, {}, 0), value, numMsg);
    expectError(timeSum({1, 2, 0}, {2}, 6, {}, 0), value,
                "FPK error[73000058]:Value of column METHODS is invalid. Method should be in (1,2,3,4,5).");
    expectError(timeSum({1, 2, 0}, {2}, 1, {}, 2), value,
                "FPK error[73000058]:Value of column CONFIG is invalid. Config should be in (0,1).");
    expectError(timeSum(dtab("DATA", {1, 2, 0}), {2}, dtab("METHODS", {}), {}, {0}), size,
                "FPK error[73000057]:Size 0 of column METHODS is invalid. METHODS should not be empty.");
    expectError(timeSum(dtab("DATA", {1, 2, 0}), {2}, dtab("METHODS", {1}), {}, {}), size,
                "FPK error[73000057]:Size 0 of column CONFIG is invalid. CONFIG should not be empty.");
    for (auto [r, table] : {std::pair{timeSum(tableOf("DATA", {scol({"a"})}), {1}, dtab("METHODS", {1}), {}, {0}), "DATA"},
                            std::pair{timeSum(dtab("DATA", {1, 0}), {1}, tableOf("METHODS", {}), {}, {0}), "METHODS"}}) {
        ASSERT_TRUE(r.error);
        EXPECT_EQ(r.error->name, "ERR_FPK_COMM_UNMATCHED_TABLE_TYPE");
        EXPECT_EQ(r.error->message.rfind(std::string("FPK error[73000022]:Data types of table ") + table + " do", 0), 0u)
            << r.error->message;
    }
}
