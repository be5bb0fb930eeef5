// Every examples/<stem>.json that has a <stem>.out beside it is run through
// the built fpk program, and its table output must equal the .out file. The
// function is the stem before any '-', in upper case (funds-negative.json
// runs FUNDS). New examples are picked up when the tests start.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kExamples = fs::path(FPK_SOURCE_DIR) / "examples";

std::vector<std::string> exampleStems() {
    std::vector<std::string> stems;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(kExamples, ec)) {
        const fs::path p = entry.path();
        if (p.extension() != ".json") continue;
        fs::path out = p;
        out.replace_extension(".out");
        if (fs::exists(out)) stems.push_back(p.stem().string());
    }
    std::sort(stems.begin(), stems.end());
    return stems;
}

std::string functionOf(const std::string& stem) {
    std::string name = stem.substr(0, stem.find('-'));
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    return name;
}

std::string readAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class Example : public ::testing::TestWithParam<std::string> {};

TEST_P(Example, TableOutputMatchesOutFile) {
    const std::string stem = GetParam();
    const fs::path input = kExamples / (stem + ".json");
    const fs::path expected = kExamples / (stem + ".out");
    const std::string command = std::string("env -u FPK_LIBRARY \"") + FPK_BINARY_DIR + "/bin/fpk\" run " +
                                functionOf(stem) + " \"" + input.string() + "\" --format table 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof(buf), pipe)) > 0;) out.append(buf, n);
    const int status = pclose(pipe);
    ASSERT_TRUE(WIFEXITED(status));
    // 0, or 1 for an example that shows a function's error; 2 would mean the
    // example file itself is wrong.
    EXPECT_LE(WEXITSTATUS(status), 1) << command;
    EXPECT_EQ(out, readAll(expected)) << command;
}

std::string testName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(FpkExamples, Example, ::testing::ValuesIn(exampleStems()), testName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Example);

}  // namespace
