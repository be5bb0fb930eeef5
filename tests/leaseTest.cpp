// LEASE and LEASEVARIABLE. Payments and settlement amounts are checked with
// the closed forms of the spreadsheet's PMT and PV, small schedules worked by
// hand (shown to six decimals) and the balance identities.
#include <cmath>
#include <functional>

#include "testSupport.h"

using namespace fpktest;

namespace {

// Result columns of LEASE (LEASEVARIABLE adds ACCRUED after INTEREST).
enum { OPENING, ADJUSTED, INTEREST, PAYMENT, REDEMPTION, CAPITAL, RESIDUALPAIDOFF, CLOSING, PERIODSREMAINING, CALCRESIDUAL };

double pmt(double r, int n, double pv, double fv, int when) {
    if (r == 0) return -(pv + fv) / n;
    const double g = std::pow(1 + r, n);
    return -(pv * g + fv) * r / ((g - 1) * (1 + r * when));
}

double pv(double r, int n, double payment, double fv, int when) {
    const double g = std::pow(1 + r, n);
    return -(payment * (1 + r * when) * (g - 1) / r + fv) / g;
}

struct LeaseInputs {
    std::vector<double> advance, residual, periods;
    double whenToPay = 0;
    std::vector<double> rate{0};
    double redemption = 0;
    double compound = 0;
    double recalculate = 0;
};

CallResult lease(const LeaseInputs& in) {
    return call("LEASE", {col(in.advance), col(in.residual), col(in.periods), col({in.whenToPay}), col(in.rate),
                          col({in.redemption})});
}

CallResult leaseVariable(const LeaseInputs& in) {
    return call("LEASEVARIABLE", {col(in.advance), col(in.residual), col(in.periods), col({in.whenToPay}),
                                  col(in.rate), col({in.redemption}), col({in.compound}), col({in.recalculate})});
}

// All result columns, row by row.
std::vector<std::vector<double>> rowsOf(const CallResult& r) {
    std::vector<std::vector<double>> cols;
    for (std::size_t c = 0; c < r.table->getColumnCount(); ++c) cols.push_back(doublesOf(r, c));
    std::vector<std::vector<double>> rows(cols.empty() ? 0 : cols[0].size());
    for (std::size_t i = 0; i < rows.size(); ++i)
        for (const auto& c : cols) rows[i].push_back(c[i]);
    return rows;
}

// Compares with a table shown to six decimals.
void expectTable(const CallResult& r, const std::vector<std::vector<double>>& expected) {
    ASSERT_FALSE(r.error) << r.error->message;
    const auto rows = rowsOf(r);
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].size(), expected[i].size());
        for (std::size_t c = 0; c < rows[i].size(); ++c)
            EXPECT_NEAR(rows[i][c], expected[i][c], 6e-7) << "row " << i << " column " << c;
    }
}

// OPENING - CAPITAL - RESIDUALPAIDOFF = CLOSING on every row, CLOSING 0 at the end.
void expectBalanced(const CallResult& r, std::size_t shift = 0) {
    const auto rows = rowsOf(r);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& x = rows[i];
        EXPECT_NEAR(x[OPENING] - x[CAPITAL + shift] - x[RESIDUALPAIDOFF + shift], x[CLOSING + shift],
                    1e-9 * std::max(1.0, std::fabs(x[OPENING])))
            << "row " << i;
        if (x[PERIODSREMAINING + shift] == 1) {
            EXPECT_EQ(x[CLOSING + shift], 0.0) << "row " << i;
        }
    }
}

LeaseInputs twoLeases() {
    LeaseInputs in;
    in.advance = {10000, 3000};
    in.residual = {2000, 0};
    in.periods = {4, 2};
    in.rate = {1};
    in.redemption = 0.5;
    return in;
}

}  // namespace

// The schedules of the worked examples are compared whole by
// examples/lease*.json and examples/leasevariable*.json; here the closed
// forms and the balance identities.

