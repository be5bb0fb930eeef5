// STOCKFLOW, STOCKFLOWREVERSE and STOCKFLOWBATCH through the loader, and
// their arithmetic helpers directly. Every expected row is worked out by
// hand in the comments (opening, wastage, target, supply clamp, closing,
// cover).
#include <cmath>
#include <limits>
#include <optional>
#include <random>

#include "functions/fpkStockFlow.h"
#include "platform/QELError.h"
#include "testSupport.h"

using namespace fpktest;

namespace {

const double NaN = std::numeric_limits<double>::quiet_NaN();

// One call's inputs; empty per-row columns take zeros of the TIME length.
struct Inputs {
    std::vector<double> prime{0};
    std::vector<std::string> time;
    std::vector<double> forecastSales, forecastCover, actualSales, actualSupply, actualClosing;
    std::vector<int32_t> switchover{0};
    std::vector<std::string> switchoverDate{""};
    std::vector<int32_t> coverUnits{1}, periodLength;
    std::vector<double> maxSupply, minSupply, wastageRate, batch;
    std::vector<int32_t> roundMethod{0}, endMethod{1}, outlookMethod{0}, forecastFlag;

    std::vector<double> orZeros(const std::vector<double>& v) const {
        return v.empty() ? std::vector<double>(time.size(), 0.0) : v;
    }
    std::vector<int32_t> orZeros(const std::vector<int32_t>& v) const {
        return v.empty() ? std::vector<int32_t>(time.size(), 0) : v;
    }
};

// Calls STOCKFLOW, STOCKFLOWREVERSE or STOCKFLOWBATCH with the inputs in
// catalogue order.
CallResult run(const std::string& fn, const Inputs& in, bool integerPrime = false) {
    std::vector<Argument> a = {integerPrime ? icol({100}) : col(in.prime), scol(in.time),
                               col(in.orZeros(in.forecastSales)), col(in.orZeros(in.forecastCover)),
                               col(in.orZeros(in.actualSales)),   col(in.orZeros(in.actualSupply)),
                               col(in.orZeros(in.actualClosing))};
    if (fn == "STOCKFLOW") {
        a.push_back(icol(in.switchover));
        a.push_back(scol(in.switchoverDate));
    } else {
        a.push_back(icol(in.forecastFlag));
    }
    for (Argument x : {Argument(icol(in.coverUnits)), Argument(icol(in.orZeros(in.periodLength))),
                       Argument(col(in.orZeros(in.maxSupply))), Argument(col(in.orZeros(in.minSupply)))})
        a.push_back(x);
    if (fn == "STOCKFLOWBATCH") a.push_back(col(in.orZeros(in.batch)));
    for (Argument x : {Argument(col(in.orZeros(in.wastageRate))), Argument(icol(in.roundMethod)),
                       Argument(icol(in.endMethod)), Argument(icol(in.outlookMethod))})
        a.push_back(x);
    return call(fn, a);
}
CallResult stockFlow(const Inputs& in) { return run("STOCKFLOW", in); }
CallResult reverse(const Inputs& in) { return run("STOCKFLOWREVERSE", in); }
CallResult batch(const Inputs& in) { return run("STOCKFLOWBATCH", in); }

struct Rows {
    std::vector<double> opening, closing, cover, wastage, sales, supply;
};

void expectRows(const CallResult& r, const Rows& e, const std::string& what = "") {
    ASSERT_FALSE(r.error) << what << ": " << r.error->message;
    EXPECT_EQ(doublesOf(r, 0), e.opening) << what << " OPENING";
    EXPECT_EQ(doublesOf(r, 1), e.closing) << what << " CLOSING";
    EXPECT_EQ(doublesOf(r, 2), e.cover) << what << " ACTUALCOVER";
    EXPECT_EQ(doublesOf(r, 3), e.wastage) << what << " WASTAGE";
    EXPECT_EQ(doublesOf(r, 4), e.sales) << what << " SALESOUTLOOK";
    EXPECT_EQ(doublesOf(r, 5), e.supply) << what << " SUPPLYOUTLOOK";
}

std::string valueError(const std::string& col, const std::string& text) {
    return "FPK error[73000058]:Value of column " + col + " is invalid. " + text + ".";
}

// Five planned monthly rows in UNITS: wastage, a minimum and a cover past
// the last row.
Inputs unitsExample() {
    Inputs in;
    in.prime = {100};
    in.time = {"202401", "202402", "202403", "202404", "202405"};
    in.forecastSales = {40, 50, 30, 20, 60};
    in.forecastCover = {2, 1, 2, 0, 3};
    in.wastageRate = {10, 0, 50, 0, 0};
    in.minSupply = {0, 0, 0, 50, 0};
    in.maxSupply = {0, 20, 0, 0, 0};
    in.endMethod = {2};  // end average (20 + 60) / 2 = 40
    return in;
}

// row 0: open 100, waste 10, target 50+30=80, supply 40+80+10-100=30, close 80
// row 1: open 80, target 30, supply 50+30-80=0 (max 20 not reached), close 30
// row 2: open 30, waste 15, target 20+60=80, supply 30+80+15-30=95, close 80
// row 3: open 80, cover 0 so target 0, supply 20-80=-60 < min 50: supply 50,
//        close 50+80-20=110
// row 4: open 110, target 3 rows past the end = 3*40=120, supply 60+120-110=70
// cover (sales 40 50 30 20 60, then 40 a row): row 0 holds 50+30=80 -> 2;
// row 1 30 -> 1; row 2 20+60 -> 2; row 3 60+40 < 110 < 60+40+40 -> 2;
// row 4 40*3 -> 3.
const Rows kUnitsRows{{100, 80, 30, 80, 110}, {80, 30, 80, 110, 120}, {2, 1, 2, 2, 3},
                      {10, 0, 15, 0, 0},      {40, 50, 30, 20, 60},   {30, 0, 95, 50, 70}};

}  // namespace

