// GROW through the loader: growth by percent and by amount from any
// distance, seeds, the switch-over on month rows, and the errors in order.
#include <cmath>
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;

CallResult grow(const V& values, const V& periods, const V& rate, const V& type, const V& kind,
                const std::vector<std::string>& date) {
    return call("GROW", {col(values), col(periods), col(rate), col(type), col(kind), scol(date)});
}

V concat(V a, const V& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const V kYear = {100, 90, 110, 120, 130, 150, 140, 130, 120, 110, 100, 160};

}  // namespace

// Period-on-period growth and seeds run whole through examples/grow*.json.
TEST(Grow, WorkedExamples) {
    struct Case {
        const char* what;
        V values, periods, rate, type, kind;
        std::string date;
        V want;
        double tol;
    };
    const std::vector<Case> cases = {
        {"year on year by an amount", concat(kYear, V(12, 0)), {12}, concat(concat(V(12, 0), V(6, 5)), V(6, -10)),
         {1}, {1}, "20241215",
         concat(kYear, {105, 95, 115, 125, 135, 155, 130, 120, 110, 100, 90, 150}), 1e-9},
        {"year on year by a percentage", concat(kYear, V(12, 0)), {12}, V(24, 10), {0}, {1}, "20241215",
         concat(kYear, {110, 99, 121, 132, 143, 165, 154, 143, 132, 121, 110, 176}), 1e-9},
        {"no history", {100, 0, 0, 0}, {1}, V(4, 10), {0}, {0}, "", {100, 110, 121, 133.1}, 1e-9},
        // p >= n: every future row keeps its value.
        {"distance beyond the rows", {1, 2, 3, 4}, {4}, V(4, 50), {0}, {3}, "202402", {1, 2, 3, 4}, 0},
        // -100 % wipes the row and everything grown from it.
        {"minus one hundred percent", {10, 20, 0, 0, 0}, {1}, {0, 0, -100, 50, 50}, {0}, {3}, "202403",
         {10, 20, 0, 0, 0}, 0},
        // MONTH 202401: no history, so the first p rows are seeds.
        {"switch-over in January", {5, 7, 0, 0}, {2}, V(4, 1), {1}, {3}, "202401", {5, 7, 6, 8}, 0},
        {"settings read as integers", {100, 0, 0}, {1.9}, V(3, 10), {0.7}, {0.4}, "", {100, 110, 121}, 1e-9},
        // History rates are not read: they may hold anything.
        {"history rates are ignored", {100, 100, 0}, {1}, {1e9, -7, 10}, {0}, {3}, "202403", {100, 100, 110}, 1e-9},
        {"empty series", {}, {1}, {}, {0}, {1}, "20240501", {}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectColumn(grow(c.values, c.periods, c.rate, c.type, c.kind, {c.date}), c.want, c.tol);
    }
}

TEST(Grow, NullsCountAsZero) {
    // Null value, null rate (no growth), null type (PERCENT).
    auto r = call("GROW", {withNulls({100, 50, 0, 0}, {1}), col({1}), withNulls({0, 0, 10, 10}, {2}),
                           withNulls({1}, {0}), col({3}), scol({"202403"})});
    expectColumn(r, {100, 0, 0, 0}, 0);
    r = call("GROW", {col({100, 0, 0}), col({1}), withNulls({0, 10, 10}, {1}), withNulls({1}, {0}), col({0}),
                      scol({""})});
    expectColumn(r, {100, 100, 110}, 1e-9);
    // A null distance is 0 and fails.
    r = call("GROW", {col({100, 0}), withNulls({1}, {0}), col({0, 1}), col({0}), col({0}), scol({""})});
    expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column GROWPERIODS is invalid. Grow periods should be greater than 0.");
}

TEST(Grow, Errors) {
    struct Case {
        V values, periods, rate, type, kind;
        std::vector<std::string> date;
        std::string name, message;
    };
    const V v = {100, 0, 0};
    const std::string value = "FPK error[73000058]:Value of column ";
    const std::string size = "FPK error[73000057]:Size ";
    const std::vector<Case> cases = {
        {v, {1}, {1, 1}, {0}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         size + "2 of column GROWRATE is invalid. Size of GROWRATE should be equal to size of VALUES."},
        {v, {}, V(3, 1), {0}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         size + "0 of column GROWPERIODS is invalid. GROWPERIODS should not be empty."},
        {v, {0}, V(3, 1), {0}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "GROWPERIODS is invalid. Grow periods should be greater than 0."},
        {v, {0.5}, V(3, 1), {0}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "GROWPERIODS is invalid. Grow periods should be greater than 0."},
        {v, {1}, V(3, 1), {}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         size + "0 of column GROWTYPE is invalid. GROWTYPE should not be empty."},
        {v, {1}, V(3, 1), {2}, {0}, {""}, "ERR_FPK_COMM_INVALID_COL_VALUE",
         value + "GROWTYPE is invalid. Growtype should be in (0,1)."},
        {v, {1}, V(3, 1), {0}, {}, {""}, "ERR_FPK_COMM_INVALID_COL_SIZE",
         size + "0 of column SWITCHOVERTYPE is invalid. SWITCHOVERTYPE should not be empty."},
        {v, {1}, V(3, 1), {0}, {7}, {""}, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE",
         "FPK error[73000104]:Switchover date is out of range."},
        {v, {1}, V(3, 1), {0}, {1}, {"2024071"}, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {v, {1}, V(3, 1), {0}, {1}, {"20240230"}, "ERR_FPK_COMM_DAY_OUT_OF_RANGE",
         "FPK error[73000103]:The day of date is out of range."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = grow(c.values, c.periods, c.rate, c.type, c.kind, c.date);
        expectError(r, c.name, c.message);
        EXPECT_EQ(doublesOf(r).size(), 0u);
    }
}

// Long series, with distances below, at and beyond the block the rows
// stream through: with equal amounts on every future row, row r is
// VALUES[r mod p] + amount * floor(r / p) (the history ends before row p).
TEST(Grow, LongSeriesFollowTheClosedForm) {
    const std::size_t n = 100'000;
    for (std::size_t p : {12u, 16383u, 16384u, 16385u, 40'000u}) {
        SCOPED_TRACE(p);
        V values(n), rate(n, 2.5);
        for (std::size_t r = 0; r < n; ++r) values[r] = static_cast<double>(r % p) + 1;
        auto r = grow(values, {static_cast<double>(p)}, rate, {1}, {3}, {"202406"});
        ASSERT_FALSE(r.error) << r.error->message;
        const V got = doublesOf(r);
        ASSERT_EQ(got.size(), n);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < n; ++i)
            wrong += got[i] != static_cast<double>(i % p) + 1 + 2.5 * static_cast<double>(i / p) ? 1 : 0;
        EXPECT_EQ(wrong, 0u);
    }
    // Percentages compound: VALUES[r mod 12] * 1.01^floor(r / 12).
    V values(n), rate(n, 1);
    for (std::size_t r = 0; r < n; ++r) values[r] = 100 + static_cast<double>(r % 12);
    auto r = grow(V(values.begin(), values.begin() + 50'000), {12}, V(50'000, 1), {0}, {1}, {"20240701"});
    ASSERT_FALSE(r.error) << r.error->message;
    const V got = doublesOf(r);
    for (std::size_t i = 0; i < got.size(); i += 997)
        EXPECT_NEAR(got[i], values[i] * std::pow(1.01, static_cast<double>(i / 12)), 1e-9 * got[i]) << i;
}
