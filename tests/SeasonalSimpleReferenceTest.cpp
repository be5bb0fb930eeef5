// The classical decomposition against statsmodels: tests/data/
// seasonal_reference.txt (made by scripts/seasonal_reference.py) holds, per
// series, the seasonal indices of statsmodels' seasonal_decompose (centred
// moving average) and the values of numpy's least-squares line through the
// adjusted series with the season put back.
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "functions/fpkSeasonal.h"
#include "testSupport.h"

using namespace fpktest;

namespace {

struct Reference {
    std::string name;
    bool multiplicative = false;
    std::size_t period = 0, horizon = 0;
    std::vector<double> x, index, model;
};

std::vector<double> numbers(std::istringstream& in) {
    std::vector<double> v;
    for (double d; in >> d;) v.push_back(d);
    return v;
}

std::vector<Reference> loadReferences() {
    std::ifstream file(std::string(FPK_SOURCE_DIR) + "/tests/data/seasonal_reference.txt");
    std::vector<Reference> refs;
    for (std::string line; std::getline(file, line);) {
        std::istringstream in(line);
        std::string key;
        in >> key;
        if (key == "case") {
            Reference r;
            std::string model;
            in >> r.name >> model >> r.period >> r.horizon;
            r.multiplicative = model == "multiplicative";
            refs.push_back(r);
        } else if (key == "x") {
            refs.back().x = numbers(in);
        } else if (key == "index") {
            refs.back().index = numbers(in);
        } else if (key == "model") {
            refs.back().model = numbers(in);
        }
    }
    return refs;
}

const std::vector<Reference>& references() {
    static const std::vector<Reference> refs = loadReferences();
    return refs;
}

double tolerance(double v) { return 1e-9 * std::max(1.0, std::fabs(v)); }

}  // namespace

TEST(SeasonalReference, FileIsComplete) {
    ASSERT_EQ(references().size(), 14u);
    for (const Reference& r : references()) {
        EXPECT_EQ(r.index.size(), r.period) << r.name;
        EXPECT_EQ(r.model.size(), r.x.size() + r.horizon) << r.name;
    }
}

// The indices of the decomposition core equal statsmodels' seasonal component.
TEST(SeasonalReference, IndicesMatchStatsmodels) {
    using namespace businessFunctions;
    for (const Reference& r : references()) {
        SCOPED_TRACE(r.name);
        const std::size_t n = r.x.size(), P = r.period, H = r.horizon;
        std::vector<double> I(P), T(n + H), M(n + H), scratch(seasonal::decomposeScratchSize(n, P));
        const int index = r.multiplicative ? seasonal::INDEX_MULT_MEAN : seasonal::INDEX_ADD_MEAN;
        ASSERT_EQ(seasonal::seasonalDecompose(r.x.data(), n, P, H, seasonal::BASE_MOVING_AVERAGE, index,
                                              seasonal::PROJ_LINEAR, I.data(), T.data(), M.data(), scratch.data()),
                  seasonal::CoreStatus::OK);
        for (std::size_t j = 0; j < P; ++j) EXPECT_NEAR(I[j], r.index[j], tolerance(r.index[j])) << "position " << j + 1;
    }
}

// SEASONALSIMPLE with ACTFLAG 0 returns the fitted history and the forecast.
TEST(SeasonalReference, SeasonalSimpleMatchesStatsmodelsAndNumpy) {
    for (const Reference& r : references()) {
        SCOPED_TRACE(r.name);
        const double m3 = r.multiplicative ? 1 : 3;
        auto res = call("SEASONALSIMPLE", {col({1, 1, m3, 1, 1, 1}), col({0}), col(r.x),
                                           col({static_cast<double>(r.period)}), col({static_cast<double>(r.horizon)})});
        ASSERT_FALSE(res.error) << res.error->message;
        const std::vector<double> got = doublesOf(res);
        ASSERT_EQ(got.size(), r.model.size());
        for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], r.model[i], tolerance(r.model[i])) << "row " << i;
    }
}

// SEASONALCOMPLEX with constant working days and no cycle is the same model.
TEST(SeasonalReference, SeasonalComplexWithConstantWorkingDaysMatches) {
    for (const Reference& r : references()) {
        SCOPED_TRACE(r.name);
        const double m3 = r.multiplicative ? 1 : 3;
        const std::vector<double> days(r.model.size(), 21);
        auto res = call("SEASONALCOMPLEX",
                        {col(r.x), col(days), col({}), col({}), col({}),
                         col({static_cast<double>(r.period), static_cast<double>(r.horizon), 1, m3, 1, 1, 1})});
        ASSERT_FALSE(res.error) << res.error->message;
        const std::vector<double> got = doublesOf(res, 2);
        ASSERT_EQ(got.size(), r.model.size());
        for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], r.model[i], tolerance(r.model[i])) << "row " << i;
    }
}