// The units plan above, the DAYS and PERIODS covers, RESTRICT, PRESERVE_SUM,
// the month switch-over and the flags of STOCKFLOWREVERSE run whole through
// examples/stockflow*.json.

TEST(StockFlow, MaximumSupplyLimitsAndZeroMeansNoLimit) {
    Inputs in = unitsExample();
    in.maxSupply = {0, 20, 50, 0, 0};
    // row 2: supply 95 > 50: supply 50, close 50+30-30-15=35
    // row 3: open 35, supply 20-35=-15 < 50: supply 50, close 50+35-20=65
    // row 4: open 65, supply 60+120-65=115 (max 0), close 120
    // cover: row 2 35 < 20+60 -> 20 <= 35 -> 1; row 3 65 > 60 -> 1.
    expectRows(stockFlow(in), {{100, 80, 30, 35, 65}, {80, 30, 35, 65, 120}, {2, 1, 1, 1, 3},
                               {10, 0, 15, 0, 0},      {40, 50, 30, 20, 60}, {30, 0, 50, 50, 115}});
}

TEST(StockFlow, DefaultOutlookLetsTheStockGoNegative) {
    Inputs in;
    in.prime = {10};
    in.time = {"202401", "202402"};
    in.forecastSales = {50, 10};
    in.forecastCover = {0, 0};
    in.wastageRate = {10, 10};
    in.maxSupply = {5, 5};
    // DEFAULT: row 0 waste 1, supply 50+1-10=41 > 5: 5, close 5+10-50-1=-36;
    // row 1 opens -36 (no wastage on a negative stock), supply 10+36=46 -> 5,
    // close 5-36-10=-41.
    expectRows(stockFlow(in), {{10, -36}, {-36, -41}, {0, 0}, {1, 0}, {50, 10}, {5, 5}});
}

TEST(StockFlow, DaysEndAverageCountsTheFirstRowsOwnPeriod) {
    Inputs in;
    in.time = {"202402", "202403"};  // row 0 counts January (31), row 1 February (29)
    in.forecastSales = {10, 20};
    in.forecastCover = {0, 60};
    in.coverUnits = {0};
    in.endMethod = {2};  // sales 15, days (31+29)/2 = 30
    // row 1: 60 days past the end = 2 steps: target 30, supply 20+30-0=50;
    // cover 15+15 = 30 exactly: 60.
    expectRows(stockFlow(in), {{0, 0}, {0, 30}, {0, 60}, {0, 0}, {10, 20}, {10, 50}});
}