TEST(LeaseFixed, TwoLeasesInArrears) {
    CallResult r = lease(twoLeases());
    ASSERT_FALSE(r.error) << r.error->message;
    expectBalanced(r);
    const auto rows = rowsOf(r);
    const double p = pmt(0.01, 4, -10000, 2000, 0);
    EXPECT_NEAR(rows[0][PAYMENT], p, 1e-9);
    EXPECT_NEAR(rows[4][PAYMENT], pmt(0.01, 2, -3000, 0, 0), 1e-9);
    for (int k = 1; k < 4; ++k)
        EXPECT_NEAR(rows[k - 1][REDEMPTION], pv(0.005, 4 - k, -p, -rows[0][CALCRESIDUAL], 0), 1e-8) << k;
}

TEST(LeaseFixed, InAdvanceMatchesArrearsBalances) {
    LeaseInputs in = twoLeases();
    in.advance = {10000};
    in.residual = {2000};
    in.periods = {4};
    in.whenToPay = 1;
    in.redemption = 1;
    CallResult r = lease(in);
    ASSERT_FALSE(r.error) << r.error->message;
    // The closing balances are those of the same lease in arrears.
    LeaseInputs arrears = in;
    arrears.whenToPay = 0;
    const auto inArrears = rowsOf(lease(arrears));
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(rowsOf(r)[i][CLOSING], inArrears[i][CLOSING], 1e-9);
    expectBalanced(r);
    const auto rows = rowsOf(r);
    EXPECT_NEAR(rows[0][PAYMENT], pmt(0.01, 4, -10000, 2000, 1), 1e-9);
    // Redemption at the lease rate settles exactly the balance.
    for (const auto& x : rows) EXPECT_NEAR(x[REDEMPTION], x[CLOSING], 1e-8);
}

TEST(LeaseFixed, SmallCases) {
    LeaseInputs in;
    in.advance = {1200};
    in.residual = {0};
    in.periods = {3};
    expectTable(lease(in), {{1200, 1200, 0, 400, 800, 400, 0, 800, 3, 0},
                            {800, 800, 0, 400, 400, 400, 0, 400, 2, 0},
                            {400, 400, 0, 400, 0, 400, 0, 0, 1, 0}});
    in.advance = {1000};
    in.periods = {1};
    in.rate = {10};
    expectTable(lease(in), {{1000, 1000, 100, 1100, 0, 1000, 0, 0, 1, 0}});
    in.whenToPay = 1;
    expectTable(lease(in), {{1000, 0, 0, 1000, 0, 1000, 0, 0, 1, 0}});
    // A residual above the grown advance: the lender pays.
    in.whenToPay = 0;
    in.residual = {1500};
    in.periods = {2};
    CallResult r = lease(in);
    ASSERT_FALSE(r.error);
    const auto rows = rowsOf(r);
    EXPECT_NEAR(rows[0][PAYMENT], pmt(0.1, 2, -1000, 1500, 0), 1e-9);
    EXPECT_NEAR(rows[0][PAYMENT], -138.095238, 6e-7);
    EXPECT_NEAR(rows[0][CLOSING], 1238.095238, 6e-7);
    EXPECT_NEAR(rows[1][RESIDUALPAIDOFF], 1500, 1e-9);
    // A negative rate above -100 % is allowed; PMT's closed form holds.
    in.rate = {-5};
    in.residual = {0};
    in.periods = {6};
    r = lease(in);
    ASSERT_FALSE(r.error);
    EXPECT_NEAR(rowsOf(r)[0][PAYMENT], pmt(-0.05, 6, -1000, 0, 0), 1e-9);
    expectBalanced(r);
    // A null ADVANCE with RESIDUAL 0 gives a block of zeros.
    r = call("LEASE", {withNulls({5}, {0}), col({0}), col({2}), col({0}), col({3}), col({0})});
    ASSERT_FALSE(r.error);
    for (const auto& x : rowsOf(r))
        for (std::size_t c = 0; c < x.size(); ++c)
            if (c != PERIODSREMAINING) {
                EXPECT_EQ(x[c], 0.0);
            }
}

