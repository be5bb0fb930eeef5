// Type letters, the pattern matcher and the Verifier's results and errors.
#include "common/fpkCommonCode.h"
#include "common/fpkTrace.h"
#include "testSupport.h"

using namespace businessFunctions;
using namespace fpktest;
using RhoCommonObjects::VT_BOOLEAN;
using RhoCommonObjects::VT_DECIMAL;
using RhoCommonObjects::VT_DOUBLE;
using RhoCommonObjects::VT_FLOAT;
using RhoCommonObjects::VT_INTEGER;
using RhoCommonObjects::VT_STRING;

TEST(Matcher, Patterns) {
    struct Case {
        const char* pattern;
        const char* text;
        bool match;
    };
    const Case cases[] = {
        {"^d$", "d", true},         {"^d$", "I", false},        {"^d$", "dd", false},
        {"^[ID]+$", "III", true},   {"^[ID]+$", "", false},     {"^[ID]+$", "IdI", false},
        {"^[ID]$", "D", true},      {"^[Id][Id][Id]$", "IdI", true}, {"^[Id][Id][Id]$", "IdId", false},
        {"^[IdS]$", "S", true},     {"^[dS]+$", "dSdS", true},  {"^d*$", "", true},
        {"^d*I$", "dddI", true},    {"^d*I$", "ddd", false},    {"^.+$", "xyz", true},
        {"^.$", "", false},         {"dI", "SSdIS", true},      {"dI$", "dIS", false},
        {"^Sd$", "Sd", true},       {"[]", "d", false},         {"^[Id", "I", true},
    };
    for (const Case& c : cases) {
        RE re(getGlobalFPKAllocator());
        re.preprocess(c.pattern);
        EXPECT_EQ(c.match, re.match(c.text)) << c.pattern << " on '" << c.text << "'";
    }
}

TEST(Matcher, LettersOfHostTypes) {
    struct Case {
        int code;
        int letter;
    };
    for (Case c : {Case{70, 'd'}, Case{77, 'd'}, Case{100, 'd'}, Case{73, 'I'}, Case{83, 'S'}, Case{71, 255},
                   Case{99, 255}, Case{69, -1}, Case{101, -1}, Case{240, -1}}) {
        EXPECT_EQ(c.letter, Verifier::translteTypeToChar(c.code)) << c.code;
    }
}

TEST(Verifier, ColumnResults) {
    EXPECT_EQ(0, Verifier::verifyCol(typed(VT_DOUBLE, {1}).get(), "^d$"));
    EXPECT_EQ(0, Verifier::verifyCol(typed(VT_FLOAT, {1}).get(), "^d$"));
    EXPECT_EQ(0, Verifier::verifyCol(typed(VT_DECIMAL, {1}).get(), "^d$"));
    EXPECT_EQ(1, Verifier::verifyCol(typed(VT_INTEGER, {1}).get(), "^d$"));
    EXPECT_EQ(1, Verifier::verifyCol(typed(VT_BOOLEAN, {1}).get(), "^[dIS]$")) << "no letter matches no letter";
    EXPECT_EQ(2, Verifier::verifyCol(nullptr, "^d$"));
}

TEST(Verifier, TableResults) {
    auto table = [](std::vector<int> types) {
        TablePtr t = Table::make("T");
        for (int ty : types) t->addColumn(typed(ty, {}));
        return t;
    };
    EXPECT_EQ(0, Verifier::verifyTab(table({VT_INTEGER, VT_INTEGER, VT_INTEGER}).get(), "^[Id][Id][Id]$"));
    EXPECT_EQ(1, Verifier::verifyTab(table({VT_INTEGER, VT_INTEGER, VT_INTEGER, VT_INTEGER}).get(), "^[Id][Id][Id]$"));
    EXPECT_EQ(0, Verifier::verifyTab(table({VT_INTEGER, VT_INTEGER}).get(), "^[ID]+$"));
    EXPECT_EQ(1, Verifier::verifyTab(table({VT_INTEGER, VT_DOUBLE}).get(), "^[ID]+$"));
    EXPECT_EQ(1, Verifier::verifyTab(table({}).get(), "^[ID]+$"));
    EXPECT_EQ(2, Verifier::verifyTab(nullptr, "^[ID]+$"));
    EXPECT_EQ(3, Verifier::verifyTab(table({VT_INTEGER, VT_BOOLEAN}).get(), "^[ID]+$"));
}

TEST(Verifier, RaisesCataloguedErrors) {
    std::vector<std::string> lines;
    qelhost::setTraceSink([&](const std::string&, int, std::string_view line) { lines.emplace_back(line); });
    qelhost::setTraceLevel("QELFPKCOMMONCODE", 3);
    auto message = [](auto&& fn) -> std::string {
        try {
            fn();
        } catch (const QELError::Exception& e) {
            return std::string(e.getName()) + ": " + e.getMessage();
        }
        return "no error";
    };
    ColumnHandle ints = typed(VT_INTEGER, {1});
    EXPECT_EQ("ERR_FPK_COMM_UNSUPPORTED_COL_TYPE: FPK error[73000050]:Data type of column PRIME is not supported.",
              message([&] { Verifier::verify(ints.get(), "d", "PRIME"); }));
    TablePtr t = Table::make("RESULTS");
    t->addColumn(typed(VT_INTEGER, {}));
    EXPECT_EQ(0u, message([&] { Verifier::verify(t.get(), "d"); })
                      .find("ERR_FPK_COMM_UNMATCHED_TABLE_TYPE: FPK error[73000022]:Data types of table RESULTS do not"));
    TablePtr b = Table::make("B");
    b->addColumn(ColumnHandle(Column::make("FLAGS", VT_BOOLEAN)));
    EXPECT_EQ("ERR_FPK_COMM_UNSUPPORTED_COL_TYPE: FPK error[73000050]:Data type of column FLAGS is not supported.",
              message([&] { Verifier::verify(b.get(), "[ID]+"); }));
    EXPECT_EQ("ERR_FPK_COMM_INTERNAL_ERR: FPK error[73000090]:Internal error. Check trace for details.",
              message([&] { Verifier::verify(static_cast<const ColumnBase*>(nullptr), "d"); }));
    EXPECT_EQ("ERR_FPK_COMM_INTERNAL_ERR: FPK error[73000090]:Internal error. Check trace for details.",
              message([&] { Verifier::verify(static_cast<const InternalTable*>(nullptr), "d"); }));
    qelhost::setTraceLevel("QELFPKCOMMONCODE", 0);
    qelhost::setTraceSink(nullptr);
    EXPECT_EQ((std::vector<std::string>{"Verifier::verifyColumn: The input column pointer for verifying is NULL.",
                                        "Verifier::verifyTable: The input itab pointer for verifying is NULL."}),
              lines);
}
