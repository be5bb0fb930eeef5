// DAYS's fast path (eight-digit dates read as one word, spans turned into
// counts without a loop) against the general reading, in every vector
// version the processor runs, and through the loader across several ranges.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "common/fpkCommon.h"
#include "common/fpkIsaDispatch.h"
#include "functions/fpkCommonFunctions.h"
#include "testSupport.h"

using namespace businessFunctions;

namespace {

// The row as DAYS reads any text: its span, or nullopt when the row raises.
std::optional<uint32_t> generalSpan(std::string_view from, std::string_view to) {
    const auto day = [](std::string_view t) -> std::optional<long long> {
        const int y = series::leadingNumber(t, 0, 4), m = series::leadingNumber(t, 4, 2), d = series::leadingNumber(t, 6, 2);
        if (y < 1) return std::nullopt;
        try {
            IsLegal(y, m, d);
        } catch (...) {
            return std::nullopt;
        }
        return series::dayNumber(y, m, d);
    };
    const auto f = day(from), t = day(to);
    if (!f || !t || *t < *f) return std::nullopt;
    return series::packSpan(*f, *t - *f);
}

bool eightDigits(std::string_view t) {
    if (t.size() < 8) return false;
    for (std::size_t i = 0; i < 8; ++i)
        if (t[i] < '0' || t[i] > '9') return false;
    return true;
}

std::vector<isa::Level> levels() {
    std::vector<isa::Level> out{isa::Level::baseline};
    if (isa::processorLevel() >= isa::Level::avx2) out.push_back(isa::Level::avx2);
    if (isa::processorLevel() >= isa::Level::avx512) out.push_back(isa::Level::avx512);
    return out;
}

struct LevelGuard {
    ~LevelGuard() { isa::limitLevel(isa::Level::avx512); }
};

std::string ymd(int y, int m, int d) {
    char text[16];
    std::snprintf(text, sizeof text, "%04d%02d%02d", y, m, d);
    return text;
}

}  // namespace

TEST(DaysFastPath, SpansAgreeWithTheGeneralReading) {
    // Month ends and century rules, the calendar's limits, texts a digit
    // short or long, characters just outside '0'..'9', and texts that start
    // well but read as a bad date.
    std::vector<std::string> texts = {
        "00010101", "00010102", "99991231", "99991230", "20000229", "19000229", "19000228", "21000229", "24000229",
        "20240229", "20230229", "20231231", "20240131", "20240430", "20240431", "20240630", "20240731", "20240831",
        "20240930", "20241031", "20241130", "20241231", "20241232", "20241301", "20240001", "20240100", "00000101",
        "2024011", "202401", "2024", "2", "20240102x", "2024010212345", "2024-3-01", "2024010a", " 2024010", "abcdefgh",
        "202401:1", "202401/1", "2024\x80" "101", "2024011\xba", "20\xff" "40101", "0000000", "99991232", "",
    };
    const std::size_t fixed = texts.size();
    std::mt19937 random(20261122);
    for (int i = 0; i < 600; ++i) {
        const int y = 1 + static_cast<int>(random() % 9999), m = 1 + static_cast<int>(random() % 12);
        texts.push_back(ymd(y, m, 1 + static_cast<int>(random() % (i % 5 == 0 ? 32 : 28))));
    }
    // Every pair of the fixed texts, then random pairs; one row in eleven null.
    std::vector<std::string_view> from, to;
    std::vector<unsigned char> fromNull, toNull;
    for (std::size_t a = 0; a < fixed; ++a)
        for (std::size_t b = 0; b < fixed; ++b) {
            from.push_back(texts[a]);
            to.push_back(texts[b]);
        }
    for (int i = 0; i < 20000; ++i) {
        from.push_back(texts[random() % texts.size()]);
        to.push_back(texts[random() % texts.size()]);
    }
    for (std::size_t i = 0; i < from.size(); ++i) {
        fromNull.push_back(i % 11 == 3);
        toNull.push_back(i % 11 == 7);
        if (fromNull.back()) from[i] = {};
    }
    LevelGuard guard;
    for (isa::Level level : levels()) {
        isa::limitLevel(level);
        SCOPED_TRACE(isa::levelName(level));
        // An odd count and an odd start, so that the vector loops have tails.
        const std::size_t n = from.size() - 6;
        std::vector<uint32_t> spans(n);
        series::fastSpans(from.data() + 1, to.data() + 1, fromNull.data() + 1, toNull.data() + 1, n, spans.data());
        std::size_t fast = 0;
        for (std::size_t j = 0; j < n; ++j) {
            const std::size_t i = j + 1;
            const std::string what = "'" + std::string(from[i]) + "' to '" + std::string(to[i]) + "'";
            if (fromNull[i] || toNull[i] || from[i].empty() || to[i].empty()) {
                EXPECT_EQ(series::kSpanNull, spans[j]) << what;
                continue;
            }
            const std::optional<uint32_t> general = generalSpan(from[i], to[i]);
            if (spans[j] == series::kSpanSlow) {
                // Only rows outside the fast path's reach may be left over.
                EXPECT_FALSE(general && eightDigits(from[i]) && eightDigits(to[i])) << what;
                continue;
            }
            ++fast;
            if (!general) {
                ADD_FAILURE() << what << " accepted by the fast path";
                continue;
            }
            EXPECT_EQ(*general, spans[j]) << what;
        }
        EXPECT_GT(fast, n / 4);
    }
}

