// LAST, CUMULATE_DECUMULATE, MAX_MIN_VALUE and FUNDS through the loader.
#include <cmath>
#include <limits>

#include "testSupport.h"

using namespace fpktest;

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Expected values compared bit for bit (NaN equal to NaN, -0 apart from +0).
void expectSame(const std::vector<double>& expected, const std::vector<double>& actual, const std::string& what) {
    ASSERT_EQ(expected.size(), actual.size()) << what;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::isnan(expected[i])) {
            EXPECT_TRUE(std::isnan(actual[i])) << what << " row " << i;
        } else {
            EXPECT_EQ(expected[i], actual[i]) << what << " row " << i;
            EXPECT_EQ(std::signbit(expected[i]), std::signbit(actual[i])) << what << " row " << i;
        }
    }
}

struct SeriesCase {
    std::string name;
    std::string fn;
    std::vector<double> values;
    std::vector<std::size_t> nulls;
    int flag;
    std::vector<double> expected;
};
}  // namespace

TEST(SeriesBasics, WorkedExamples) {
    const SeriesCase cases[] = {
        {"last carries", "LAST", {100, 0, 0, 120, 0, 0, 90}, {4}, 0, {100, 100, 100, 120, 120, 120, 90}},
        {"last leading zeros", "LAST", {0, 0, 50, -20, 0, 0}, {5}, 0, {0, 0, 50, -20, -20, -20}},
        {"last NaN carried", "LAST", {0.25, kNaN, 0, 3}, {}, 0, {0.25, kNaN, kNaN, 3}},
        {"last empty", "LAST", {}, {}, 0, {}},
        {"cumulate", "CUMULATE_DECUMULATE", {10, 20, -5, 0, 15}, {}, 0, {10, 30, 25, 25, 40}},
        {"decumulate", "CUMULATE_DECUMULATE", {10, 30, 25, 25, 40}, {}, 1, {10, 20, -5, 0, 15}},
        {"cumulate null", "CUMULATE_DECUMULATE", {100, 250, 0, 400}, {2}, 0, {100, 350, 350, 750}},
        {"decumulate null", "CUMULATE_DECUMULATE", {100, 250, 0, 400}, {2}, 1, {100, 150, -250, 400}},
        {"decumulate any flag", "CUMULATE_DECUMULATE", {1.5, 2.25, -0.75}, {}, -1, {1.5, 0.75, -3}},
        {"plain double sums", "CUMULATE_DECUMULATE", {0.1, 0.2, 0.3}, {}, 0, {0.1, 0.1 + 0.2, (0.1 + 0.2) + 0.3}},
        {"running max", "MAX_MIN_VALUE", {5, 3, 8, 8, 2, 10}, {}, 0, {5, 5, 8, 8, 8, 10}},
        {"running min", "MAX_MIN_VALUE", {5, 3, 8, 8, 2, 10}, {}, 1, {5, 3, 3, 3, 2, 2}},
        {"max null is zero", "MAX_MIN_VALUE", {-4, 0, -6, -1}, {1}, 0, {-4, 0, 0, 0}},
        {"min negative flag", "MAX_MIN_VALUE", {-4, 0, -6, -1}, {1}, -1, {-4, -4, -6, -6}},
        {"NaN first stays", "MAX_MIN_VALUE", {kNaN, 1, 2}, {}, 0, {kNaN, kNaN, kNaN}},
        {"NaN later ignored", "MAX_MIN_VALUE", {1, kNaN, 2}, {}, 0, {1, 1, 2}},
    };
    for (const SeriesCase& c : cases) {
        std::vector<Argument> args{withNulls(c.values, c.nulls)};
        if (c.fn != "LAST") args.emplace_back(int32_t(c.flag));
        CallResult r = call(c.fn, args);
        ASSERT_FALSE(r.error) << c.name << ": " << r.error->message;
        expectSame(c.expected, doublesOf(r), c.name);
    }
}

TEST(SeriesBasics, MinimumKeepsPositiveZero) {
    CallResult r = call("MAX_MIN_VALUE", {col({0.0, -0.0}), int32_t(1)});
    ASSERT_FALSE(r.error);
    EXPECT_FALSE(std::signbit(doublesOf(r)[1]));
}