namespace {
// Two history rows, then two planned rows in UNITS.
Inputs historyExample() {
    Inputs in;
    in.prime = {100};
    in.time = {"202401", "202402", "202403", "202404"};
    in.actualClosing = {90, 80, 0, 0};
    in.actualSales = {30, 40, 0, 0};
    in.actualSupply = {20, 30, 0, 0};
    in.wastageRate = {10, 0, 0, 0};
    in.forecastSales = {0, 0, 50, 60};
    in.forecastCover = {0, 0, 1, 1};
    in.endMethod = {1};  // 60
    return in;
}
// rows 0, 1 copy the actuals (opening 100 then 90, wastage 10 then 0);
// row 2: open 80, target 60, supply 50+60-80=30; row 3: open 60, target 60,
// supply 60. cover over 30 40 50 60 then 60: row 0 40+50=90 -> 2; row 1
// 50 <= 80 < 110 -> 1; rows 2, 3 -> 1.
const Rows kHistoryRows{{100, 90, 80, 60}, {90, 80, 60, 60}, {2, 1, 1, 1},
                        {10, 0, 0, 0},     {30, 40, 50, 60}, {20, 30, 30, 60}};

struct FixedToday {
    explicit FixedToday(int yyyymmdd) { qelhost::setFixedDate(yyyymmdd); }
    ~FixedToday() { qelhost::setFixedDate(std::nullopt); }
};
}  // namespace

TEST(StockFlow, EverySwitchOverKindAndFlagFindsTheSameHistory) {
    FixedToday today(20240301);
    struct Case {
        const char* what;
        int kind;
        std::string date;
    };
    const Case cases[] = {{"enter date", 1, "20240301"}, {"enter date mid-February", 1, "20240215"},
                          {"today", 2, "ignored"},
                          {"row count", 4, "2"},         {"row count with zeros", 4, "0002"}};
    for (const Case& c : cases) {
        Inputs in = historyExample();
        in.switchover = {c.kind};
        in.switchoverDate = {c.date};
        expectRows(stockFlow(in), kHistoryRows, c.what);
    }
    Inputs in = historyExample();
    in.forecastFlag = {0, 1, 2, 0};  // the 0 after the first 2 is still planned
    in.batch = {0, 0, 0, 0};
    expectRows(batch(in), kHistoryRows, "batch without batches");
}

TEST(StockFlow, AllHistoryStillComputesCover) {
    Inputs in = historyExample();
    in.switchover = {4};
    in.switchoverDate = {"4"};
    in.actualClosing = {90, 80, 70, 65};
    in.actualSales = {30, 40, 50, 60};
    in.actualSupply = {20, 30, 40, 55};
    // rows 2, 3 open 80, 70; cover over 30 40 50 60 then 60 a row: row 2
    // 60 <= 70 < 120 -> 1; row 3 60 <= 65 < 120 -> 1.
    const Rows all{{100, 90, 80, 70}, {90, 80, 70, 65}, {2, 1, 1, 1}, {10, 0, 0, 0}, {30, 40, 50, 60}, {20, 30, 40, 55}};
    expectRows(stockFlow(in), all, "switch-over");
    in.forecastFlag = {1, 1, 0, 1};
    expectRows(reverse(in), all, "flags");
}

// Rounding up to a batch and a minimum above the maximum run whole through
// examples/stockflowbatch*.json.
TEST(StockFlow, BatchRoundsSupplyAndLimits) {
    struct Case {
        const char* what;
        std::vector<double> sales, cover, minSupply, maxSupply, batch;
        Rows rows;
    };
    const Case cases[] = {
        // min 15 -> 20, max 5 -> 0 under it: the maximum is dropped. s = 33 -> 40,
        // close 40-33 = 7; row 1: s = 0-7 = -7 < 20: 20, close 20+7 = 27.
        // Nothing sells after row 0, so row 0 covers one row and row 1 none.
        {"max dropped", {33, 0}, {0, 0}, {15, 15}, {5, 5}, {10, 10},
         {{0, 7}, {7, 27}, {1, 0}, {0, 0}, {33, 0}, {40, 20}}},
        // without batches the same limits give the plain clamp: supply 5,
        // close 5-33 = -28; row 1: s = 28 > 5: 5, close 5-28 = -23.
        {"no batch", {33, 0}, {0, 0}, {15, 15}, {5, 5}, {0, 0},
         {{0, -28}, {-28, -23}, {0, 0}, {0, 0}, {33, 0}, {5, 5}}},
        // max 25 -> 20: s = 33 -> 40 > 20: supply 20, close 20-33 = -13;
        // row 1: s = 13 -> 20, not above 20: close -13+20 = 7.
        {"max rounded down", {33, 0}, {0, 0}, {0, 0}, {25, 25}, {10, 10},
         {{0, -13}, {-13, 7}, {0, 0}, {0, 0}, {33, 0}, {20, 20}}},
    };
    for (const Case& c : cases) {
        Inputs in;
        in.time = {"202401", "202402"};
        in.forecastFlag = {2, 2};
        in.forecastSales = c.sales;
        in.forecastCover = c.cover;
        in.minSupply = c.minSupply;
        in.maxSupply = c.maxSupply;
        in.batch = c.batch;
        expectRows(batch(in), c.rows, c.what);
    }
}

