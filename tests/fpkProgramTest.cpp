// The fpk program as a user runs it: the built binary, with input files and
// standard input in a temporary directory, its output, messages and exit
// status checked against the values the functions' documentation works out.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "testSupport.h"
#include <vector>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class FpkProgram : public ::testing::Test {
protected:
    void SetUp() override {
        std::string tmpl = (fs::temp_directory_path() / "fpkprog.XXXXXX").string();
        ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }

    fs::path path(const std::string& name) const { return dir_ / name; }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    // Runs `fpk ARGS` in the temporary directory; args are shell words.
    Outcome fpk(const std::string& args, const std::string& input = "") const {
        write(".stdin", input);
        const std::string cmd = "cd '" + dir_.string() + "' && env -u FPK_LIBRARY '" + FPK_BINARY_DIR + "/bin/fpk' " +
                                args + " <.stdin >.stdout 2>.stderr";
        const int raw = std::system(cmd.c_str());
        Outcome r;
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        r.out = readAll(path(".stdout"));
        r.err = readAll(path(".stderr"));
        return r;
    }

    // Runs with JSON output and returns it parsed (expects valid JSON).
    json fpkJson(const std::string& args, const std::string& input, Outcome* run = nullptr) const {
        Outcome r = fpk(args + " --format json", input);
        if (run != nullptr) *run = r;
        return json::parse(r.out);
    }

    fs::path dir_;
};

// Column c of a JSON result as doubles; null as NaN, "NaN" etc. as numbers.
std::vector<double> values(const json& result, std::size_t c = 0) {
    std::vector<double> out;
    for (const json& v : result.at("columns").at(c).at("values")) {
        if (v.is_null())
            out.push_back(std::nan(""));
        else if (v.is_string())
            out.push_back(v == "NaN" ? std::nan("") : v == "Infinity" ? INFINITY : -INFINITY);
        else
            out.push_back(v.get<double>());
    }
    return out;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

// ---- list and describe ----

TEST_F(FpkProgram, ListPrintsOneLinePerCatalogueFunction) {
    const Outcome r = fpk("list");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::string> ls = lines(r.out);
    ASSERT_EQ(ls.size(), 54u);
    // Number, name, kind and slot count (the inputs plus the result table).
    EXPECT_EQ(ls[0], " 1  CYCLES                  column-based  6 slots");
    EXPECT_EQ(ls[7], " 8  LAST                    column-based  2 slots");
    EXPECT_EQ(ls[23], "24  DELAY                   table-based   4 slots");
    EXPECT_EQ(ls[43], "44  DRIVER                  table-based   6 slots");
    EXPECT_EQ(ls[50], "51  FORECAST                column-based  11 slots");
    EXPECT_EQ(ls[53], "54  YEARTODATE              column-based  3 slots");
}

TEST_F(FpkProgram, DescribeForecastShowsTenInputsAndTwoTypedResultColumns) {
    const Outcome r = fpk("describe FORECAST");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "FORECAST (number 51, column-based, 11 slots)\n\n"
              "Inputs:\n"
              "  NAME                     KEY          KIND    TYPE\n"
              "  PERIOD/PERIOD            PERIOD       column  string\n"
              "  BUDGET/BUDGET            BUDGET       column  double\n"
              "  ACTUAL/ACTUAL            ACTUAL       column  double\n"
              "  AFFLAG/AFFLAG            AFFLAG       column  int\n"
              "  PERIODSNUM/PERIODSNUM    PERIODSNUM   column  int\n"
              "  OVERRIDE/OVERRIDE        OVERRIDE     column  double\n"
              "  DAYS/DAYS                DAYS         column  int\n"
              "  PERIODSFLAG/PERIODSFLAG  PERIODSFLAG  column  int\n"
              "  METHOD                   METHOD       scalar  int\n"
              "  INDICATOR                INDICATOR    scalar  int\n\n"
              "Result table RESULT:\n"
              "  NAME       TYPE\n"
              "  RE_PERIOD  string\n"
              "  FORECAST   double\n");
}

