// REPEAT, TRANSFORM, ROUNDING, CYCLES, DAYS and PROPORTION through the loader,
// against hand-worked values.
#include <cmath>
#include <limits>
#include <numbers>

#include "common/fpkVectorMath.h"
#include "testSupport.h"

using namespace fpktest;

namespace {
const double kNull = std::numeric_limits<double>::quiet_NaN();  // a null row as doublesOf reports it
constexpr double kInf = std::numeric_limits<double>::infinity();

ColumnHandle texts(const std::vector<const char*>& v) {
    ColumnPtr c = Column::make("IN", RhoCommonObjects::VT_STRING);
    std::vector<std::string_view> views;
    std::vector<uint8_t> nulls;
    for (const char* s : v) {
        views.emplace_back(s ? s : "");
        nulls.push_back(s ? 0 : 1);
    }
    if (!v.empty()) c->setNative(0, v.size(), views.data(), nulls.data());
    return ColumnHandle(c);
}

// Numbers with nulls written as NaN in the expectation lists.
ColumnHandle numbers(const std::vector<double>& v, const std::vector<std::size_t>& nulls = {}) {
    return withNulls(v, nulls);
}

void expectRows(const std::vector<double>& expected, const CallResult& r, double tolerance, const std::string& what) {
    ASSERT_FALSE(r.error) << what << ": " << r.error->message;
    const std::vector<double> got = doublesOf(r);
    ASSERT_EQ(expected.size(), got.size()) << what;
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(expected[i])) {
            EXPECT_TRUE(std::isnan(got[i])) << what << " row " << i << " should be null";
        } else if (tolerance == 0) {
            EXPECT_EQ(expected[i], got[i]) << what << " row " << i;
            EXPECT_EQ(std::signbit(expected[i]), std::signbit(got[i])) << what << " row " << i;
        } else {
            EXPECT_NEAR(expected[i], got[i], tolerance) << what << " row " << i;
        }
    }
}
}  // namespace

TEST(Repeat, Patterns) {
    expectRows({10, 20, 30, 10, 20, 30, 10, 20}, call("REPEAT", {col({3, 3, 3}), col({10, 20, 30, 0, 0, 0, 0, 0})}), 0,
               "three");
    expectRows({1.5, -1, 1.5, -1, 1.5}, call("REPEAT", {col({2.9, 0, 0, 0, 0}), col({1.5, -1, 7, 7, 7})}), 0, "2.9");
    expectRows({4, 5, 6, 7}, call("REPEAT", {col({10}), col({4, 5, 6, 7})}), 0, "longer than input");
    expectRows({8, 8, 8}, call("REPEAT", {col({1}), numbers({8, 0, 9}, {1})}), 0, "one");
    expectRows({0, 2, 3, 0, 2}, call("REPEAT", {col({3}), numbers({0, 2, 3, 4, 5}, {0})}), 0, "null pattern row");
    expectRows({4, 5}, call("REPEAT", {col({kInf}), col({4, 5})}), 0, "infinite");
    expectRows({}, call("REPEAT", {col({}), col({})}), 0, "empty");
    for (auto number : {col({0}), col({0.5}), col({}), col({kNull}), numbers({5}, {0})})
        expectError(call("REPEAT", {number, col({1, 2})}), "ERR_FPK_REPEAT_NOT_ENOUGH_FLAG",
                    "FPK error[73000502]:No enough flag in this slop.");
}

TEST(Repeat, CycleContinuesAcrossRanges) {
    std::vector<double> input(200000, 0.0);
    for (int i = 0; i < 12; ++i) input[i] = i + 1;
    const std::vector<double> got = doublesOf(call("REPEAT", {col({12}), col(input)}));
    ASSERT_EQ(input.size(), got.size());
    EXPECT_EQ(5, got[64000]);   // position 64000 mod 12 = 4
    EXPECT_EQ(10, got[64005]);  // position 9
    for (std::size_t i = 0; i < got.size(); ++i) ASSERT_EQ(double(i % 12 + 1), got[i]) << i;
}

