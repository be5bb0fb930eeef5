// MOVINGMEDIAN: clipped windows, exclusions and NaN, checked against the
// worked examples and a per-row sort.
#include <algorithm>
#include <cmath>
#include <random>

#include "common/fpkAllocator.h"
#include "functions/fpkMovingMedian.h"
#include "testSupport.h"

using namespace fpktest;

namespace {
const double N = std::nan("");
const std::vector<double> kValues = {5, 1, 9, 3, 7, 100, 4, 6};

// The median by definition: sort each row's usable window values.
std::vector<double> bruteForce(const std::vector<double>& v, const std::vector<double>& exclude, long length,
                               long offset) {
    const long n = static_cast<long>(v.size());
    std::vector<double> out(v.size());
    for (long r = 0; r < n; ++r) {
        std::vector<double> w;
        for (long j = r + offset - length + 1; j <= r + offset; ++j)
            if (j >= 0 && j < n && exclude[j] == 0 && !std::isnan(v[j])) w.push_back(v[j]);
        std::sort(w.begin(), w.end());
        const std::size_t m = w.size();
        out[r] = m == 0 ? N : (m % 2 ? w[m / 2] : (w[m / 2 - 1] + w[m / 2]) * 0.5);
    }
    return out;
}

void expectSame(const std::vector<double>& actual, const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (std::isnan(expected[i]))
            EXPECT_TRUE(std::isnan(actual[i])) << "row " << i << " should be null";
        else
            EXPECT_EQ(actual[i], expected[i]) << "row " << i;
    }
}

CallResult median(const std::vector<double>& v, double length, double offset, const std::vector<double>& exclude) {
    return call("MOVINGMEDIAN", {col(v), col({length}), col({offset}), col(exclude)});
}
}  // namespace