TEST(StockFlow, RoundingTouchesTheStockColumnsOnly) {
    Inputs in;
    in.prime = {0.25};
    in.time = {"202401", "202402"};
    in.forecastSales = {1.5, 2.5};
    in.forecastCover = {1, 1};
    // row 0: open .25, target 2.5, supply 1.5+2.5-.25 = 3.75, close 2.5;
    // row 1: open 2.5, target 2.5, supply 2.5; cover 1 and 1.
    in.roundMethod = {1};
    expectRows(stockFlow(in), {{0, 3}, {3, 3}, {1, 1}, {0, 0}, {2, 3}, {4, 3}}, "ROUND");
    // PRESERVE_SUM_YOY on OPENING: .25 -> 0; total 2.75, 3 rounded, d = -.25
    // -> 3. SALES 1.5 -> 2 (d = -.5 keeps it); 2.5 -> 3, total 4 vs 5,
    // d = -1 -> 2.
    in.roundMethod = {3};
    expectRows(stockFlow(in), {{0, 3}, {3, 2}, {1, 1}, {0, 0}, {2, 2}, {4, 2}}, "PRESERVE_SUM_YOY");
}

TEST(StockFlow, ValueErrorsNameTheirColumn) {
    struct Case {
        const char* what;
        std::function<void(Inputs&)> change;
        std::string name, message;
    };
    const std::string invalid = "ERR_FPK_COMM_INVALID_COL_VALUE";
    const Case cases[] = {
        {"cover unit", [](Inputs& in) { in.coverUnits = {3}; }, invalid,
         valueError("COVERUNITS", "switchover is not in (0, 1, 2)")},
        {"outlook", [](Inputs& in) { in.outlookMethod = {2}; }, invalid,
         valueError("OUTLOOKMETHOD", "outlookmethod is not in (0,1)")},
        {"negative outlook", [](Inputs& in) { in.outlookMethod = {-1}; }, invalid,
         valueError("OUTLOOKMETHOD", "outlookmethod is not in (0,1)")},
        {"cover unit before outlook", [](Inputs& in) { in.outlookMethod = {2}, in.coverUnits = {7}; }, invalid,
         valueError("COVERUNITS", "switchover is not in (0, 1, 2)")},
        {"end method 0", [](Inputs& in) { in.endMethod = {0}; }, invalid,
         valueError("ENDMETHOD", "n_Periods must be bigger than 0")},
        {"end method beyond the rows", [](Inputs& in) { in.endMethod = {6}; }, invalid,
         valueError("ENDMETHOD", "n_Periods must be bigger than 0")},
        {"negative cover", [](Inputs& in) { in.forecastCover[2] = -1; }, invalid,
         valueError("FORECASTCOVER", "coverPeriod must be no less than 0")},
        {"negative sales in a cover", [](Inputs& in) { in.forecastSales[2] = -5; }, invalid,
         valueError("FORECASTSALES", "forecastSalesValue must bigger than 0")},
        {"negative sales in the end average", [](Inputs& in) { in.forecastSales[3] = -5; }, invalid,
         valueError("FORECASTSALES", "forecastSales must be no less than 0")},
        {"wastage above 100", [](Inputs& in) { in.wastageRate[1] = 101; }, invalid,
         valueError("WASTAGERATE", "wastageRate must between 0 and 100")},
        {"wastage NaN", [](Inputs& in) { in.wastageRate[0] = NaN; }, invalid,
         valueError("WASTAGERATE", "wastageRate must between 0 and 100")},
        {"round method", [](Inputs& in) { in.roundMethod = {4}; }, invalid,
         valueError("ROUNDMETHOD", "roundMethodValue is not in (0, 1,2,3)")},
        {"switchover kind", [](Inputs& in) { in.switchover = {5}; }, invalid,
         valueError("SWITCHOVER", "switchover is not in (0, 1, 2, 3, 4)")},
        {"too many history rows", [](Inputs& in) { in.switchover = {4}, in.switchoverDate = {"6"}; },
         "ERR_FPK_SF_INVALID_OFFSET",
         "FPK error[73000525]:Offset value should be between -1 and (size of column TIME - 1)."},
        {"row count not digits", [](Inputs& in) { in.switchover = {4}, in.switchoverDate = {"2 "}; },
         "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {"short date", [](Inputs& in) { in.switchover = {1}, in.switchoverDate = {"2024031"}; },
         "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column SWITCHOVERDATE should be YYYYMMDD."},
        {"bad month", [](Inputs& in) { in.switchover = {3}, in.switchoverDate = {"202400"}; },
         "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", "FPK error[73000102]:The month of date is out of range."},
        {"bad TIME key for a date", [](Inputs& in) { in.switchover = {1}, in.switchoverDate = {"20240501"}, in.time[1] = "2024-2"; },
         "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column TIME should be YYYYMMDD."},
        {"bad TIME key in DAYS", [](Inputs& in) { in.coverUnits = {0}, in.time[3] = "2024AB"; },
         "ERR_FPK_COMM_INVALID_COL_DATE_FORMAT",
         "FPK error[73000056]:Format of date for column TIME should be YYYYMMDD."},
        {"TIME going back in DAYS", [](Inputs& in) { in.coverUnits = {0}, in.time[2] = "202312"; },
         "ERR_FPK_SF_INVALID_TIME", "FPK error[73000526]:Early Time should be earlier than Late Time."},
        {"negative period length", [](Inputs& in) { in.coverUnits = {2}, in.periodLength = {1, 1, -1, 1, 1}; }, invalid,
         valueError("PERIODLENGTH", "periodLengthValue must bigger than 0")},
        {"zero period lengths past the end", [](Inputs& in) { in.coverUnits = {2}, in.periodLength = {1, 1, 1, 0, 0}; },
         invalid, valueError("PERIODLENGTH", "periodLengthValue must bigger than 0")},
        {"negative actual closing",
         [](Inputs& in) { in = historyExample(), in.switchover = {4}, in.switchoverDate = {"2"}, in.actualClosing[1] = -1; },
         invalid, valueError("ACTUALCLOSING", "actual closingValue must be bigger than 0")},
        {"negative actual sales",
         [](Inputs& in) { in = historyExample(), in.switchover = {4}, in.switchoverDate = {"2"}, in.actualSales[0] = -1; },
         invalid, valueError("ACTUALSALES", "actual salesValue must be bigger than 0")},
        {"short column", [](Inputs& in) { in.forecastSales.pop_back(); }, "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
         "FPK error[73000080]:Sizes of column FORECASTSALES and TIME should be equal."},
        {"long column", [](Inputs& in) { in.minSupply.push_back(1); }, "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
         "FPK error[73000080]:Sizes of column TIME and MINSUPPLY should be equal."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Inputs in = unitsExample();
        c.change(in);
        expectError(stockFlow(in), c.name, c.message);
    }
}

TEST(StockFlow, VariantsUseTheirOwnOutlookText) {
    Inputs in = unitsExample();
    in.forecastFlag = {2, 2, 2, 2, 2};
    in.outlookMethod = {2};
    in.coverUnits = {9};  // the outlook method is checked first here
    expectError(reverse(in), "ERR_FPK_COMM_INVALID_COL_VALUE", valueError("OUTLOOKMETHOD", "outlookmethod is not in (0, 1)"));
    expectError(batch(in), "ERR_FPK_COMM_INVALID_COL_VALUE", valueError("OUTLOOKMETHOD", "outlookmethod is not in (0, 1)"));
    in.outlookMethod = {0};
    expectError(reverse(in), "ERR_FPK_COMM_INVALID_COL_VALUE", valueError("COVERUNITS", "switchover is not in (0, 1, 2)"));
    in.coverUnits = {1};
    in.forecastFlag = {2, 2};
    expectError(batch(in), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2",
                "FPK error[73000080]:Sizes of column FORECASTFLAG and TIME should be equal.");
}

TEST(StockFlow, TypeMismatchesComeFromTheVerifier) {
    expectError(run("STOCKFLOW", unitsExample(), true), "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column PRIME is not supported.");
}

TEST(StockFlow, RowsBeforeAnErrorAreWritten) {
    Inputs in = unitsExample();
    in.wastageRate[2] = 101;
    CallResult r = stockFlow(in);
    ASSERT_TRUE(r.error);
    const std::vector<double> opening = doublesOf(r, 0), closing = doublesOf(r, 1), cover = doublesOf(r, 2);
    ASSERT_EQ(opening.size(), 5u);
    EXPECT_EQ(opening[0], 100);
    EXPECT_EQ(opening[1], 80);
    EXPECT_EQ(closing[1], 30);
    for (std::size_t i = 2; i < 5; ++i) EXPECT_TRUE(std::isnan(opening[i]) && std::isnan(closing[i])) << i;
    for (double c : cover) EXPECT_TRUE(std::isnan(c));

    // A bad rounding method leaves every row computed, unrounded.
    in = unitsExample();
    in.roundMethod = {9};
    r = stockFlow(in);
    ASSERT_TRUE(r.error);
    EXPECT_EQ(doublesOf(r, 1), kUnitsRows.closing);
    EXPECT_EQ(doublesOf(r, 2), kUnitsRows.cover);
}

TEST(StockFlow, EmptyInputGivesEmptyResult) {
    Inputs in;
    in.prime = {};
    CallResult r = stockFlow(in);
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_TRUE(doublesOf(r, 0).empty());
}

// ---- the arithmetic directly ----

namespace sf = businessFunctions::stockflow;

TEST(StockFlowKernel, RepeatedAdditionMatchesTheLoop) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> unit(0, 1);
    const double starts[] = {0, 1, -1000.5, 0.1, 4503599627370496.0, -3e9, 12345.678};
    const double steps[] = {0.1, 0.5, 1, 1.0 / 3, 35, 1e-3, 2.5, 7.3e7};
    for (double s0 : starts) {
        for (double a : steps) {
            for (uint64_t m : {uint64_t(1), uint64_t(5), uint64_t(777), uint64_t(200000)}) {
                double loop = s0;
                for (uint64_t i = 0; i < m; ++i) loop += a;
                double fast = s0;
                bool stalled = false;
                const uint64_t done = sf::advance(fast, a, m, std::numeric_limits<double>::infinity(), stalled);
                if (stalled) {
                    EXPECT_EQ(fast + a, fast);
                    EXPECT_EQ(fast, loop) << s0 << " " << a << " " << m;
                } else {
                    EXPECT_EQ(done, m);
                    EXPECT_EQ(fast, loop) << s0 << " " << a << " " << m;
                }
                // Stopping at the first step that reaches a limit.
                const double stop = s0 + a * static_cast<double>(m) * unit(rng);
                double s = s0;
                uint64_t k = 0;
                do {
                    s += a;
                    ++k;
                } while (k < m && !(s >= stop));
                double f = s0;
                const uint64_t kf = sf::advance(f, a, m, stop, stalled);
                if (!stalled) {
                    EXPECT_EQ(kf, k) << s0 << " " << a << " " << m;
                    EXPECT_EQ(f, s) << s0 << " " << a << " " << m;
                }
            }
        }
    }
    double s = 1e17;
    bool stalled = false;
    EXPECT_EQ(sf::advance(s, 1, 1000, std::numeric_limits<double>::infinity(), stalled), 0u);
    EXPECT_TRUE(stalled);
}