TEST(Transform, Methods) {
    expectRows({std::log(100.0), std::exp(std::log(100.0)), 4, 16, 0.125, 7},
               call("TRANSFORM", {col({100, std::log(100.0), 16, 4, 8, 7}), col({1, 2, 3, 4, 5, 0})}), 0, "round trip");
    expectRows({kNull, kNull, kNull, kNull, kNull, std::log(2.0), kNull, kNull, kNull, kNull},
               call("TRANSFORM", {numbers({-1, 0, 0, -9, 7, 2, 0, 3, 710, 1e200}, {6}),
                                  numbers({1, 1, 5, 3, 9, 1.9, 1, 0, 2, 4}, {7})}),
               0, "undefined gives null");
    expectRows({6.25, -0.4, 1, kNull, kNull, kNull, kNull, kNull, 0, 0},
               call("TRANSFORM", {col({2.5, -2.5, 1, 1, 1, 1, 1, kInf, -kInf, kInf}),
                                  col({4, 5, -0.5, kNull, 6, -1, 1e20, 0, 2, 5})}),
               0, "method edges");
}

TEST(Transform, SizeMismatchIsInternal) {
    expectError(call("TRANSFORM", {col({1, 2}), col({1})}), "ERR_FPK_COMM_INTERNAL_ERR",
                "FPK error[73000090]:Internal error. Check trace for details.");
    expectError(call("TRANSFORM", {typed(RhoCommonObjects::VT_FLOAT, {1}), col({1})}),
                "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column INPUT is not supported.");
}

TEST(Rounding, WorkedCases) {
    expectRows({1234.57, 1234.57, 1234.56},
               call("ROUNDING", {col({1234.5678, 1234.5678, 1234.5678}), col({0.01, 0.01, 0.01}), col({1, 2, 3})}), 0,
               "per row");
    const ColumnHandle dates = numbers({-1234.5678, -1250, 1250, 49.99, 0}, {4});
    expectRows({-1200, -1300, 1300, 0, kNull}, call("ROUNDING", {dates, col({100}), col({1})}), 0, "nearest");
    expectRows({-1300, -1300, 1300, 100, kNull}, call("ROUNDING", {dates, col({100}), col({2})}), 0, "up");
    expectRows({-1200, -1200, 1200, 0, kNull}, call("ROUNDING", {dates, col({100}), col({3})}), 0, "down");
    expectRows({2.68, 0.29, 0.07, 10, -10, 12.5, 0, 1.01},
               call("ROUNDING", {col({2.675, 0.29, 0.07, 7.5, -7.5, 12.49, 0.04, 1.005}),
                                 col({0.01, 0.01, 0.01, 5, 5, 0.25, 0.1, 0.01}), col({1, 3, 2, 1, 1, 1, 1, 1})}),
               0, "decimal steps");
    expectRows({24, 12}, call("ROUNDING", {col({17, 17}), col({12}), col({2, 3})}), 0, "step 12");
    expectRows({9.9}, call("ROUNDING", {col({10}), col({0.3}), col({1})}), 0, "step 0.3");
    expectRows({67 * 0.3}, call("ROUNDING", {col({20}), col({0.3}), col({2})}), 0, "multiplied step");
    expectRows({0.0}, call("ROUNDING", {col({-0.004}), col({0.01}), col({1})}), 0, "no negative zero");
    expectRows({4503599627370497.0, kInf, 7}, call("ROUNDING", {col({4503599627370497.0, kInf, 7}), col({1, 1, 1e-320}), col({1})}),
               0, "unchanged");
    expectRows({3}, call("ROUNDING", {col({2.5}), col({1}), col({2.7})}), 0, "method 2.7 is up");
    expectRows({}, call("ROUNDING", {col({}), col({1}), col({1})}), 0, "empty");
}

