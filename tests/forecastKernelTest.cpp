// The FORECAST arithmetic on native arrays: long windows (which slide
// instead of being summed afresh) against closed forms, and the
// rows-finished count of a stopped walk.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/fpkAllocator.h"
#include "functions/fpkForecast.h"

using namespace businessFunctions;

namespace {

// 600 closed periods, then open and closed periods alternating; the closed
// values lie on a straight line in their position (PERIODS) or their daily
// rate lies on one in the period's midpoint (DAYS).
struct LongPlan {
    std::size_t n = 2600;
    std::vector<uint8_t> marker = std::vector<uint8_t>(n, 0);
    std::vector<int32_t> flag, days;
    std::vector<double> actual, mid;

    explicit LongPlan(bool byDays) {
        double dayCount = 0;
        for (std::size_t i = 0; i < n; ++i) {
            flag.push_back(i >= 600 && (i - 600) % 2 == 0 ? 1 : 0);
            days.push_back(28 + static_cast<int32_t>(i % 4));
            mid.push_back(byDays ? dayCount + days[i] / 2.0 : static_cast<double>(i));
            dayCount += days[i];
            actual.push_back(byDays ? rate(mid[i]) * days[i] : 3.0 * i + 7.0);
        }
    }
    static double rate(double x) { return 0.01 * x + 2.0; }
    forecast::Plan plan() const { return {n, marker.data(), flag.data(), n, actual.data(), n}; }
};

}  // namespace

TEST(ForecastKernel, LongWindowsMatchClosedForms) {
    const std::size_t k = 300;  // longer than the windows summed afresh
    for (bool byDays : {false, true}) {
        SCOPED_TRACE(byDays ? "DAYS" : "PERIODS");
        LongPlan lp(byDays);
        std::vector<double> avg(lp.n), lin(lp.n);
        const int32_t* days = byDays ? lp.days.data() : nullptr;
        forecast::Outcome a = forecast::average(lp.plan(), k, days, avg.data(), getGlobalFPKAllocator());
        forecast::Outcome l = forecast::linear(lp.plan(), k, days, lin.data(), getGlobalFPKAllocator());
        ASSERT_EQ(a.fault, forecast::Fault::None);
        ASSERT_EQ(l.fault, forecast::Fault::None);
        ASSERT_EQ(a.rows, lp.n);
        for (std::size_t i = 0; i < lp.n; ++i) {
            if (lp.flag[i] == 0) {
                EXPECT_EQ(avg[i], lp.actual[i]);
                EXPECT_EQ(lin[i], lp.actual[i]);
                continue;
            }
            // The last k closed rows before row i.
            double sumY = 0, sumD = 0;
            std::size_t taken = 0;
            for (std::size_t j = i; taken < k; ++taken) {
                do --j;
                while (lp.flag[j] != 0);
                sumY += lp.actual[j];
                sumD += lp.days[j];
            }
            const double d = lp.days[i];
            const double wantAvg = byDays ? sumY / sumD * d : sumY / k;
            const double wantLin = byDays ? LongPlan::rate(lp.mid[i]) * d : 3.0 * i + 7.0;
            ASSERT_NEAR(avg[i], wantAvg, 1e-9 * std::fabs(wantAvg)) << "row " << i;
            ASSERT_NEAR(lin[i], wantLin, 1e-9 * std::fabs(wantLin)) << "row " << i;
        }
    }
}

TEST(ForecastKernel, StoppedWalkReportsFinishedRows) {
    // Rows: M, YEAR, M(flag 3). The marker row is finished, the bad flag is not.
    const std::vector<uint8_t> marker = {0, 1, 0};
    const std::vector<int32_t> flag = {1, 0, 3};
    const std::vector<double> budget = {4, 0, 6};
    std::vector<double> out(3, -1);
    forecast::Outcome o = forecast::actBud({3, marker.data(), flag.data(), 3, nullptr, 0}, budget.data(), out.data());
    EXPECT_EQ(o.fault, forecast::Fault::BadFlag);
    EXPECT_EQ(o.rows, 2u);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[1], 4);

    std::vector<int32_t> flags(6, 7);
    const std::vector<uint8_t> markers = {1, 0, 0, 1, 0, 1};
    forecast::subtotalFlags(markers.data(), markers.size(), flags.data());
    EXPECT_EQ(flags, (std::vector<int32_t>{0, 0, 1, 0, 1, 0}));
}
