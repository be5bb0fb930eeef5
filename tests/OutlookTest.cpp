// OUTLOOK through the loader: the three views of the plan after the
// switch-over, the shapes every input may take, and its one error.
#include <string>
#include <vector>

#include "testSupport.h"

using namespace fpktest;

namespace {

using V = std::vector<double>;

CallResult outlook(const V& plan, const V& actual, const V& method, const V& kind, const std::string& date) {
    return call("OUTLOOK", {col(plan), col(actual), col(method), col(kind), scol({date})});
}

const V kFlat(12, 100);
const V kShaped = {80, 80, 100, 100, 120, 120, 100, 100, 80, 80, 120, 200};

V concat(V a, const V& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace

// The shaped plan under RATIO and TARGET runs whole through examples/outlook*.json.
TEST(Outlook, WorkedExamples) {
    struct Case {
        const char* what;
        V plan, actual, method, kind;
        std::string date;
        V want;
    };
    const V a4 = {80, 90, 100, 90};
    const std::vector<Case> cases = {
        {"plan", kFlat, a4, {0}, {3}, "202405", concat(a4, V(8, 100))},
        {"run rate", kFlat, a4, {1}, {3}, "202405", concat(a4, V(8, 90))},
        {"target", kFlat, a4, {2}, {3}, "202405", concat(a4, V(8, 105))},
        {"unknown method is plan", kShaped, {88, 92, 110}, {7}, {1}, "20240401",
         {88, 92, 110, 100, 120, 120, 100, 100, 80, 80, 120, 200}},
        {"target with no plan left", {100, 100, 0, 0}, {90, 90}, {2}, {3}, "202403", {90, 90, 10, 10}},
        // No history: RATIO has SPH = 0 and TARGET has SA = 0, SPF = SPT.
        {"run rate without history", kShaped, {1, 2, 3}, {1}, {0}, "", kShaped},
        {"target without history", kShaped, {1, 2, 3}, {2}, {0}, "", kShaped},
        // ACTUAL shorter than the history: April counts as 0, in its row and in SA
        // (SA = 270, SPH = 400).
        {"missing actuals", kFlat, {90, 90, 90}, {1}, {3}, "202405", concat({90, 90, 90, 0}, V(8, 67.5))},
        {"switch-over after the last row", kShaped, kShaped, {2}, {1}, "20241231", kShaped},
        {"method read as an integer", kFlat, a4, {1.7}, {3}, "202405", concat(a4, V(8, 90))},
        {"negative method is plan", kFlat, a4, {-1}, {3}, "202405", concat(a4, V(8, 100))},
        {"method 3 is plan", kFlat, a4, {3}, {3}, "202405", concat(a4, V(8, 100))},
        {"empty method is plan", kFlat, a4, {}, {3}, "202405", concat(a4, V(8, 100))},
        {"empty plan", {}, a4, {1}, {3}, "202405", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectColumn(outlook(c.plan, c.actual, c.method, c.kind, c.date), c.want, 5e-5);
    }
}

TEST(Outlook, TargetMeetsThePlanTotal) {
    for (double kind : {1.0, 3.0}) {
        auto r = outlook(kShaped, {88, 92, 110, 130, 95}, {2}, {kind}, kind == 1 ? "20240517" : "202406");
        ASSERT_FALSE(r.error) << r.error->message;
        double total = 0;
        for (double v : doublesOf(r)) total += v;
        EXPECT_NEAR(total, 1280, 1e-9);
    }
}

TEST(Outlook, NullsCountAsZero) {
    auto r = call("OUTLOOK", {withNulls(kFlat, {5}), withNulls({80, 90, 100, 90}, {1}), withNulls({1}, {0}),
                              col({3}), scol({"202405"})});
    expectColumn(r, {80, 0, 100, 90, 100, 0, 100, 100, 100, 100, 100, 100}, 0);
    r = call("OUTLOOK", {col(kFlat), col({80}), col({1}), withNulls({3}, {0}), scol({"202405"})});
    expectColumn(r, kFlat, 0);
}

TEST(Outlook, Errors) {
    struct Case {
        V kind;
        std::vector<std::string> date;
        std::string name, message;
    };
    const std::vector<Case> cases = {
        {{}, {"202405"}, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE", "FPK error[73000104]:Switchover date is out of range."},
        {{5}, {"202405"}, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE", "FPK error[73000104]:Switchover date is out of range."},
        {{-1}, {"202405"}, "ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE", "FPK error[73000104]:Switchover date is out of range."},
        {{3}, {"202413"}, "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", "FPK error[73000102]:The month of date is out of range."},
        {{3}, {"2024-05"}, "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        auto r = call("OUTLOOK", {col(kFlat), col({80}), col({1}), col(c.kind), scol(c.date)});
        expectError(r, c.name, c.message);
        EXPECT_EQ(doublesOf(r).size(), 0u);
    }
    auto r = call("OUTLOOK", {col(kFlat), icol({80}), col({1}), col({3}), scol({"202405"})});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column ACTUAL is not supported.");
}

// A long plan streams through several blocks, twice for TARGET.
TEST(Outlook, LongTargetSpreadsTheRestOverTheFuture) {
    const std::size_t n = 60'000;
    V plan(n);
    for (std::size_t r = 0; r < n; ++r) plan[r] = 1 + static_cast<double>(r % 7);
    const V actual = {3, 4, 5};  // ENTER_DATE 20240401: rows 0..2 are history
    double spt = 0, sph = plan[0] + plan[1] + plan[2];
    for (double v : plan) spt += v;
    const double rest = spt - 12, spf = spt - sph;
    auto r = outlook(plan, actual, {2}, {1}, "20240401");
    ASSERT_FALSE(r.error) << r.error->message;
    const V got = doublesOf(r);
    ASSERT_EQ(got.size(), n);
    double total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        total += got[i];
        if (i >= 3) {
            ASSERT_NEAR(got[i], plan[i] * rest / spf, 1e-9) << "row " << i;
        }
    }
    EXPECT_NEAR(total, spt, 1e-6);
}