TEST_F(FpkProgram, DescribeTableBasedFunctionNamesPatternsAndDefaultResult) {
    const Outcome r = fpk("describe delay");  // names are not case-sensitive
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("PAID"), std::string::npos);
    EXPECT_NE(r.out.find("pattern [ID]+"), std::string::npos);
    EXPECT_NE(r.out.find("default: RESULT (double)"), std::string::npos);
}

// ---- run: values ----

TEST_F(FpkProgram, StringColumnsTakeTextsAsWritten) {
    // March 2024: 21 days Monday to Friday, 31 calendar days. A number in a
    // string column keeps its digits.
    const json j = fpkJson("run DAYS", R"({"FROMDATE": [20240301, "20240301"], "TODATE": ["20240401", 20240401],
        "CONFIG": [5, 0]})");
    EXPECT_EQ(values(j), (std::vector<double>{21, 31}));
    // A CSV text keeps its blanks: " 2024031" has no year in its first four
    // characters, which DAYS refuses.
    write("in.csv", "FROMDATE,TODATE,CONFIG\n\" 2024031\",20240401,0\n");
    const Outcome r = fpk("run DAYS in.csv");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "FPK error[73000500]:Year 0 should not be less than 1.\n");
}

TEST_F(FpkProgram, ColumnsAreKeyedByFullOrShortName) {
    for (const char* key : {"VALUE/PRIME", "PRIME"}) {
        Outcome r;
        const json j = fpkJson("run LAST", std::string("{\"") + key + "\": [100, 0, 0, 120, null, 0, 90]}", &r);
        EXPECT_EQ(r.status, 0) << key << r.err;
        EXPECT_EQ(values(j), (std::vector<double>{100, 100, 100, 120, 120, 120, 90})) << key;
        EXPECT_EQ(j["columns"][0]["name"], "LAST");
        EXPECT_EQ(j["columns"][0]["type"], "double");
    }
}

// The functions' own rules are tested through the loader; here JSON nulls
// and empty columns must reach them as null rows and empty columns.
TEST_F(FpkProgram, JsonNullsAndEmptyColumnsReachTheFunction) {
    struct Case {
        const char* function;
        const char* input;
        std::vector<double> expected;
    };
    const Case cases[] = {
        // A null counts as "nothing new" for LAST.
        {"LAST", R"({"PRIME": [0, 0, 50, -20, 0, null]})", {0, 0, 50, -20, -20, -20}},
        // Only SIGN's row 0 counts; a null SIGN keeps every amount.
        {"FUNDS", R"({"ASSETS": [500, -200, 0, 125.5, -0.25, null], "SIGN": [7, -1, -1]})", {500, 0, 0, 125.5, 0, 0}},
        {"FUNDS", R"({"ASSETS": [500, -200, 0, 125.5, -0.25], "SIGN": [null]})", {500, -200, 0, 125.5, -0.25}},
        {"FUNDS", R"({"VALUE/ASSETS": [500, -200], "VALUE/SIGN": []})", {500, -200}},
    };
    for (const Case& c : cases) {
        Outcome r;
        const json j = fpkJson(std::string("run ") + c.function, c.input, &r);
        EXPECT_EQ(r.status, 0) << c.function << " " << c.input << "\n" << r.err;
        EXPECT_EQ(values(j), c.expected) << c.function << " " << c.input;
    }
}

TEST_F(FpkProgram, DoublesArePrintedWithRoundTripPrecision) {
    const std::string in = R"({"VALUE": [0.1, 0.2, 0.3], "FLAG": 0})";
    const Outcome json = fpk("run CUMULATE_DECUMULATE --format json", in);
    EXPECT_NE(json.out.find("[0.1, 0.30000000000000004, 0.6000000000000001]"), std::string::npos) << json.out;
    const Outcome table = fpk("run CUMULATE_DECUMULATE --format table", in);
    EXPECT_EQ(table.out,
              "CUMULATED_DECUMULATE\n"
              "                 0.1\n"
              " 0.30000000000000004\n"
              "  0.6000000000000001\n");
    const Outcome csv = fpk("run CUMULATE_DECUMULATE --format csv", in);
    EXPECT_EQ(csv.out, "CUMULATED_DECUMULATE\n0.1\n0.30000000000000004\n0.6000000000000001\n");
}