TEST(LeaseVariable, RateRiseWithPaymentKept) {
    LeaseInputs in;
    in.advance = {10000};
    in.residual = {0};
    in.periods = {4};
    in.rate = {1, 1, 2};
    in.redemption = 1;
    CallResult r = leaseVariable(in);
    ASSERT_FALSE(r.error) << r.error->message;
    expectBalanced(r, 1);
    const auto rows = rowsOf(r);
    EXPECT_NEAR(rows[0][PAYMENT + 1], pmt(0.01, 4, -10000, 0, 0), 1e-9);

    in.recalculate = 1;
    r = leaseVariable(in);
    ASSERT_FALSE(r.error) << r.error->message;
    const auto recalculated = rowsOf(r);
    // Periods 1 and 2 are unchanged but for the settlement amounts; from
    // period 3 the payment repays the balance at 2 %, and the lease ends at
    // its residual of 0.
    for (std::size_t c = 0; c < 9; ++c) {
        if (c != REDEMPTION + 1) {
            EXPECT_EQ(recalculated[1][c], rows[1][c]) << c;
        }
    }
    EXPECT_NEAR(recalculated[3][CALCRESIDUAL + 1], 0, 1e-9);
    expectBalanced(r, 1);
    EXPECT_NEAR(rowsOf(r)[2][PAYMENT + 1], pmt(0.02, 2, -rowsOf(r)[2][OPENING], 0, 0), 1e-9);
}

TEST(LeaseVariable, InterestAddedEverySecondPeriod) {
    LeaseInputs in;
    in.advance = {10000};
    in.residual = {0};
    in.periods = {4};
    in.rate = {1};
    in.redemption = 1;
    in.compound = 2;
    CallResult r = leaseVariable(in);
    ASSERT_FALSE(r.error) << r.error->message;
    expectBalanced(r, 1);
    // A compounding interval beyond the term adds interest in the last period only.
    in.compound = 9;
    in.periods = {3};
    r = leaseVariable(in);
    ASSERT_FALSE(r.error);
    const auto rows = rowsOf(r);
    // Interest 0.01 * (B0 + (B0 - P) + (B0 - 2P)) is added at the end, and
    // B0 - 3P + that interest = 0 gives P = 1.03 B0 / 3.03.
    const double p = 10000 * 1.03 / 3.03;
    EXPECT_NEAR(rows[0][PAYMENT + 1], p, 1e-9);
    EXPECT_NEAR(rows[0][3], 100, 1e-9);  // ACCRUED
    EXPECT_NEAR(rows[1][3], 100 + 0.01 * (10000 - p), 1e-9);
    EXPECT_EQ(rows[2][3], 0.0);
    expectBalanced(r, 1);
}

TEST(LeaseVariable, ReducesToLease) {
    // One rate row, COMPOUND 0 or 1, RECALCULATE either way: the rows of LEASE with ACCRUED 0.
    LeaseInputs in = twoLeases();
    const auto fixed = rowsOf(lease(in));
    for (double compound : {0.0, 1.0})
        for (double recalculate : {0.0, 1.0}) {
            in.compound = compound;
            in.recalculate = recalculate;
            auto var = rowsOf(leaseVariable(in));
            ASSERT_EQ(var.size(), fixed.size());
            for (std::size_t i = 0; i < var.size(); ++i) {
                EXPECT_EQ(var[i][3], 0.0);
                var[i].erase(var[i].begin() + 3);
                EXPECT_EQ(var[i], fixed[i]) << "row " << i;
            }
        }
    // Both leases start at RATE row 0: the two-period lease never reaches row 2.
    in.rate = {1, 1, 50};
    in.compound = 0;
    in.recalculate = 0;
    const auto var = rowsOf(leaseVariable(in));
    for (std::size_t i = 4; i < 6; ++i) {
        std::vector<double> v = var[i];
        v.erase(v.begin() + 3);
        EXPECT_EQ(v, fixed[i]);
    }
}

