// SLDEPRECIATION, SOYDEPRECIATION, DBDEPRECIATION and ANNUALDEPRECIATION.
// Charges are checked against tests/data/depreciation_reference.csv, the
// spreadsheet functions SLN, SYD, DDB and DB as LibreOffice Calc computes them
// (scripts/depreciation_reference.py), and against the worked examples.
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "testSupport.h"

using namespace fpktest;

namespace {

void expectSchedule(const CallResult& r, const std::vector<double>& index, const std::vector<double>& dep) {
    ASSERT_FALSE(r.error) << r.error->message;
    EXPECT_EQ(doublesOf(r, 0), index);
    expectNearAll(doublesOf(r, 1), dep, 1e-9, true);
}

CallResult sl(const std::vector<double>& asset, const std::vector<double>& life, double indicator,
              const char* fn = "SLDEPRECIATION") {
    return call(fn, {col(asset), col(life), col({indicator})});
}

CallResult db(const std::vector<double>& asset, const std::vector<double>& rate, double indicator,
              const std::vector<double>& assetType, const std::vector<double>& periods) {
    return call("DBDEPRECIATION", {col(asset), col(rate), col({indicator}), col(assetType), col(periods)});
}

CallResult annual(const std::vector<int32_t>& method, const std::vector<double>& asset,
                  const std::vector<double>& rate, double indicator, const std::vector<double>& assetType,
                  const std::vector<double>& periods) {
    return call("ANNUALDEPRECIATION",
                {icol(method), col(asset), col(rate), col({indicator}), col(assetType), col(periods)});
}

std::vector<double> periodNumbers(std::initializer_list<int> lives) {
    std::vector<double> v;
    for (int l : lives)
        for (int k = 1; k <= l; ++k) v.push_back(k);
    return v;
}

// One asset of the reference data: its charges in period order.
struct RefAsset {
    std::string method;
    double asset = 0, param = 0;
    int life = 0;
    std::vector<double> charges;
};

std::vector<RefAsset> referenceAssets() {
    std::ifstream in(std::string(FPK_SOURCE_DIR) + "/tests/data/depreciation_reference.csv");
    EXPECT_TRUE(in.good()) << "reference data missing";
    std::vector<RefAsset> assets;
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::stringstream s(line);
        std::string method, asset, life, period, param, charge;
        std::getline(s, method, ',');
        std::getline(s, asset, ',');
        std::getline(s, life, ',');
        std::getline(s, period, ',');
        std::getline(s, param, ',');
        std::getline(s, charge, ',');
        if (std::stoi(period) == 1) assets.push_back({method, std::stod(asset), std::stod(param), std::stoi(life), {}});
        assets.back().charges.push_back(std::stod(charge));
    }
    return assets;
}

}  // namespace

TEST(DepreciationReference, MatchesSpreadsheetFunctions) {
    const std::vector<RefAsset> ref = referenceAssets();
    ASSERT_GT(ref.size(), 30u);
    std::map<std::string, int> seen;
    for (const RefAsset& a : ref) {
        SCOPED_TRACE(a.method + " " + std::to_string(a.asset) + " life " + std::to_string(a.life));
        ++seen[a.method];
        const double life = a.life;
        CallResult r, viaAnnual;
        if (a.method == "SL") {
            r = sl({a.asset}, {life}, 0);
            viaAnnual = annual({1}, {a.asset}, {-1}, 0, {9}, {life});
        } else if (a.method == "SOY") {
            r = sl({a.asset}, {life}, 0, "SOYDEPRECIATION");
            viaAnnual = annual({2}, {a.asset}, {-1}, 0, {9}, {life});
        } else {
            const double type = a.method == "DB_FACTOR" ? 1 : 0;
            r = db({a.asset}, {a.param}, 0, {type}, {life});
            viaAnnual = annual({3}, {a.asset}, {a.param}, 0, {type}, {life});
        }
        ASSERT_FALSE(r.error) << r.error->message;
        ASSERT_FALSE(viaAnnual.error) << viaAnnual.error->message;
        // The spreadsheet's values carry 15 significant digits.
        expectNearAll(doublesOf(r, 1), a.charges, 1e-12, true);
        EXPECT_EQ(doublesOf(viaAnnual, 1), doublesOf(r, 1));
        EXPECT_EQ(doublesOf(r, 0), periodNumbers({a.life}));
    }
    EXPECT_EQ(seen.size(), 5u);
}