TEST_F(FpkProgram, LongResultsAreShownWhole) {
    // Running maximum of 0, 1, ..., 4999: row i is i.
    std::string in = "VALUE\n";
    for (int i = 0; i < 5000; ++i) in += std::to_string(i) + "\n";
    const Outcome r = fpk("run MAX_MIN_VALUE --set FLAG=0", in);
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::string> ls = lines(r.out);
    ASSERT_EQ(ls.size(), 5001u);
    EXPECT_EQ(ls[0], "MAX_MIXVALUE");
    EXPECT_EQ(ls[1], "           0");
    EXPECT_EQ(ls[5000], "        4999");
}

TEST_F(FpkProgram, NanAndInfinitiesGoInAndComeOutAsWords) {
    // A NaN is not 0, so LAST carries it.
    Outcome r = fpk("run LAST --format json", R"({"PRIME": [0.25, "NaN", 0, 3]})");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find(R"([0.25, "NaN", "NaN", 3])"), std::string::npos) << r.out;
    r = fpk("run CUMULATE_DECUMULATE --format json", R"({"VALUE": [1, "Infinity", 2, "-Infinity"], "FLAG": 0})");
    ASSERT_EQ(r.status, 0) << r.err;
    // inf + -inf is NaN.
    EXPECT_NE(r.out.find(R"([1, "Infinity", "Infinity", "NaN"])"), std::string::npos) << r.out;
    r = fpk("run LAST", R"({"PRIME": ["-Infinity", "NaN"]})");
    EXPECT_EQ(r.out, "     LAST\n-Infinity\n      NaN\n");
    // CSV input reads the same words.
    r = fpk("run LAST --format json", "PRIME\nNaN\n0\nInfinity\n");
    EXPECT_NE(r.out.find(R"(["NaN", "NaN", "Infinity"])"), std::string::npos) << r.out;
}

TEST_F(FpkProgram, ForcedColumnTypesReachTheFunction) {
    struct Case {
        const char* function;
        const char* input;
        int status;
        const char* message;  // the function's message on stderr when status is 1
    };
    const Case cases[] = {
        {"LAST", R"({"PRIME": {"type": "bool", "values": [1, 0]}})", 1,
         "FPK error[73000050]:Data type of column PRIME is not supported."},
        {"LAST", R"({"PRIME": {"type": "string", "values": ["1", "2"]}})", 1,
         "FPK error[73000050]:Data type of column PRIME is not supported."},
        {"LAST", R"({"PRIME": {"type": "int", "values": [1, 2]}})", 1,
         "FPK error[73000050]:Data type of column PRIME is not supported."},
        {"LAST", "PRIME:int\n1\n", 1, "FPK error[73000050]:Data type of column PRIME is not supported."},  // CSV header
        {"FUNDS", R"({"ASSETS": [1], "SIGN": {"type": "double", "values": [1]}})", 1,
         "FPK error[73000050]:Data type of column SIGN is not supported."},
        {"FUNDS", R"({"ASSETS": {"type": "decimal", "values": [1]}, "SIGN": [1]})", 0, ""},
        {"MAX_MIN_VALUE", R"({"VALUE": {"type": "float", "values": [1]}, "FLAG": 0})", 0, ""},
    };
    for (const Case& c : cases) {
        const Outcome r = fpk(std::string("run ") + c.function, c.input);
        EXPECT_EQ(r.status, c.status) << c.input << "\n" << r.err;
        if (c.status == 1) {
            EXPECT_EQ(r.err, std::string(c.message) + "\n") << c.input;
        }
    }
    // A float column holds single precision: 0.1 arrives as the float nearest to it.
    const Outcome r = fpk("run LAST --format json", R"({"PRIME": {"type": "float", "values": [0.1]}})");
    EXPECT_NE(r.out.find("[0.10000000149011612]"), std::string::npos) << r.out;
}

