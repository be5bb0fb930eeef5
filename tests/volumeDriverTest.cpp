// VOLUMEDRIVER through the loader: banded percentages like a progressive schedule.
#include "testSupport.h"

using namespace fpktest;

namespace {
void expectNear(const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(want[i])) {
            EXPECT_TRUE(std::isnan(got[i])) << "row " << i;
            continue;
        }
        EXPECT_NEAR(got[i], want[i], 1e-9 * std::max(1.0, std::fabs(want[i]))) << "row " << i;
    }
}
}  // namespace

TEST(VolumeDriver, Bands) {
    struct Case {
        const char* what;
        std::vector<double> salary, percent, bandwidth, want;
    };
    const double inf = INFINITY, nan = std::nan("");
    const Case cases[] = {
        {"three bands", {2500, 4000, 8000, -4000, 0, 5000, 3000}, {20, 10, 2}, {3000, 2000},
         {500, 700, 860, -700, 0, 800, 600}},
        {"flat rate", {1234.5, -100}, {12.5}, {}, {154.3125, -12.5}},
        {"ceiling", {70000, 90000}, {9.5, 0}, {84000}, {6650, 7980}},
        {"non-finite salaries", {inf, -inf, nan}, {20, 10}, {3000}, {nan, nan, nan}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto r = call("VOLUMEDRIVER", {col(c.salary), col(c.percent), col(c.bandwidth)});
        ASSERT_FALSE(r.error) << r.error->message;
        expectNear(doublesOf(r), c.want);
    }
    auto r = call("VOLUMEDRIVER", {withNulls({100, 100}, {0}), withNulls({10, 20}, {0}), col({50})});
    ASSERT_FALSE(r.error) << r.error->message;
    expectNear(doublesOf(r), {0, 10});  // null salary 0; null first percent 0 %
}

TEST(VolumeDriver, ManyRowsAcrossJobs) {
    // 200,000 rows run as several range jobs; each row is checked against the
    // schedule written out by hand: 20 % to 3000, 10 % to 5000, 2 % above.
    const std::size_t n = 200000;
    std::vector<double> salary(n);
    for (std::size_t i = 0; i < n; ++i) salary[i] = (static_cast<double>(i) - 50000) * 0.17;
    auto r = call("VOLUMEDRIVER", {col(salary), col({20, 10, 2}), col({3000, 2000})});
    ASSERT_FALSE(r.error) << r.error->message;
    const auto got = doublesOf(r);
    ASSERT_EQ(got.size(), n);
    for (std::size_t i = 0; i < n; ++i) {
        const double s = std::fabs(salary[i]);
        const double f = s <= 3000 ? 0.2 * s : (s <= 5000 ? 600 + 0.1 * (s - 3000) : 800 + 0.02 * (s - 5000));
        ASSERT_NEAR(got[i], salary[i] < 0 ? -f : f, 1e-9 * std::max(1.0, f)) << i;
    }
}

TEST(VolumeDriver, Errors) {
    expectError(call("VOLUMEDRIVER", {col({1}), col({20, 10}), col({3000, 2000})}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                "FPK error[73000057]:Size 2 of column PERCENT is invalid. Size should be equal to (size of column "
                "BANDWIDTH + 1).");
    const std::string bandwidth =
        "FPK error[73000058]:Value of column BANDWIDTH is invalid. Bandwidth should be greater than 0.";
    for (auto widths : {col({3000, 0}), col({-1, 5}), col({std::nan("")}), withNulls({5}, {0})}) {
        // Checked even without salaries.
        expectError(call("VOLUMEDRIVER", {col({}), col(std::vector<double>(widths->size() + 1, 1)), widths}),
                    "ERR_FPK_COMM_INVALID_COL_VALUE", bandwidth);
    }
    TablePtr ro = Table::make("result");
    ro->addColumn(ColumnHandle(Column::make("OVERHEAD", RhoCommonObjects::VT_DOUBLE, true)));
    expectError(plugin().call("VOLUMEDRIVER", {col({1}), col({1}), col({})}, TableHandle(ro)),
                "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column OVERHEAD is read only.");
    expectError(call("VOLUMEDRIVER", {icol({1}), col({1}), col({})}), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column SALARY is not supported.");
}
