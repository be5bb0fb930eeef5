#include "testSupport.h"

#include <algorithm>

namespace fpktest {

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

ColumnHandle typed(int valueType, const std::vector<double>& v) {
    ColumnPtr c = Column::make("IN", valueType);
    if (!v.empty()) c->setNative(0, v.size(), v.data(), nullptr);
    return ColumnHandle(c);
}

ColumnHandle withNulls(const std::vector<double>& v, const std::vector<std::size_t>& nullRows) {
    std::vector<uint8_t> nulls(v.size(), 0);
    for (std::size_t r : nullRows) nulls[r] = 1;
    ColumnPtr c = Column::make("IN", RhoCommonObjects::VT_DOUBLE);
    c->setNative(0, v.size(), v.data(), nulls.data());
    return ColumnHandle(c);
}

CallResult call(const std::string& fn, const std::vector<Argument>& inputs) {
    const qelhost::FunctionInfo* info = plugin().find(fn);
    EXPECT_NE(info, nullptr) << fn;
    return plugin().call(*info, inputs, TableHandle(plugin().makeResultTable(*info)));
}

std::vector<double> doublesOf(const CallResult& r, std::size_t c) {
    std::vector<double> out;
    ColumnBase* col = r.table ? r.table->getColumn(c) : nullptr;
    if (col == nullptr) return out;
    out.resize(col->size());
    std::vector<uint8_t> nulls(col->size());
    if (!out.empty()) {
        EXPECT_TRUE(col->getNative(0, out.size(), out.data(), nulls.data()));
    }
    for (std::size_t i = 0; i < out.size(); ++i)
        if (nulls[i]) out[i] = std::nan("");
    return out;
}

std::vector<std::string> textsOf(const CallResult& r, std::size_t c) {
    std::vector<std::string> out;
    ColumnBase* col = r.table ? r.table->getColumn(c) : nullptr;
    if (col == nullptr) return out;
    std::vector<std::string_view> v(col->size());
    if (!v.empty()) {
        EXPECT_TRUE(col->getNative(0, v.size(), v.data(), nullptr));
    }
    for (auto s : v) out.emplace_back(s);
    return out;
}

void expectError(const CallResult& r, const std::string& name, const std::string& message) {
    ASSERT_TRUE(r.error.has_value()) << "expected " << name;
    EXPECT_EQ(r.error->name, name);
    EXPECT_EQ(r.error->message, message);
}

void expectNearAll(const std::vector<double>& got, const std::vector<double>& want, double tol, bool relative) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        if (std::isnan(want[i])) {
            EXPECT_TRUE(std::isnan(got[i])) << "row " << i << " should be null, is " << got[i];
            continue;
        }
        EXPECT_NEAR(got[i], want[i], relative ? tol * std::max(1.0, std::fabs(want[i])) : tol) << "row " << i;
    }
}

void expectColumn(const CallResult& r, const std::vector<double>& want, double tol, bool relative, std::size_t c) {
    ASSERT_FALSE(r.error) << r.error->message;
    SCOPED_TRACE(testing::Message() << "column " << c);
    expectNearAll(doublesOf(r, c), want, tol, relative);
}

TableHandle tableOf(const std::string& name, const std::vector<ColumnHandle>& cols) {
    TablePtr t = Table::make(name);
    for (const ColumnHandle& c : cols) t->addColumn(c);
    return TableHandle(t);
}

std::string cataloguedMessage(int32_t code, const std::vector<std::pair<std::string, std::string>>& args) {
    struct Row {
        int32_t code;
        const char* text;
    };
    static const Row rows[] = {
#define FPK_ERROR(code, NAME, text) {code, text},
#include "common/fpkErrors.def"
#undef FPK_ERROR
    };
    std::string m;
    for (const Row& r : rows)
        if (r.code == code) m = r.text;
    auto fill = [&](const std::string& key, const std::string& value) {
        for (std::size_t at; (at = m.find("$" + key + "$")) != std::string::npos;) m.replace(at, key.size() + 2, value);
    };
    fill("ERROR_CODE", std::to_string(code));
    for (const auto& [k, v] : args) fill(k, v);
    return m;
}

std::size_t libraryBytes() {
    RhoUtils::Allocator* a = qelhost::findAllocator("QEL_FPKAllocator");
    return a != nullptr ? a->outstandingBytes() : 0;
}

void expectHostFaultsAreInternal(const std::function<CallResult()>& run) {
    ASSERT_FALSE(run().error);
    const std::size_t before = libraryBytes();
    for (qelhost::Fault fault : {qelhost::Fault::GetNative, qelhost::Fault::SetNative, qelhost::Fault::Allocate}) {
        long long k = 1;
        for (; k < 10000; ++k) {
            qelhost::armFault(fault, k);
            const CallResult r = run();
            const bool fired = qelhost::faultFired();
            qelhost::disarmFaults();
            if (!fired) break;
            ASSERT_TRUE(r.error) << "fault " << static_cast<int>(fault) << " at " << k;
            EXPECT_EQ(r.error->name, "ERR_FPK_COMM_INTERNAL_ERR");
        }
        EXPECT_GT(k, 1) << "no fault of kind " << static_cast<int>(fault) << " was reached";
    }
    EXPECT_EQ(libraryBytes(), before);
}

}  // namespace fpktest