TEST_F(FpkProgram, FunctionErrorGivesStatusOneMessageAndErrorObject) {
    Outcome r;
    const json j = fpkJson("run CUMULATE_DECUMULATE", R"({"VALUE": [], "FLAG": 0})", &r);
    EXPECT_EQ(r.status, 1);
    const std::string message = "FPK error[73000057]:Size 0 of column VALUE is invalid. VALUE should not be empty.";
    EXPECT_EQ(r.err, message + "\n");
    EXPECT_EQ(j["error"]["code"], 73000057);
    EXPECT_EQ(j["error"]["name"], "ERR_FPK_COMM_INVALID_COL_SIZE");
    EXPECT_EQ(j["error"]["message"], message);
    ASSERT_EQ(j["columns"].size(), 1u);
    EXPECT_EQ(j["columns"][0]["name"], "CUMULATED_DECUMULATE");
    EXPECT_TRUE(j["columns"][0]["values"].empty());
    // The table format shows the (empty) result and the message goes to stderr.
    r = fpk("run CUMULATE_DECUMULATE", R"({"VALUE": [], "FLAG": 0})");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "CUMULATED_DECUMULATE\n");
    EXPECT_EQ(r.err, message + "\n");
}

TEST_F(FpkProgram, ErrorAfterSomeRowsShowsThePartialResult) {
    // FUNDS writes 100000 rows in two ranges (64000 and 36000 rows) on two
    // threads; the third host write (after the resize) fails, so exactly one
    // range is written and the other stays null.
    std::string in = R"({"SIGN": [-1], "ASSETS": [)";
    for (int i = 0; i < 100000; ++i) in += i == 0 ? "-2" : ", -2";
    in += "]}";
    Outcome r;
    const json j = fpkJson("run FUNDS --threads 2 --fault setnative=3", in, &r);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "FPK error[73000090]:Internal error. Check trace for details.\n");
    EXPECT_EQ(j["error"]["name"], "ERR_FPK_COMM_INTERNAL_ERR");
    const std::vector<double> v = values(j);
    ASSERT_EQ(v.size(), 100000u);
    std::size_t written = 0, firstWritten = v.size(), lastWritten = 0;
    for (std::size_t i = 0; i < v.size(); ++i) {
        if (std::isnan(v[i])) continue;
        EXPECT_EQ(v[i], -2) << i;
        ++written;
        firstWritten = std::min(firstWritten, i);
        lastWritten = i;
    }
    const bool firstRange = written == 64000 && firstWritten == 0 && lastWritten == 63999;
    const bool secondRange = written == 36000 && firstWritten == 64000 && lastWritten == 99999;
    EXPECT_TRUE(firstRange || secondRange) << written << " rows from " << firstWritten << " to " << lastWritten;
}

TEST_F(FpkProgram, NullRowsPrintAsNullInTableEmptyInCsv) {
    // The resize succeeds and the write fails: three rows, all null.
    const std::string in = R"({"ASSETS": [1, 2, 3], "SIGN": [1]})";
    Outcome r = fpk("run FUNDS --threads 1 --fault setnative=2", in);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "FUNDS\n null\n null\n null\n");
    r = fpk("run FUNDS --threads 1 --fault setnative=2 --format csv", in);
    EXPECT_EQ(r.out, "FUNDS\n\n\n\n");
    r = fpk("run FUNDS --threads 1 --fault setnative=2 --format json", in);
    EXPECT_NE(r.out.find("[null, null, null]"), std::string::npos) << r.out;
}

// ---- bad usage and bad input: status 2 ----