TEST(LeaseErrors, FirstFailureIsReported) {
    const std::string v = "FPK error[73000058]:Value of column ";
    const char* INVALID = "ERR_FPK_COMM_INVALID_COL_VALUE";
    struct Case {
        const char* what;
        std::function<void(LeaseInputs&)> change;
        const char* name;
        std::string message;
        bool variableOnly = false;
    };
    const std::vector<Case> cases = {
        {"sizes", [](LeaseInputs& c) { c.advance.push_back(1); }, "ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3",
         "FPK error[73000081]:Sizes of column ADVANCE, RESIDUAL and PERIODS should be equal."},
        {"whentopay 2", [](LeaseInputs& c) { c.whenToPay = 2; }, "ERR_FPK_LEASE_INVALID_METHOD",
         "FPK error[73000530]:Method should be in (0,1)."},
        {"whentopay NaN", [](LeaseInputs& c) { c.whenToPay = std::nan(""); }, "ERR_FPK_LEASE_INVALID_METHOD",
         "FPK error[73000530]:Method should be in (0,1)."},
        {"rate -100", [](LeaseInputs& c) { c.rate = {-100}; }, INVALID,
         v + "RATE is invalid. Rate should be greater than -100."},
        {"rate empty", [](LeaseInputs& c) { c.rate.clear(); }, INVALID,
         v + "RATE is invalid. Column should have at least 1 row."},
        {"redemption NaN", [](LeaseInputs& c) { c.redemption = std::nan(""); }, INVALID,
         v + "REDEMPTIONREATE is invalid. Redemption rate should be greater than -100."},
        {"periods 2.5", [](LeaseInputs& c) { c.periods[1] = 2.5; }, INVALID,
         v + "PERIODS is invalid. Periods should be a whole number greater than 0."},
        {"periods 0", [](LeaseInputs& c) { c.periods[0] = 0; }, INVALID,
         v + "PERIODS is invalid. Periods should be a whole number greater than 0."},
        {"no leases, bad whentopay",
         [](LeaseInputs& c) { c.advance.clear(); c.residual.clear(); c.periods.clear(); c.whenToPay = 0.5; },
         "ERR_FPK_LEASE_INVALID_METHOD", "FPK error[73000530]:Method should be in (0,1)."},
        {"unused rate row checked", [](LeaseInputs& c) { c.rate = {1, 1, 1, 1, 1, -100}; }, INVALID,
         v + "RATE is invalid. Rate should be greater than -100.", true},
        {"compound 1.5", [](LeaseInputs& c) { c.compound = 1.5; }, INVALID,
         v + "COMPOUND is invalid. Compound should be a whole number not less than 0.", true},
        {"compound -1", [](LeaseInputs& c) { c.compound = -1; }, INVALID,
         v + "COMPOUND is invalid. Compound should be a whole number not less than 0.", true},
        {"recalculate 2", [](LeaseInputs& c) { c.recalculate = 2; }, INVALID,
         v + "RECALCULATE is invalid. Recalculate should be in (0,1).", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LeaseInputs in = twoLeases();
        c.change(in);
        if (!c.variableOnly) expectError(lease(in), c.name, c.message);
        expectError(leaseVariable(in), c.name, c.message);
    }
    // LEASE reads only RATE row 0.
    LeaseInputs in = twoLeases();
    in.rate = {1, -100};
    EXPECT_FALSE(lease(in).error);
    // Empty control columns.
    expectError(call("LEASE", {col({1}), col({0}), col({1}), col({}), col({1}), col({0})}), INVALID,
                v + "WHENTOPAY is invalid. Column should have at least 1 row.");
    expectError(call("LEASEVARIABLE", {col({1}), col({0}), col({1}), col({0}), col({1}), col({0}), col({0}), col({})}),
                INVALID, v + "RECALCULATE is invalid. Column should have at least 1 row.");
    // A failed PERIODS on the second lease leaves the result unwritten.
    const qelhost::FunctionInfo* info = plugin().find("LEASE");
    TablePtr t = plugin().makeResultTable(*info);
    CallResult r = plugin().call(*info, {col({1, 2}), col({0, 0}), col({3, 0}), col({0}), col({1}), col({0})},
                                 TableHandle(t));
    ASSERT_TRUE(r.error);
    EXPECT_TRUE(doublesOf(r, 0).empty());
}
