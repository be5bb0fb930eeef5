// String columns of the reference host: rows keep short texts in place and
// long ones in heap blocks; every way of writing a row must read back as the
// text written, whichever of the two it was before.
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/runtime/QELHost.h"
#include "testSupport.h"

namespace {

using qelhost::Column;
using RhoCommonObjects::NullFlags;

std::vector<std::string> readAll(const Column& c, std::vector<NullFlags>* nulls = nullptr) {
    std::vector<std::string_view> views(c.size());
    std::vector<NullFlags> flags(c.size());
    EXPECT_TRUE(c.getNative(0, c.size(), views.data(), flags.data()));
    if (nulls) *nulls = flags;
    return std::vector<std::string>(views.begin(), views.end());
}

// Lengths around the in-row limit (12 bytes) and the copy widths (4, 8).
std::string textOf(std::size_t len, char fill) {
    std::string s;
    for (std::size_t i = 0; i < len; ++i) s.push_back(static_cast<char>(fill + i % 23));
    return s;
}

}  // namespace

TEST(HostColumnText, EveryLengthOverwritesEveryLength) {
    const std::vector<std::size_t> lengths = {0, 1, 3, 4, 5, 7, 8, 9, 11, 12, 13, 16, 40};
    for (std::size_t before : lengths) {
        for (std::size_t after : lengths) {
            SCOPED_TRACE("from " + std::to_string(before) + " to " + std::to_string(after) + " bytes");
            auto c = Column::strings("S", {textOf(before, 'a'), "YEAR", textOf(before, 'A')});
            const std::string text = textOf(after, '0');
            const std::string_view in[2] = {text, text};
            ASSERT_TRUE(c->setNative(0, 1, in, nullptr));
            ASSERT_TRUE(c->setNative(2, 3, in + 1, nullptr));
            EXPECT_EQ(readAll(*c), (std::vector<std::string>{text, "YEAR", text}));
            EXPECT_EQ(c->textAt(0), text);
        }
    }
}

TEST(HostColumnText, RowWrittenFromItsOwnView) {
    for (std::size_t len : {5ul, 12ul, 30ul}) {
        auto c = Column::strings("S", {textOf(len, 'k')});
        std::string_view own;
        ASSERT_TRUE(c->getNative(0, 1, &own, nullptr));
        ASSERT_TRUE(c->setNative(0, 1, &own, nullptr));
        EXPECT_EQ(c->textAt(0), textOf(len, 'k'));
        ASSERT_TRUE(c->getNative(0, 1, &own, nullptr));  // a write ends the views of the row
        const std::string_view shorter = own.substr(1, 3);  // a short text out of a long row
        ASSERT_TRUE(c->setNative(0, 1, &shorter, nullptr));
        EXPECT_EQ(c->textAt(0), textOf(len, 'k').substr(1, 3));
    }
}

TEST(HostColumnText, NullsResizeAndGrowth) {
    const std::string longText = textOf(20, 'x');
    auto c = Column::strings("S", {longText, "M1", longText, "YEAR"});
    const std::string_view in[3] = {"ignored", longText, "TOTAL"};
    const NullFlags flags[3] = {1, 0, 0};
    ASSERT_TRUE(c->setNative(1, 4, in, flags));  // a null over a short row, a long row over a long one
    std::vector<NullFlags> nulls;
    EXPECT_EQ(readAll(*c, &nulls), (std::vector<std::string>{longText, "", longText, "TOTAL"}));
    EXPECT_EQ(nulls, (std::vector<NullFlags>{0, 1, 0, 0}));

    ASSERT_TRUE(c->resize(1));  // drops (and frees) a long row
    ASSERT_TRUE(c->resize(3));  // new rows are null and empty
    EXPECT_EQ(readAll(*c, &nulls), (std::vector<std::string>{longText, "", ""}));
    EXPECT_EQ(nulls, (std::vector<NullFlags>{0, 1, 1}));

    const std::string_view tail[2] = {longText, "Q4"};
    ASSERT_TRUE(c->setNative(4, 6, tail, nullptr));  // writing past the end grows the column
    EXPECT_EQ(readAll(*c, &nulls), (std::vector<std::string>{longText, "", "", "", longText, "Q4"}));
    EXPECT_EQ(nulls, (std::vector<NullFlags>{0, 1, 1, 1, 0, 0}));
}

TEST(HostColumnText, DisjointRangesWrittenConcurrently) {
    constexpr std::size_t kRows = 40000, kThreads = 4;
    std::vector<std::string> want(kRows);
    for (std::size_t i = 0; i < kRows; ++i) want[i] = textOf(i % 19, static_cast<char>('a' + i % 7));
    auto c = Column::make("S", RhoCommonObjects::VT_STRING);
    ASSERT_TRUE(c->resize(kRows));
    std::vector<std::string_view> in(want.begin(), want.end());
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            const std::size_t lo = kRows * t / kThreads, hi = kRows * (t + 1) / kThreads;
            for (int pass = 0; pass < 2; ++pass) EXPECT_TRUE(c->setNative(lo, hi, in.data() + lo, nullptr));
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(readAll(*c), want);
}