TEST(DaysFastPath, CountsAgreeWithTheDayLoop) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const double configs[] = {nan, -inf, -3, 0, 0.5, 0.999, 1, 1.5, 2, 3, 4, 5, 5.9, 6, 6.999, 7, 7.5, 8, inf};
    const long long firsts[] = {0, 1, 2, 3, 4, 5, 6, 7, 738946, 3652057};
    std::vector<uint32_t> spans;
    std::vector<double> config, want;
    std::vector<unsigned char> wantNull;
    for (double c : configs)
        for (long long f : firsts)
            for (long long d : {0LL, 1LL, 2LL, 3LL, 4LL, 5LL, 6LL, 7LL, 8LL, 12LL, 13LL, 14LL, 15LL, 30LL, 365LL, 3652058LL - f}) {
                if (d < 0) continue;
                spans.push_back(series::packSpan(f, d));
                config.push_back(c);
                want.push_back(c >= 1 && c < 7 ? static_cast<double>(series::workingDays(f, d, static_cast<int>(c)))
                                               : static_cast<double>(d));
                wantNull.push_back(0);
            }
    for (std::size_t i = 5; i < spans.size(); i += 37) {
        spans[i] = series::kSpanNull;
        want[i] = 0;
        wantNull[i] = 1;
    }
    LevelGuard guard;
    for (isa::Level level : levels()) {
        isa::limitLevel(level);
        SCOPED_TRACE(isa::levelName(level));
        std::vector<double> out(spans.size(), -1);
        std::vector<unsigned char> outNull(spans.size(), 9);
        series::spanCounts(spans.data(), config.data(), spans.size(), out.data(), outNull.data());
        for (std::size_t i = 0; i < spans.size(); ++i) {
            EXPECT_EQ(want[i], out[i]) << "row " << i << " span " << spans[i] << " config " << config[i];
            EXPECT_EQ(wantNull[i], outNull[i]) << "row " << i;
        }
    }
}

// Several ranges of rows mixing the fast and the general reading: the same
// counts as row by row, and the error of the first bad row with the result
// left as it was.
TEST(DaysFastPath, ManyRangesThroughTheLoader) {
    using namespace fpktest;
    const std::size_t n = 200000;
    std::vector<std::string> from(n), to(n);
    std::vector<double> config(n), want(n);
    for (std::size_t i = 0; i < n; ++i) {
        const int y = 1 + static_cast<int>((i * 7919) % 9990), m = 1 + static_cast<int>(i % 12), d = 1 + static_cast<int>(i % 28);
        from[i] = ymd(y, m, d);
        to[i] = ymd(y + static_cast<int>(i % 9), 1 + static_cast<int>((i / 12) % 12), 1 + static_cast<int>((i / 5) % 28));
        if (i % 13 == 0) to[i] += "tail";
        if (i % 17 == 0 && d >= 10) from[i] = from[i].substr(0, 7);  // day read from one digit
        if (i % 29 == 0) to[i] = "";
        if (!to[i].empty() && !generalSpan(from[i], to[i])) std::swap(from[i], to[i]);
        config[i] = static_cast<double>(i % 9) - 0.5;
        if (from[i].empty() || to[i].empty()) {
            want[i] = std::nan("");
            continue;
        }
        const std::optional<uint32_t> span = generalSpan(from[i], to[i]);
        ASSERT_TRUE(span.has_value()) << from[i] << " " << to[i];
        const long long f = series::dayNumber(series::leadingNumber(from[i], 0, 4), series::leadingNumber(from[i], 4, 2),
                                              series::leadingNumber(from[i], 6, 2));
        const double c = config[i];
        want[i] = static_cast<double>(c >= 1 && c < 7 ? series::workingDays(f, *span >> 3, static_cast<int>(c)) : *span >> 3);
    }
    expectColumn(call("DAYS", {scol(from), scol(to), col(config)}), want, 0);

    // Bad rows in the third range and the second: the second's error, and the
    // result table keeps its earlier rows.
    from[150001] = "20241301";
    std::swap(from[70003], to[70003]);
    const qelhost::FunctionInfo& days = *plugin().find("DAYS");
    TablePtr result = plugin().makeResultTable(days);
    const std::vector<double> before = {1, 2, 3};
    result->column(0)->setNative(0, before.size(), before.data(), nullptr);
    CallResult r = plugin().call(days, {scol(from), scol(to), col(config)}, TableHandle(result));
    expectError(r, "ERR_FPK_DAYS_INVALID_FROMTO_DATE", "FPK error[73000501]:TODATE should be later than FROMDATE.");
    expectNearAll(doublesOf(r), before, 0);
}