TEST(MovingMedian, WorkedExamples) {
    const std::vector<double> zeros(8, 0.0);
    struct Case {
        const char* what;
        double length, offset;
        std::vector<double> exclude, expected;
    } cases[] = {
        {"centred", 3, 1, zeros, {3, 5, 3, 7, 7, 7, 6, 5}},
        {"centred without the outlier", 3, 1, {0, 0, 0, 0, 0, 1, 0, 0}, {3, 5, 3, 7, 5, 5.5, 5, 5}},
        {"trailing", 4, 0, zeros, {5, 3, 5, 4, 5, 8, 5.5, 6.5}},
        {"trailing, longer EXCLUDE", 4, 0, {0, 0, 0, 0, 0, 1, 0, 0, 1, 1}, {5, 3, 5, 4, 5, 7, 4, 6}},
        {"the two rows before", 2, -1, zeros, {N, 5, 3, 5, 6, 5, 53.5, 52}},
        {"window past the end", 3, 10, zeros, {N, N, N, N, N, N, N, N}},
        {"window wider than the series", 100, 50, zeros, {5.5, 5.5, 5.5, 5.5, 5.5, 5.5, 5.5, 5.5}},
        {"every row excluded", 3, 1, std::vector<double>(8, 1.0), {N, N, N, N, N, N, N, N}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CallResult r = median(kValues, c.length, c.offset, c.exclude);
        ASSERT_FALSE(r.error) << r.error->message;
        expectSame(doublesOf(r), c.expected);
    }
}

TEST(MovingMedian, NullCountsAsZeroAndNaNIsSkipped) {
    CallResult r = call("MOVINGMEDIAN", {withNulls({2, 9, N, 8}, {1}), col({3}), col({1}), col({0, 0, 0, 0})});
    ASSERT_FALSE(r.error) << r.error->message;
    expectSame(doublesOf(r), {1, 1, 4, 8});
}

TEST(MovingMedian, Errors) {
    const std::vector<double> zeros(8, 0.0);
    const std::string value = "ERR_FPK_COMM_INVALID_COL_VALUE";
    const char* lengthMsg =
        "FPK error[73000058]:Value of column LENGTH is invalid. Length should be a whole number greater than 0.";
    expectError(median(kValues, 0, 0, zeros), value, lengthMsg);
    expectError(median(kValues, 2.5, 0, zeros), value, lengthMsg);
    expectError(median(kValues, 3, 0.5, zeros), value,
                "FPK error[73000058]:Value of column OFFSET is invalid. Offset should be a whole number.");
    expectError(median(kValues, 3, 0, std::vector<double>(7, 0.0)), "ERR_FPK_MVMD_COL_SIZE_LESS",
                "FPK error[73000509]:Size of column EXCLUDE should not be less than size of column VALUE.");
    std::vector<double> bad = zeros;
    bad[4] = 2;
    expectError(median(kValues, 3, 0, bad), value,
                "FPK error[73000058]:Value of column EXCLUDE is invalid. Exclude should be in (0,1).");
    expectError(call("MOVINGMEDIAN", {col(kValues), col({}), col({0}), col(zeros)}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                "FPK error[73000057]:Size 0 of column LENGTH is invalid. LENGTH should not be empty.");
    expectError(call("MOVINGMEDIAN", {col(kValues), col({3}), col({}), col(zeros)}), "ERR_FPK_COMM_INVALID_COL_SIZE",
                "FPK error[73000057]:Size 0 of column OFFSET is invalid. OFFSET should not be empty.");
    // An empty series still has its controls checked.
    expectError(median({}, -1, 0, {}), value, lengthMsg);
    CallResult empty = median({}, 3, 0, {});
    ASSERT_FALSE(empty.error) << empty.error->message;
    EXPECT_TRUE(doublesOf(empty).empty());
}

// Random series with many ties, NaNs and exclusions, random lengths and
// offsets of either sign, against the per-row sort.
TEST(MovingMedian, AgreesWithPerRowSort) {
    std::mt19937 gen(2024);
    RhoUtils::Allocator& alloc = businessFunctions::getGlobalFPKAllocator();
    for (int trial = 0; trial < 400; ++trial) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 160)(gen);
        const long length = std::uniform_int_distribution<long>(1, trial % 4 == 0 ? 200 : 25)(gen);
        const long offset = std::uniform_int_distribution<long>(-30, length + 30)(gen);
        const int distinct = trial % 3 == 0 ? 3 : 1000;
        std::vector<double> v(n), exclude(n);
        std::vector<unsigned char> usable(n);
        for (std::size_t j = 0; j < n; ++j) {
            v[j] = std::uniform_int_distribution<int>(-distinct, distinct)(gen) * 0.25;
            if (gen() % 23 == 0) v[j] = N;
            exclude[j] = gen() % 7 == 0 ? 1 : 0;
            usable[j] = exclude[j] == 0 && !std::isnan(v[j]);
        }
        const std::vector<double> expected = bruteForce(v, exclude, length, offset);
        // Both window structures: always the heaps, always the sorted array.
        for (std::size_t sortedUpTo : {std::size_t{0}, std::size_t{1000}}) {
            std::vector<double> out(n);
            std::vector<unsigned char> nulls(n);
            businessFunctions::movingmedian::movingMedian(v.data(), usable.data(), n, length, offset, out.data(),
                                                          nulls.data(), alloc, sortedUpTo);
            for (std::size_t j = 0; j < n; ++j)
                if (nulls[j]) out[j] = N;
            SCOPED_TRACE(testing::Message() << "n " << n << " length " << length << " offset " << offset
                                            << " sorted up to " << sortedUpTo);
            expectSame(out, expected);
        }
    }
}

// Long windows over a longer series through the plug-in, including a
// window much longer than the rows that reach it.
TEST(MovingMedian, LongWindowsThroughThePlugIn) {
    std::mt19937 gen(5);
    const std::size_t n = 3000;
    std::vector<double> v(n), exclude(n, 0.0);
    for (std::size_t j = 0; j < n; ++j) {
        v[j] = std::uniform_int_distribution<int>(0, 50)(gen);
        exclude[j] = gen() % 11 == 0 ? 1 : 0;
    }
    for (auto [length, offset] : {std::pair{701L, 350L}, std::pair{1000L, 0L}, std::pair{2500L, 2499L},
                                  std::pair{100000L, 50000L}}) {
        SCOPED_TRACE(length);
        CallResult r = median(v, double(length), double(offset), exclude);
        ASSERT_FALSE(r.error) << r.error->message;
        expectSame(doublesOf(r), bruteForce(v, exclude, length, offset));
    }
}