TEST(StockFlowKernel, HugeCoversAreCheapAndExact) {
    sf::Series s;
    s.n = 3;
    const double sales[] = {1, 2, 3};
    s.forecastSales = sales;
    sf::EndAverage avg{5, 1};
    // 2 rows in range, then 2^31-1-2 rows of 5.
    EXPECT_EQ(sf::targetClosing(s, avg, 0, 2147483647), 5.0 + 5.0 * 2147483645.0);
    // A stock of 1e12 lasts 2 + (1e12-5)/5 rows past row 0 ... stopping on
    // the row that uses it up exactly.
    const double outlook[] = {1, 2, 3};
    EXPECT_EQ(sf::actualCover(s, avg, outlook, 0, 1e12), 2.0 + 199999999999.0);
    EXPECT_EQ(sf::actualCover(s, avg, outlook, 0, 1e12 + 1), 2.0 + 199999999999.0);
    // Nothing is sold after the last row: the cover ends there.
    EXPECT_EQ(sf::actualCover(s, sf::EndAverage{0, 1}, outlook, 0, 100), 2.0);
}

namespace {
// Preserv_SUM with the selection sort done literally.
void preservSumByHand(double excess, std::size_t n, const double* residual, double* values) {
    std::vector<double> key(n, 0);
    std::vector<std::size_t> index(n, 0);
    std::size_t f = 0;
    double remaining = 0;
    if (excess > 0) {
        for (std::size_t i = 0; i < n; ++i)
            if (residual[i] > 0) key[f] = residual[i], index[f++] = i;
        remaining = excess;
    } else if (excess < 0) {
        for (std::size_t i = 0; i < n; ++i)
            if (residual[i] < 0) key[f] = -residual[i], index[f++] = i;
        remaining = -excess;
    }
    for (std::size_t p = n - 1; p >= 1; --p) {
        std::size_t best = 0;
        for (std::size_t j = 0; j <= p; ++j)
            if (key[j] >= key[best]) best = j;
        std::swap(key[best], key[p]);
        std::swap(index[best], index[p]);
    }
    for (std::size_t p = n; p-- > 0 && remaining > 0; remaining -= 1) values[index[p]] += excess > 0 ? -1 : 1;
}
}  // namespace