TEST_F(FpkProgram, BadUsageGivesStatusTwoAndSaysWhy) {
    struct Case {
        std::string args;
        std::string input;
        std::string says;
    };
    const std::string last = R"({"PRIME": [1]})";
    const Case cases[] = {
        {"run NOSUCH", last, "unknown function NOSUCH"},
        {"describe NOSUCH", "", "unknown function NOSUCH"},
        {"run LAST", R"({"PRIM": [1]})", "LAST has no parameter \"PRIM\""},
        {"run CUMULATE_DECUMULATE", R"({"VALUE": [1]})", "missing parameter FLAG"},
        {"run FUNDS", R"({"ASSETS": [1]})", "missing parameter VALUE/SIGN"},
        {"run LAST", R"({"PRIME": [1], "VALUE/PRIME": [2]})", "given twice"},
        {"run LAST", R"({"PRIME": {"type": "complex", "values": [1]}})", "unknown type \"complex\""},
        {"run LAST", R"({"PRIME": {"kind": "double", "values": [1]}})", "unknown member \"kind\""},
        {"run CUMULATE_DECUMULATE", R"({"VALUE": [1], "FLAG": 1.5})", "not a 32-bit integer"},
        {"run CUMULATE_DECUMULATE", R"({"VALUE": [1], "FLAG": 3000000000})", "not a 32-bit integer"},
        {"run FUNDS", R"({"ASSETS": [1], "SIGN": [0.5]})", "not a 32-bit integer"},
        {"run LAST", R"({"PRIME": [1e999]})", "too large"},
        {"run LAST --format xml", last, "unknown format xml"},
        {"run LAST --threads 0", last, "--threads"},
        {"run LAST --today 2024-01-01", last, "YYYYMMDD"},
        {"run LAST --today 20241301", last, "not a date"},
        {"run LAST --today 20230229", last, "not a date"},
        {"run LAST --trace NOLEVEL", last, "TOPIC=LEVEL"},
        {"run LAST --fault sometimes=1", last, "--fault"},
        {"run LAST --library /nonexistent/libfpk.so", last, "cannot open plug-in /nonexistent/libfpk.so"},
        {"run LAST missing.json", "", "cannot read missing.json"},
        {"", "", "subcommand"},
        {"--library lib.so frobnicate", "", "unknown command frobnicate"},
    };
    for (const Case& c : cases) {
        const Outcome r = fpk(c.args, c.input);
        EXPECT_EQ(r.status, 2) << c.args << " " << c.input;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.args << " " << c.input << "\nstderr: " << r.err;
        EXPECT_EQ(r.out, "") << c.args;
    }
}

TEST_F(FpkProgram, LibraryCanBeChosenByEnvironment) {
    write("in.json", R"({"PRIME": [1]})");
    Outcome r = fpk("run LAST in.json");
    ASSERT_EQ(r.status, 0);
    const std::string cmd = "cd '" + dir_.string() + "' && FPK_LIBRARY=/nonexistent/lib.so '" + FPK_BINARY_DIR +
                            "/bin/fpk' run LAST in.json >/dev/null 2>.stderr";
    const int raw = std::system(cmd.c_str());
    EXPECT_EQ(WEXITSTATUS(raw), 2);
    EXPECT_NE(readAll(path(".stderr")).find("/nonexistent/lib.so"), std::string::npos);
}

TEST_F(FpkProgram, MalformedJsonIsReportedByLineAndColumn) {
    struct Case {
        std::string text;
        std::string place;
        std::string says;
    };
    const Case cases[] = {
        {"{\n  \"PRIME\": [1, 2,, 3]\n}", "in.json:2:18", "malformed JSON"},
        {"{\"PRIME\": [1, 2]", "in.json:1:17", "end of input"},
        {"{\"PRIME\": [1, 2]}\n]", "in.json:2:1", "after the end"},
        {"{\"PRIME\": [\"open]}", "in.json:1:12", "not closed"},
        {"{\"PRIME\": [01]}", "in.json:1:13", "must not start with 0"},
        {"{\n\"PRIME\": [1, \"abc\"]}", "in.json:2:14", "expected a number, found the string \"abc\""},
        {"{\n \"PRIME\": [1],\n \"EXTRA\": 2\n}", "in.json:3:2", "no parameter \"EXTRA\""},
        {"{\"PRIME\": [1], \"PRIME\": [2]}", "in.json:1:16", "duplicate key"},
        {"[1, 2]", "in.json:1:1", "must be a JSON object"},
        {"{\"VALUE\": [1],\n  \"FLAG\": \"1\"}", "in.json:2:11", "expected an integer"},
        {"{\"PRIME\": [[1]]}", "in.json:1:12", "a value must be a number"},
        // Columns count characters: the three letters before BAD take six bytes.
        {"{\"PRIME\": {\"type\": \"string\", \"values\": [\"\xC3\x84\xC3\x96\xC3\x9C\", 1]}, \"BAD\": 1}", "in.json:1:53",
         "no parameter \"BAD\""},
    };
    for (const Case& c : cases) {
        write("in.json", c.text);
        const std::string function = c.text.find("VALUE") != std::string::npos ? "CUMULATE_DECUMULATE" : "LAST";
        const Outcome r = fpk("run " + function + " in.json --output out.json");
        EXPECT_EQ(r.status, 2) << c.text;
        EXPECT_NE(r.err.find(c.place + ": "), std::string::npos) << c.text << "\nstderr: " << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.text << "\nstderr: " << r.err;
        EXPECT_FALSE(fs::exists(path("out.json"))) << c.text;
    }
}

