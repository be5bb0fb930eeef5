// Error definitions: one-time registration and message formatting.
#include <set>

#include "common/fpkDefines.h"
#include "common/fpkTrace.h"
#include "testSupport.h"

using namespace businessFunctions;

TEST(Errors, AccessorRegistersOnceOnFirstUse) {
    // Never raised by any function, so nothing has registered it yet.
    ASSERT_FALSE(qelhost::isRegistered(73000005));
    const long long before = qelhost::registryStats().registerCalls;
    const QELError::ErrorDefinition& d = businessFunctions__ERR_FPK_INVALID_COLUMN_TYPE();
    EXPECT_EQ(73000005, d.code);
    EXPECT_STREQ("ERR_FPK_INVALID_COLUMN_TYPE", d.name);
    EXPECT_STREQ("Invalid column type:$VAL$.", d.message);
    EXPECT_GT(d.handle, 0);
    EXPECT_TRUE(qelhost::isRegistered(73000005));
    EXPECT_EQ(before + 1, qelhost::registryStats().registerCalls);
    EXPECT_EQ(&d, &ERR_FPK_INVALID_COLUMN_TYPE());
    EXPECT_EQ(before + 1, qelhost::registryStats().registerCalls) << "a second use registers nothing";
}

TEST(Errors, MessageFilledFromNamedArguments) {
    try {
        FPK_RAISE(ERR_FPK_COMM_TABLE_COL_SIZE, {"COL_NUM", 3}, {"TAB", "T"}, {"EXP_COL_SIZE", 4});
        FAIL();
    } catch (const QELError::Exception& e) {
        EXPECT_EQ(73000023, e.getCode());
        EXPECT_STREQ("ERR_FPK_COMM_TABLE_COL_SIZE", e.getName());
        EXPECT_EQ("FPK error[73000023]:Column number 3 of table T does not match expected size 4.", e.getMessage());
        EXPECT_STREQ(e.getMessage().c_str(), e.what());
        ASSERT_FALSE(e.getArguments().empty());
        EXPECT_EQ("ERROR_CODE", e.getArguments()[0].name) << "the code always comes first";
    }
}

TEST(Errors, CatalogueBandsAndTemplates) {
    // Every template outside the generic band starts with the code prefix and
    // ends with a full stop; codes are unique.
    struct Row {
        int32_t code;
        const char* name;
        const char* text;
    };
    const Row rows[] = {
#define FPK_ERROR(code, NAME, text) {code, #NAME, text},
#include "common/fpkErrors.def"
#undef FPK_ERROR
    };
    ASSERT_EQ(70u, std::size(rows));
    std::set<int32_t> codes;
    for (const Row& r : rows) {
        EXPECT_TRUE(codes.insert(r.code).second) << r.name;
        const std::string t = r.text;
        EXPECT_EQ('.', t.back()) << r.name;
        if (r.code >= 73000020) {
            EXPECT_EQ(0u, t.find("FPK error[$ERROR_CODE$]:")) << r.name;
        }
    }
}

TEST(Errors, TracedRaiseWritesDetailFirst) {
    std::vector<std::string> lines;
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        lines.push_back(topic + "|" + std::string(line));
    });
    qelhost::setTraceLevel("QELFPKLAST", 3);
    EXPECT_THROW(FPK_RAISE_TRACED(TRACE_FPKLAST, "inputcol->getNative failed.", ERR_FPK_COMM_INTERNAL_ERR),
                 QELError::Exception);
    qelhost::setTraceLevel("QELFPKLAST", 2);
    EXPECT_THROW(FPK_RAISE_TRACED(TRACE_FPKLAST, "not at level 2", ERR_FPK_COMM_INTERNAL_ERR), QELError::Exception);
    qelhost::setTraceLevel("QELFPKLAST", 0);
    qelhost::setTraceSink(nullptr);
    EXPECT_EQ(std::vector<std::string>{"QELFPKLAST|inputcol->getNative failed."}, lines);
}