// Long columns with one method or one step for every row take the uniform
// loops; they must agree with the library functions row by row, across
// ranges and chunks, including halves and values near 2^52.
TEST(SeriesUtilities, UniformColumnsMatchLibraryFunctions) {
    const std::size_t n = 70000;
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double k = static_cast<double>(i);
        switch (i % 5) {
            case 0: x[i] = (k - 35000) / 8; break;                         // exact halves and quarters
            case 1: x[i] = std::sin(k) * 1e6; break;                        // general values
            case 2: x[i] = 4503599627370496.0 - k * 0.25; break;            // just below 2^52
            case 3: x[i] = (k - 35000) * 1e-12; break;                      // tiny, both signs
            default: x[i] = 0.015 * k - 500;                               // near cents
        }
    }
    for (const double method : {1.0, 2.0, 3.0}) {
        for (const double step : {1.0, 0.01, 25.0}) {
            const std::vector<double> got = doublesOf(call("ROUNDING", {col(x), col({step}), col({method})}));
            ASSERT_EQ(n, got.size());
            const double r = std::floor(1 / step + 0.5);
            const bool decimal = step < 1 && std::fabs(1 / step - r) <= 1e-9 / step;
            for (std::size_t i = 0; i < n; ++i) {
                const double q = decimal ? x[i] * r : x[i] / step, a = std::fabs(q);
                double k = a >= 4503599627370496.0 ? a
                           : method == 1       ? std::floor(a + 0.5 + 1e-9)
                           : method == 2       ? std::ceil(a - 1e-9)
                                               : std::floor(a + 1e-9);
                const double expected = k == 0 ? 0.0 : (decimal ? std::copysign(k, q) / r : std::copysign(k, q) * step);
                ASSERT_EQ(expected, got[i]) << "method " << method << " step " << step << " row " << i;
            }
        }
    }
    std::vector<double> positive(n);
    for (std::size_t i = 0; i < n; ++i) positive[i] = i % 7 == 3 ? -x[i] - 1 : std::fabs(x[i]) + 0.5;
    const std::vector<double (*)(double)> reference = {
        // ln and e^x: the library's array routines (checked against an
        // extended-precision reference in their own test), one value at a time.
        [](double v) { return v; },
        [](double v) {
            double r;
            businessFunctions::vmath::log(&v, &r, 1);
            return r;
        },
        [](double v) {
            double r;
            businessFunctions::vmath::exp(&v, &r, 1);
            return r;
        },
        [](double v) { return std::sqrt(v); }, [](double v) { return v * v; }, [](double v) { return 1 / v; }};
    for (std::size_t m = 0; m < reference.size(); ++m) {
        const std::vector<double> got =
            doublesOf(call("TRANSFORM", {col(positive), col(std::vector<double>(n, static_cast<double>(m)))}));
        ASSERT_EQ(n, got.size());
        for (std::size_t i = 0; i < n; ++i) {
            const double expected = reference[m](positive[i]);
            if (std::isfinite(expected))
                ASSERT_EQ(expected, got[i]) << "method " << m << " row " << i;
            else
                ASSERT_TRUE(std::isnan(got[i])) << "method " << m << " row " << i << " should be null";
        }
    }
}