TEST_F(FpkProgram, MalformedCsvIsReportedByLineAndColumn) {
    struct Case {
        std::string function;
        std::string text;
        std::string place;
        std::string says;
    };
    const Case cases[] = {
        {"LAST", "PRIME\n1\n\"abc\n", "in.csv:3:1", "not closed"},
        {"LAST", "PRIME\n1\nabc\n", "in.csv:3:1", "\"abc\" is not a number"},
        {"LAST", "PRIME\n\"1\"x\n", "in.csv:2:4", "after the closing quote"},
        {"LAST", "PRIME\n1\"2\n", "in.csv:2:2", "double quote inside an unquoted cell"},
        {"FUNDS", "ASSETS,SIGN\n1,1\n2,x\n", "in.csv:3:3", "\"x\" is not a number"},
        {"FUNDS", "ASSETS,SIGN\r\n1,1\r\n2,3,4\r\n", "in.csv:3:5", "more cells than the header"},
        {"CUMULATE_DECUMULATE", "VALUE,FLAG\n1,0\n", "in.csv:1:7", "--set FLAG=VALUE"},
        {"LAST", "PRIME,\n1\n", "", ""},  // a trailing comma is not a column
        {"LAST", "PRIME:complex\n1\n", "in.csv:1:1", "unknown type"},
    };
    for (const Case& c : cases) {
        write("in.csv", c.text);
        fs::remove(path("out.txt"));
        const Outcome r = fpk("run " + c.function + " in.csv --output out.txt");
        if (c.place.empty()) {
            EXPECT_EQ(r.status, 0) << c.text << r.err;
            continue;
        }
        EXPECT_EQ(r.status, 2) << c.text;
        EXPECT_NE(r.err.find(c.place + ": "), std::string::npos) << c.text << "\nstderr: " << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.text << "\nstderr: " << r.err;
        EXPECT_FALSE(fs::exists(path("out.txt"))) << c.text;
    }
}

// ---- CSV input ----

TEST_F(FpkProgram, CsvColumnsMayHaveDifferentLengths) {
    // ASSETS has four rows (an empty cell inside is a null), SIGN one.
    write("in.csv", "ASSETS,SIGN\r\n500,-1\r\n-200,\r\n,\r\n\"-0.25\"\r\n,\r\n");
    Outcome r;
    const json j = fpkJson("run FUNDS in.csv", "", &r);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(values(j), (std::vector<double>{0, -200, 0, -0.25}));
    // "null" ends nothing: the column keeps its null rows.
    write("in.csv", "PRIME\n5\nnull\n0\n");
    EXPECT_EQ(values(fpkJson("run LAST in.csv", "")), (std::vector<double>{5, 5, 5}));
}

TEST_F(FpkProgram, SetGivesScalars) {
    write("in.csv", "VALUE\n10\n30\n25\n");
    // An option that may repeat takes one value, so the input may follow it.
    EXPECT_EQ(values(fpkJson("run CUMULATE_DECUMULATE --set FLAG=1 in.csv", "")), (std::vector<double>{10, 20, -5}));
    EXPECT_EQ(values(fpkJson("run CUMULATE_DECUMULATE in.csv --set FLAG=0", "")), (std::vector<double>{10, 40, 65}));
    struct Case {
        std::string args;
        std::string says;
    };
    const Case bad[] = {
        {"--set FLAG=x", "\"x\" is not a number"},
        {"--set FLAG=", "the value is missing"},
        {"--set FLAG", "NAME=VALUE"},
        {"--set VALUE=1", "not a scalar"},
        {"--set FLAG=1 --set FLAG=0", "given twice"},
    };
    for (const Case& c : bad) {
        const Outcome r = fpk("run CUMULATE_DECUMULATE in.csv " + c.args);
        EXPECT_EQ(r.status, 2) << c.args;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.args << "\nstderr: " << r.err;
    }
}