TEST(StockFlowKernel, PreserveSumRules) {
    // 0.6 and 0.6: rounded 1 and 1, excess -0.8: the later row gets the unit.
    std::vector<double> v = {1, 1};
    const double r1[] = {-0.4, -0.4};
    businessFunctions::Preserv_SUM(-0.8, 2, r1, v.data());
    EXPECT_EQ(v, (std::vector<double>{1, 2}));
    // More units than positive residuals: the rest fall on row 0.
    v = {10, 20, 30, 40};
    const double r2[] = {0.1, 0.3, -0.2, 0};
    businessFunctions::Preserv_SUM(3, 4, r2, v.data());
    EXPECT_EQ(v, (std::vector<double>{8, 19, 30, 40}));

    // Against the literal selection sort, with many ties.
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> pick(-4, 4);
    for (int trial = 0; trial < 300; ++trial) {
        const std::size_t n = 1 + trial % 37;
        std::vector<double> residual(n), a(n, 0), b(n, 0);
        for (double& x : residual) x = pick(rng) / 10.0;
        const double excess = pick(rng) * 1.7;
        businessFunctions::Preserv_SUM(excess, n, residual.data(), a.data());
        preservSumByHand(excess, n, residual.data(), b.data());
        EXPECT_EQ(a, b) << trial;
    }
}