// The two-asset registers of every method, in charges and in book values,
// run whole through examples/*depreciation*.json.

TEST(DepreciationStraightLine, WorkedExamples) {
    // The last period takes the remaining book value, so the book ends at exactly 0.
    CallResult r = sl({1000}, {3}, 0);
    ASSERT_FALSE(r.error);
    const std::vector<double> c = doublesOf(r, 1);
    EXPECT_EQ(c[0], 1000.0 / 3);
    EXPECT_EQ(c[2], 1000.0 - 1000.0 / 3 - 1000.0 / 3);
    r = sl({1000}, {3}, 1);
    EXPECT_EQ(doublesOf(r, 1).back(), 0.0);
    expectSchedule(sl({-1200}, {3}, 0), periodNumbers({3}), {-400, -400, -400});
    expectSchedule(sl({77}, {1}, 0), {1}, {77});
    // Only row 0 of INDICATOR is read; a null ASSET is an asset of 0.
    expectSchedule(call("SLDEPRECIATION", {withNulls({1000, 5}, {1}), col({2, 2}), col({1, 0, 0, 0, 0})}),
                   periodNumbers({2, 2}), {500, 0, 0, 0});
}

TEST(DepreciationSumOfYears, WorkedExamples) {
    expectSchedule(sl({1500}, {5}, 0, "SOYDEPRECIATION"), periodNumbers({5}), {500, 400, 300, 200, 100});
    expectSchedule(sl({900}, {2}, 0, "SOYDEPRECIATION"), periodNumbers({2}), {600, 300});
    // Every block's book value ends at exactly 0.
    CallResult r = sl({98765.4321, 1, 1e7}, {12, 1, 40}, 1, "SOYDEPRECIATION");
    ASSERT_FALSE(r.error);
    const std::vector<double> book = doublesOf(r, 1);
    EXPECT_EQ(book[11], 0.0);
    EXPECT_EQ(book[12], 0.0);
    EXPECT_EQ(book.back(), 0.0);
}

TEST(DepreciationDecliningBalance, WorkedExamples) {
    expectSchedule(db({1000}, {200}, 0, {1}, {1}), {1}, {1000});  // q = 2 taken as 1
    expectSchedule(db({-800}, {150}, 0, {1}, {4}), periodNumbers({4}), {-300, -187.5, -117.1875, -73.2421875});
    expectSchedule(db({500}, {0}, 1, {0}, {3}), periodNumbers({3}), {500, 500, 500});
    expectSchedule(db({500}, {100}, 0, {0}, {3}), periodNumbers({3}), {500, 0, 0});
    // Null RATE is 0 %, null ASSETTYPE is FIXED_RATE.
    expectSchedule(call("DBDEPRECIATION", {col({100, 100}), withNulls({5, 10}, {0}), col({0}),
                                           withNulls({1, 1}, {1}), col({2, 2})}),
                   periodNumbers({2, 2}), {0, 0, 10, 9});
}