TEST_F(FpkProgram, TableGivesInputTablesFromCsv) {
    // DELAY, worked example: PRIME 700; INVOICE 1000, 1200, 800, 0; PAID one
    // row 50, 30, 20 gives 1000, 1100, 960, 480.
    write("prime.csv", "P\n700\n");
    write("invoice.csv", "I\n1000\n1200\n800\n0\n");
    write("paid.csv", "K0,K1,K2\n50,30,20\n");
    const std::string tables = " --table PRIME=prime.csv --table INVOICE=invoice.csv --table PAID=paid.csv";
    Outcome csv;
    const json fromCsv = fpkJson("run DELAY" + tables, "", &csv);
    write("in.json", R"({"PRIME": [{"name": "P", "type": "double", "values": [700]}],
        "INVOICE": [{"name": "I", "values": [1000, 1200, 800, 0]}],
        "PAID": [{"name": "K0", "values": [50]}, {"name": "K1", "values": [30]}, {"name": "K2", "values": [20]}]})");
    Outcome js;
    const json fromJson = fpkJson("run DELAY in.json", "", &js);
    // A --table file may also be a JSON array of columns.
    write("paid.json", R"([{"name": "K0", "values": [50]}, {"name": "K1", "values": [30]}, {"name": "K2", "values": [20]}])");
    Outcome mixed;
    const json fromMixed =
        fpkJson("run DELAY --table PRIME=prime.csv --table INVOICE=invoice.csv --table PAID=paid.json", "", &mixed);
    // Every route binds the same tables, so the call ends the same way.
    EXPECT_EQ(csv.status, js.status);
    EXPECT_EQ(fromCsv, fromJson);
    EXPECT_EQ(mixed.status, js.status);
    EXPECT_EQ(fromMixed, fromJson);
    ASSERT_EQ(csv.status, 0) << csv.err;
    EXPECT_EQ(values(fromCsv), (std::vector<double>{1000, 1100, 960, 480}));
    // The default result of DELAY is one double column RESULT.
    EXPECT_EQ(fromCsv["columns"][0]["name"], "RESULT");
    EXPECT_EQ(fromCsv["columns"][0]["type"], "double");

    write("bad.csv", "K0,K1\n50,x\n");
    struct Case {
        std::string args;
        std::string says;
    };
    const Case bad[] = {
        {" --table PRIME=prime.csv --table INVOICE=invoice.csv --table PAID=bad.csv", "bad.csv:2:4: "},
        {" --table PRIME=prime.csv --table INVOICE=invoice.csv", "missing parameter PAID"},
        {tables + " --table OTHER=paid.csv", "no parameter \"OTHER\""},
        {tables + " --table PAID=paid.csv", "given twice"},
        {" --table PRIME=nofile.csv", "cannot read nofile.csv"},
    };
    for (const Case& c : bad) {
        const Outcome r = fpk("run DELAY" + c.args);
        EXPECT_EQ(r.status, 2) << c.args;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.args << "\nstderr: " << r.err;
    }
    const Outcome r = fpk("run LAST --table PRIME=prime.csv");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("not a table"), std::string::npos) << r.err;
}