TEST(Rounding, Errors) {
    const std::string value = "ERR_FPK_COMM_INVALID_COL_VALUE";
    expectError(call("ROUNDING", {col({1, 2, 3}), col({0.5, 0, 1}), col({1, 4, 1})}), value,
                "FPK error[73000058]:Value of column PRECISION is invalid. Precision should be greater than 0.");
    expectError(call("ROUNDING", {col({1, 2, 3}), col({0.5, 1, 1}), col({1, 4, 1})}), value,
                "FPK error[73000058]:Value of column METHOD is invalid. Method should be in (1,2,3).");
    expectError(call("ROUNDING", {col({}), col({0}), col({1})}), value,
                "FPK error[73000058]:Value of column PRECISION is invalid. Precision should be greater than 0.");
    for (double bad : {0.9, 4.0}) {
        expectError(call("ROUNDING", {col({1}), col({1}), col({bad})}), value,
                    "FPK error[73000058]:Value of column METHOD is invalid. Method should be in (1,2,3).");
    }
    expectError(call("ROUNDING", {col({1, 2, 3}), col({1, 1}), col({1})}), "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
                "FPK error[73000081]:Sizes of column DATE, PRECISION and METHOD should be equal.");
    expectError(call("ROUNDING", {col({1, 2, 3}), col({}), col({1})}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                "FPK error[73000057]:Size 0 of column PRECISION is invalid. PRECISION should not be empty.");
    expectError(call("ROUNDING", {typed(RhoCommonObjects::VT_DECIMAL, {1}), col({1}), col({1})}),
                "ERR_FPK_COMM_COL_NOT_FIXED_SIZE_TYPE",
                "FPK error[73000055]:Data type of column DATE is not fixed-size type.");
    expectError(call("ROUNDING", {col({1}), typed(RhoCommonObjects::VT_FLOAT, {1}), col({1})}),
                "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE",
                "FPK error[73000050]:Data type of column PRECISION is not supported.");
}

TEST(Cycles, Waves) {
    const double pi = std::numbers::pi;
    expectRows({0, 50, 100 * std::sin(pi / 3), 100, 0, -100, 0},
               call("CYCLES", {col({100}), col({12}), col({0}), icol({1}), col({0, 1, 2, 3, 6, 9, 12})}), 1e-9, "sine");
    expectRows({70, 100 * std::sin(pi / 3), 80, 100 * std::sin(pi / 3), 100 * std::sin(pi / 4) + 20 * std::cos(pi / 4),
                kNull},
               call("CYCLES", {col({100, 20}), col({12, 4}), col({0, 1}), icol({1, 2}), numbers({1, 2, 3, 4, 1.5, 0}, {5})}),
               1e-9, "two waves");
    expectRows({50, 0, -50, 0, 50}, call("CYCLES", {col({50}), col({4}), col({3}), icol({2}), col({3, 4, 5, 6, 7})}),
               1e-9, "cosine");
    expectRows({0, 0, kNull}, call("CYCLES", {col({}), col({}), col({}), icol({}), numbers({1, 2, 0}, {2})}), 0,
               "no waves");
    expectRows({0}, call("CYCLES", {numbers({0}, {0}), col({12}), numbers({0}, {0}), icol({1}), col({3})}), 0,
               "null amplitude");
}

TEST(Cycles, Errors) {
    expectError(call("CYCLES", {col({1, 2}), col({1}), col({1, 2}), icol({1, 1}), col({1})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_4",
                "FPK error[73000082]:Sizes of column AMPLITUDE, LENGTH, START and FUNCTION should be equal.");
    for (double len : {0.0, -1.0, kNull})
        expectError(call("CYCLES", {col({1}), col({len}), col({0}), icol({1}), col({1})}),
                    "ERR_FPK_COMM_INVALID_COL_VALUE",
                    "FPK error[73000058]:Value of column LENGTH is invalid. Length should be greater than 0.");
    expectError(call("CYCLES", {col({1, 1}), col({12, -1}), col({0, 0}), icol({9, 1}), col({1})}),
                "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column FUNCTION is invalid. Function should be in (1,2).");
}

TEST(Days, Counts) {
    expectRows({31, 21, 26, 31},
               call("DAYS", {texts({"20240301", "20240301", "20240301", "20240301"}),
                             texts({"20240401", "20240401", "20240401", "20240401"}), col({0, 5, 6, 7})}),
               0, "March 2024");
    expectRows({366, 0, 0, 5, 52},
               call("DAYS", {texts({"20240101", "20231231", "20240315", "20240315", "20240229"}),
                             texts({"20250101", "20240101", "20240315", "20240322", "20250228"}),
                             col({7, 5, 5, 5.9, 1})}),
               0, "mixed");
    expectRows({262}, call("DAYS", {texts({"20240101"}), texts({"20250101"}), col({5})}), 0, "working year");
    expectRows({9, kNull, 9, kNull},
               call("DAYS", {texts({"20240301", nullptr, "20240301", ""}),
                             texts({"20240310", "20240310", "20240310", "20240310"}), numbers({0, 5, kNull, 0}, {0})}),
               0, "nulls");
    expectRows({1, 2, 3652058, 1},
               call("DAYS", {texts({"19000228", "20000228", "00010101", "20240102x"}),
                             texts({"19000301", "20000301", "99991231", "20240103"}), col({-3, 0, 0, 0})}),
               0, "century rule and extremes");
}

TEST(Days, Errors) {
    struct Case {
        const char* from;
        const char* to;
        std::string name, message;
    };
    const std::string year = "FPK error[73000500]:Year 0 should not be less than 1.";
    const std::string month = "FPK error[73000102]:The month of date is out of range.";
    const std::string day = "FPK error[73000103]:The day of date is out of range.";
    const Case cases[] = {
        {"20230229", "20240101", "ERR_FPK_COMM_DAY_OUT_OF_RANGE", day},
        {"00000101", "20240101", "ERR_FPK_DAYS_INVALID_YEAR", year},
        {"abc", "20240101", "ERR_FPK_DAYS_INVALID_YEAR", year},
        {" 2024031", "20240101", "ERR_FPK_DAYS_INVALID_YEAR", year},
        {"2024-03-01", "20240101", "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", month},
        {"240315", "20240101", "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", month},
        {"20240101", "2024010", "ERR_FPK_COMM_DAY_OUT_OF_RANGE", day},
        {"20240501", "20240401", "ERR_FPK_DAYS_INVALID_FROMTO_DATE",
         "FPK error[73000501]:TODATE should be later than FROMDATE."},
    };
    for (const Case& c : cases)
        expectError(call("DAYS", {texts({"20240101", c.from}), texts({"20240201", c.to}), col({0, 0})}), c.name,
                    c.message);
    expectError(call("DAYS", {texts({"20240101", "20240101"}), texts({"20240201"}), col({0, 0})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
                "FPK error[73000081]:Sizes of column FROMDATE, TODATE and CONFIG should be equal.");
}

TEST(Proportion, SharesOfTheYear) {
    expectRows({0.75, 0.25, 0.25, 0, 0.5},
               call("PROPORTION", {texts({"2024", "2024", "2023", "2025", "2024"}),
                                   texts({"202404", "202310", "202310", "202301", "20240715"}),
                                   texts({"202412", "202403", "202403", "202406", ""})}),
               0, "periods");
    expectRows({2.0 / 12, 1, kNull, 1.0 / 12, 1, 1.0 / 12, 1, kNull, kNull},
               call("PROPORTION", {texts({"2024", "2024", nullptr, "2024", "2024", "2024", "20241231", "FY2024", nullptr}),
                                   texts({nullptr, "", "202401", "202406", "202201", "202407", "", "", "202413"}),
                                   texts({"202402", nullptr, "202412", "202406", "202712", "202407", "", "", "202412"})}),
               0, "open ends and nulls");
}

TEST(Proportion, Errors) {
    const std::string month = "FPK error[73000102]:The month of date is out of range.";
    expectError(call("PROPORTION", {texts({"2024"}), texts({"202405"}), texts({"202404"})}),
                "ERR_FPK_PRPTN_INVALID_FROMTO_MONTH",
                "FPK error[73000503]:Start Month should not be later than Stop Month.");
    for (const char* start : {"202413", "2024", "202400"})
        expectError(call("PROPORTION", {texts({"2024"}), texts({start}), texts({"202412"})}),
                    "ERR_FPK_COMM_MONTH_OUT_OF_RANGE", month);
    // Errors come in row order and leave the result unwritten.
    CallResult r = call("PROPORTION", {texts({"2024", "2024"}), texts({"202401", "202405"}), texts({"202412", "202404"})});
    expectError(r, "ERR_FPK_PRPTN_INVALID_FROMTO_MONTH",
                "FPK error[73000503]:Start Month should not be later than Stop Month.");
    EXPECT_EQ(0u, doublesOf(r).size());
    expectError(call("PROPORTION", {texts({"2024", "2024"}), texts({"202401"}), texts({"202412", "202412"})}),
                "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
                "FPK error[73000081]:Sizes of column YEAR, START and STOP should be equal.");
}