TEST(StockFlowKernel, RoundingPasses) {
    const sf::Names names;
    auto run = [&](int method, std::vector<double> v) {
        std::vector<double> z(v.size(), 0);
        double* cols[5] = {v.data(), z.data(), z.data(), z.data(), z.data()};
        sf::roundRows(method, cols, v.size(), names);
        return v;
    };
    EXPECT_EQ(run(1, {2.5, 2.49, -2.5, -2.7}), (std::vector<double>{3, 2, -2, -2}));
    // Four times .4: raw 1.6, rounded 0: two units off the largest residuals
    // (the later rows on ties), away from the raw total.
    EXPECT_EQ(run(2, {0.4, 0.4, 0.4, 0.4}), (std::vector<double>{0, 0, -1, -1}));
    // A rounded total beyond 32 bits: the excess exceeds the rows and the
    // extra unit lands on row 0.
    EXPECT_EQ(run(2, {3e9, 0.4}), (std::vector<double>{2999999999, -1}));
    EXPECT_EQ(run(3, {0.4, 0.4, 0.4}), (std::vector<double>{0, 1, 0}));
    EXPECT_EQ(run(3, {0.6, 0.6, 0.6}), (std::vector<double>{1, 0, 1}));
    EXPECT_EQ(run(0, {0.6, -1.25}), (std::vector<double>{0.6, -1.25}));
}