TEST_F(FpkProgram, ResultTableOfATableBasedFunctionDefaultsOrIsGiven) {
    // DRIVER's default result: TIME, then one double column per driver.
    const std::string drivers = R"("HISTORY": [{"name": "H", "values": [1000, 1080, 1050, 0]}],
        "TIME": [{"name": "T", "values": ["202401", "202402", "202403", "202404"]}],
        "SWITCHOVER": [{"name": "S", "values": [3]}],
        "SWITCHOVERDATE": [{"name": "D", "type": "string", "values": ["202404"]}],
        "DRIVERS": [{"name": "A", "values": [200, 220, 210, 231]}, {"name": "B", "values": [40, 44, 42, 42]}])";
    Outcome r;
    json j = fpkJson("run DRIVER", "{" + drivers + "}", &r);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(j["columns"].size(), 3u);
    EXPECT_EQ(j["columns"][0]["name"], "TIME");
    EXPECT_EQ(j["columns"][0]["type"], "string");
    EXPECT_EQ(j["columns"][1]["name"], "A");
    EXPECT_EQ(j["columns"][2]["name"], "B");
    EXPECT_EQ(j["columns"][2]["type"], "double");
    j = fpkJson("run DRIVER", "{" + drivers + R"(, "result": [{"name": "KEY", "type": "string"}, {"name": "X"}]})", &r);
    // Two drivers do not fit the two-column table, which is shown as given.
    EXPECT_EQ(r.status, 1) << r.err;
    ASSERT_EQ(j["columns"].size(), 2u);
    EXPECT_EQ(j["columns"][0]["name"], "KEY");
    EXPECT_EQ(j["columns"][1]["name"], "X");
    EXPECT_EQ(j["columns"][1]["type"], "double");
    // A result table with a second column fails LAST's pattern.
    r = fpk("run LAST --result LAST,EXTRA:int", R"({"PRIME": [1]})");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, fpktest::cataloguedMessage(73000022, {{"TAB", "result"}}) + "\n");
}

// ---- input and output places ----

TEST_F(FpkProgram, InputComesFromStandardInputWhenAbsentOrDash) {
    const std::string expect = "LAST\n   7\n   7\n";
    EXPECT_EQ(fpk("run LAST", R"({"PRIME": [7, 0]})").out, expect);
    EXPECT_EQ(fpk("run LAST -", R"({"PRIME": [7, 0]})").out, expect);
    EXPECT_EQ(fpk("run LAST -", "PRIME\n7\n0\n").out, expect);  // not JSON, so CSV
    EXPECT_EQ(fpk("run LAST", "\xEF\xBB\xBF {\"PRIME\": [7, 0]}").out, expect);  // a byte-order mark first
    EXPECT_EQ(fpk("run LAST", "\xEF\xBB\xBFPRIME\r\n7\r\n0\r\n").out, expect);
}

TEST_F(FpkProgram, OutputFileIsWrittenWholeOrNotAtAll) {
    write("good.json", R"({"PRIME": [3, 0]})");
    Outcome r = fpk("run LAST good.json --output out.csv");  // the extension picks CSV
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(readAll(path("out.csv")), "LAST\n3\n3\n");

    // Bad input leaves an existing file as it was.
    write("bad.json", R"({"PRIME": [3, "x"]})");
    r = fpk("run LAST bad.json --output out.csv");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(readAll(path("out.csv")), "LAST\n3\n3\n");
    std::size_t files = 0;
    for (const auto& e : fs::directory_iterator(dir_)) files += e.path().filename().string().find(".tmp") != std::string::npos;
    EXPECT_EQ(files, 0u) << "a temporary file was left behind";

    // A function error still writes the result, with the error object.
    write("err.json", R"({"VALUE": [], "FLAG": 0})");
    r = fpk("run CUMULATE_DECUMULATE err.json --output out.json");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(json::parse(readAll(path("out.json")))["error"]["code"], 73000057);
}

TEST_F(FpkProgram, TraceTopicsAndTodayAreHandedToTheHost) {
    const std::string in = R"({"PRIME": [1]})";
    Outcome r = fpk("run LAST --trace QELFPKLAST=3", in);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("Information: FPKCommonFunctions::Last() begin"), std::string::npos) << r.err;
    r = fpk("run LAST", in);
    EXPECT_EQ(r.err.find("Information:"), std::string::npos) << r.err;
    r = fpk("run LAST --today 20240229 --threads 3", in);
    EXPECT_EQ(r.status, 0) << r.err;
}

}  // namespace