TEST(DepreciationErrors, ValuesAndSizes) {
    const std::string v = "FPK error[73000058]:Value of column ";
    const char* INVALID = "ERR_FPK_COMM_INVALID_COL_VALUE";
    struct Case {
        const char* what;
        std::function<CallResult()> call;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"life 2.5", [] { return sl({1, 2}, {3, 2.5}, 0); }, v + "LIFE is invalid. Life should be a whole number greater than 0."},
        {"life 0", [] { return sl({1}, {0}, 0, "SOYDEPRECIATION"); }, v + "LIFE is invalid. Life should be a whole number greater than 0."},
        {"life inf", [] { return sl({1}, {INFINITY}, 0); }, v + "LIFE is invalid. Life should be a whole number greater than 0."},
        {"life null", [] { return call("SLDEPRECIATION", {col({1}), withNulls({4}, {0}), col({0})}); },
         v + "LIFE is invalid. Life should be a whole number greater than 0."},
        {"life long", [] { return sl({1}, {3, 3}, 0); }, v + "LIFE is invalid. Size should be equal to size of ASSET."},
        {"indicator 2", [] { return sl({1}, {3}, 2); }, v + "INDICATOR is invalid. Indicator should be in (0,1)."},
        {"indicator empty", [] { return call("SLDEPRECIATION", {col({1}), col({3}), col({})}); },
         v + "INDICATOR is invalid. Column should have at least 1 row."},
        {"no assets, indicator 7", [] { return sl({}, {}, 7); }, v + "INDICATOR is invalid. Indicator should be in (0,1)."},
        {"rate -1", [] { return db({1}, {-1}, 0, {5}, {3}); }, v + "RATE is invalid. Rate should not be negative."},
        {"assettype 0.5", [] { return db({1}, {1}, 0, {0.5}, {3}); }, v + "ASSETTYPE is invalid. Assettype should be in (0,1)."},
        {"periods 0", [] { return db({1}, {1}, 0, {0}, {0}); }, v + "PERIODS is invalid. Periods should be a whole number greater than 0."},
        {"db sizes: rate first", [] { return db({1, 2}, {1}, 0, {0}, {3}); }, v + "RATE is invalid. Size should be equal to size of ASSET."},
        {"db sizes: assettype", [] { return db({1}, {1}, 0, {0, 0}, {3, 3}); }, v + "ASSETTYPE is invalid. Size should be equal to size of ASSET."},
        {"method 4", [] { return annual({1, 4}, {1, 1}, {0, 0}, 0, {0, 0}, {1, 1}); }, v + "METHOD is invalid. Method should be in (1,2,3)."},
        {"method 0", [] { return annual({0}, {1}, {0}, 0, {0}, {1}); }, v + "METHOD is invalid. Method should be in (1,2,3)."},
        {"method 3 rate -5", [] { return annual({3}, {1}, {-5}, 0, {0}, {1}); }, v + "RATE is invalid. Rate should not be negative."},
        {"annual sizes: method", [] { return annual({1}, {1, 2}, {0, 0}, 0, {0, 0}, {1, 1}); }, v + "METHOD is invalid. Size should be equal to size of ASSET."},
        {"annual sizes: periods", [] { return annual({1}, {1}, {0}, 0, {0}, {}); }, v + "PERIODS is invalid. Size should be equal to size of ASSET."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectError(c.call(), INVALID, c.message);
    }
    // A null METHOD is 0.
    ColumnPtr method = Column::make("IN", RhoCommonObjects::VT_INTEGER);
    const int32_t one = 1;
    const uint8_t isNull = 1;
    method->setNative(0, 1, &one, &isNull);
    CallResult r = call("ANNUALDEPRECIATION", {ColumnHandle(method), col({1}), col({0}), col({0}), col({0}), col({1})});
    expectError(r, INVALID, v + "METHOD is invalid. Method should be in (1,2,3).");
    // An empty register gives no rows.
    r = sl({}, {}, 1);
    ASSERT_FALSE(r.error);
    EXPECT_TRUE(doublesOf(r, 0).empty());
}

TEST(DepreciationErrors, NothingWrittenOnFailure) {
    const qelhost::FunctionInfo* info = plugin().find("SLDEPRECIATION");
    TablePtr t = plugin().makeResultTable(*info);
    t->column(1)->setNative(0, 2, std::vector<double>{7, 8}.data(), nullptr);
    // The fourth asset's life is bad: the first three blocks are not written either.
    CallResult r = plugin().call(*info, {col({1, 2, 3, 4}), col({1, 2, 3, 0}), col({0})}, TableHandle(t));
    expectError(r, "ERR_FPK_COMM_INVALID_COL_VALUE",
                "FPK error[73000058]:Value of column LIFE is invalid. Life should be a whole number greater than 0.");
    EXPECT_EQ(doublesOf(r, 1), (std::vector<double>{7, 8}));

    t = plugin().makeResultTable(*info);
    t->column(1)->setReadOnly(true);
    r = plugin().call(*info, {col({1}), col({1, 2}), col({0})}, TableHandle(t));
    expectError(r, "ERR_FPK_COMM_COL_READ_ONLY", "FPK error[73000054]:Column DEP_VALUE is read only.");

    r = call("ANNUALDEPRECIATION", {col({1}), col({1}), col({0}), col({0}), col({0}), col({1})});
    expectError(r, "ERR_FPK_COMM_UNSUPPORTED_COL_TYPE", "FPK error[73000050]:Data type of column METHOD is not supported.");

    // Lives that add up beyond 2^31 - 1 rows.
    r = sl({1, 1}, {2147483647, 1}, 0);
    expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
}