TEST(StockFlowKernel, DayCountsOfPeriodKeys) {
    struct Case {
        std::vector<std::string_view> keys;
        std::vector<int64_t> len;
        std::vector<uint8_t> bad;
    };
    const Case cases[] = {
        {{"202401", "202402", "202403"}, {31, 31, 29}, {0, 0, 0}},
        {{"20241", "20242"}, {92, 91}, {0, 0}},
        {{"2024", "2025"}, {365, 366}, {0, 0}},
        {{"20240301", "20240310"}, {1, 9}, {0, 0}},
        {{"202401", "2024x2", "202403"}, {31, 0, 0}, {0, 1, 1}},
        {{"202413", "202402"}, {0, 0}, {1, 1}},
    };
    for (const Case& c : cases) {
        std::vector<int64_t> len(c.keys.size());
        std::vector<uint8_t> bad(c.keys.size());
        sf::dayCounts(c.keys.data(), c.keys.size(), len.data(), bad.data());
        EXPECT_EQ(bad, c.bad) << c.keys[0];
        for (std::size_t k = 0; k < len.size(); ++k)
            if (!c.bad[k]) {
                EXPECT_EQ(len[k], c.len[k]) << c.keys[0] << " row " << k;
            }
    }
}

TEST(StockFlowKernel, RangeSumsEqualTheRowByRowWalks) {
    // Whole-number sales (exact prefix sums) and fractional ones (row-by-row
    // walks) must both give what the literal walks give, in every unit.
    std::mt19937 rng(5);
    for (int trial = 0; trial < 60; ++trial) {
        const std::size_t n = 50 + trial;
        const bool whole = trial % 2 == 0;
        std::vector<double> sales(n), cover(n), zeros(n, 0), minimum(n, -1e15);
        std::vector<int64_t> len(n);
        for (std::size_t i = 0; i < n; ++i) {
            sales[i] = whole ? static_cast<double>(rng() % 50) : (rng() % 5000) / 97.0;
            cover[i] = static_cast<double>(rng() % (trial % 3 == 0 ? 3 * n : 12));
            len[i] = 1 + static_cast<int64_t>(rng() % 31);
        }
        sf::Series s;
        s.n = n;
        s.prime = 100;
        s.forecastSales = sales.data();
        s.forecastCover = cover.data();
        s.maxSupply = zeros.data();
        s.minSupply = minimum.data();
        s.wastageRate = zeros.data();
        s.endMethod = 3;
        s.lengths.unit = trial % 4 == 1 ? sf::UNITS : sf::PERIODS;
        s.lengths.len = s.lengths.unit == sf::UNITS ? nullptr : len.data();
        std::vector<double> out(6 * n);
        sf::Result r{&out[0], &out[n], &out[2 * n], &out[3 * n], &out[4 * n], &out[5 * n]};
        const sf::EndAverage avg = sf::planRows(s, r);
        sf::coverRows(s, avg, r);
        for (std::size_t i = 0; i < n; ++i) {
            // No clamp binds, so the closing is the target.
            ASSERT_EQ(r.closing[i], sf::targetClosing(s, avg, i, static_cast<int>(cover[i]))) << trial << " " << i;
            ASSERT_EQ(r.cover[i], sf::actualCover(s, avg, r.salesOutlook, i, r.closing[i])) << trial << " " << i;
        }
    }
}

TEST(StockFlowKernel, CoverAsLongAsTheSeriesIsCheap) {
    const std::size_t n = 100000;
    std::vector<double> sales(n, 7), cover(n, 2e9), zeros(n, 0);
    sf::Series s;
    s.n = n;
    s.forecastSales = sales.data();
    s.forecastCover = cover.data();
    s.maxSupply = zeros.data();
    s.minSupply = zeros.data();
    s.wastageRate = zeros.data();
    std::vector<double> out(6 * n);
    sf::Result r{&out[0], &out[n], &out[2 * n], &out[3 * n], &out[4 * n], &out[5 * n]};
    const sf::EndAverage avg = sf::planRows(s, r);
    sf::coverRows(s, avg, r);
    // Every row holds 2e9 rows of 7 and covers exactly 2e9 rows.
    EXPECT_EQ(r.closing[0], 1.4e10);
    EXPECT_EQ(r.closing[n - 1], 1.4e10);
    EXPECT_EQ(r.cover[0], 2e9);
    EXPECT_EQ(r.cover[n / 2], 2e9);
}