TEST(SeriesBasics, Funds) {
    const std::vector<double> assets = {500, -200, 0, 125.5, -0.25, 0, kNaN, -0.0};
    const std::vector<std::size_t> nulls = {5};
    struct Case {
        std::vector<int32_t> sign;
        std::vector<double> expected;
    };
    const Case cases[] = {
        {{1}, {500, 0, 0, 125.5, 0, 0, 0, 0}},
        {{-1}, {0, -200, 0, 0, -0.25, 0, 0, 0}},
        {{0}, {500, -200, 0, 125.5, -0.25, 0, kNaN, -0.0}},
        {{7, -1, -1}, {500, 0, 0, 125.5, 0, 0, 0, 0}},
        {{}, {500, -200, 0, 125.5, -0.25, 0, kNaN, -0.0}},
        {{std::numeric_limits<int32_t>::min()}, {0, -200, 0, 0, -0.25, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        CallResult r = call("FUNDS", {withNulls(assets, nulls), icol(c.sign)});
        ASSERT_FALSE(r.error) << r.error->message;
        expectSame(c.expected, doublesOf(r), "sign " + std::to_string(c.sign.empty() ? 0 : c.sign[0]));
    }
}

TEST(SeriesBasics, Errors) {
    struct Case {
        std::string fn;
        std::vector<Argument> args;
        std::string name, message;
    };
    const std::string unsupported = "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE";
    const Case cases[] = {
        {"CUMULATE_DECUMULATE", {col({}), int32_t(0)}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column VALUE is invalid. VALUE should not be empty."},
        {"MAX_MIN_VALUE", {col({}), int32_t(3)}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         "FPK error[73000057]:Size 0 of column VALUE is invalid. VALUE should not be empty."},
        {"LAST", {icol({1})}, unsupported, "FPK error[73000050]:Data type of column PRIME is not supported."},
        {"LAST", {scol({"1"})}, unsupported, "FPK error[73000050]:Data type of column PRIME is not supported."},
        {"FUNDS", {col({1}), col({1})}, unsupported, "FPK error[73000050]:Data type of column SIGN is not supported."},
        {"FUNDS", {typed(RhoCommonObjects::VT_BOOLEAN, {1}), icol({1})}, unsupported,
         "FPK error[73000050]:Data type of column ASSETS is not supported."},
        {"LAST", {ColumnHandle()}, "ERR_FPK_COMM_INTERNAL_ERR",
         "FPK error[73000090]:Internal error. Check trace for details."},
    };
    for (const Case& c : cases) expectError(call(c.fn, c.args), c.name, c.message);
}

TEST(SeriesBasics, ResultTableChecks) {
    // A result table of the wrong shape, and a read-only result column.
    TablePtr wrong = Table::make("result");
    wrong->addColumn(ColumnHandle(Column::make("LAST", RhoCommonObjects::VT_INTEGER)));
    CallResult r = plugin().call("LAST", {col({1})}, TableHandle(wrong));
    ASSERT_TRUE(r.error);
    EXPECT_EQ("ERR_FPK_COMM_UNMATCHED_TABLE_TYPE", r.error->name);

    auto readOnly = [] {
        TablePtr t = Table::make("result");
        t->addColumn(ColumnHandle(Column::make("OUT", RhoCommonObjects::VT_DOUBLE, true)));
        return t;
    };
    expectError(plugin().call("FUNDS", {col({1}), icol({1})}, TableHandle(readOnly())), "ERR_FPK_COMM_COL_READ_ONLY",
                "FPK error[73000054]:Column FUNDS is read only.");
    // LAST makes no writability test: the write itself fails.
    expectError(plugin().call("LAST", {col({1})}, TableHandle(readOnly())), "ERR_FPK_COMM_INTERNAL_ERR",
                "FPK error[73000090]:Internal error. Check trace for details.");
}

TEST(SeriesBasics, MillionRowsAcrossRanges) {
    const std::size_t n = 1000000;
    std::vector<double> v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = (i % 7 == 0) ? 0.0 : static_cast<double>(i % 13) - 6.0;
    const std::size_t bytes = libraryBytes();

    CallResult funds = call("FUNDS", {col(v), icol({-1})});
    ASSERT_FALSE(funds.error);
    std::vector<double> f = doublesOf(funds);
    CallResult last = call("LAST", {col(v)});
    ASSERT_FALSE(last.error);
    std::vector<double> l = doublesOf(last);
    CallResult cum = call("CUMULATE_DECUMULATE", {col(v), int32_t(0)});
    ASSERT_FALSE(cum.error);
    std::vector<double> s = doublesOf(cum);
    double carry = 0, sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (v[i] != 0) carry = v[i];
        sum += v[i];
        ASSERT_EQ(v[i] < 0 ? v[i] : 0.0, f[i]) << i;
        ASSERT_EQ(carry, l[i]) << i;
        ASSERT_EQ(sum, s[i]) << i;
    }
    EXPECT_EQ(bytes, libraryBytes()) << "every call frees what it took";
}
