// Host failures and the begin line of the stock, debt, driver and queueing
// functions: a failing first column read is traced on the function's own
// topic under the column's member name and raised as the internal error.
#include <functional>
#include <mutex>

#include "testSupport.h"

using namespace fpktest;

namespace {

TableHandle table(const char* name, std::vector<ColumnHandle> cols) {
    TablePtr t = Table::make(name);
    for (auto& c : cols) t->addColumn(c);
    return TableHandle(t);
}

TableHandle doublesResult(std::initializer_list<const char*> names, int firstType = RhoCommonObjects::VT_DOUBLE) {
    TablePtr t = Table::make("result");
    bool first = true;
    for (const char* n : names) {
        t->addColumn(ColumnHandle(Column::make(n, first ? firstType : RhoCommonObjects::VT_DOUBLE)));
        first = false;
    }
    return TableHandle(t);
}

struct Case {
    const char* fn;
    const char* topic;
    const char* className;
    const char* failLine;
    std::function<std::vector<qelhost::Argument>()> inputs;
    std::function<TableHandle()> result;  // empty: the catalogue's
};

}  // namespace

TEST(DelayTrace, FirstReadFailureIsTracedAndRaised) {
    const Case cases[] = {
        {"DELAY", "QELFPKDELAY", "FPKDelay", "paidTab->getNative failed.",
         [] {
             return std::vector<qelhost::Argument>{table("PRIME", {col({1})}), table("INVOICE", {col({1})}),
                                                   table("PAID", {col({100})})};
         },
         [] { return doublesResult({"R"}); }},
        {"DELAYSTOCK", "QELFPKDELAYSTOCK", "FPKDelayStock", "primeCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({1}), col({1}), col({1}), col({0})}; }, nullptr},
        {"DAYSOUTSTANDING", "QELFPKDAYSOUTSTANDING_DELAYDEBT", "FPKDaysOutstanding_DelayDebt",
         "indicatorCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({0}), col({1}), col({1}), col({}), col({1}), col({}), 0}; },
         nullptr},
        {"FEED", "QELFPKFEED", "FPKFeed", "primeCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({1}), col({1})}; }, nullptr},
        {"FEEDOVERFLOW", "QELFPKFEEDOVERFLOW", "FPKFeedOverflow", "factorCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({1}), col({1}), col({0})}; }, nullptr},
        {"DRIVER", "QELFPKDRIVER", "FPKDriver", "timeCol->getNative failed.",
         [] {
             return std::vector<qelhost::Argument>{table("HISTORY", {col({1})}), table("TIME", {scol({"2024"})}),
                                                   table("SWITCHOVER", {col({})}), table("SWITCHOVERDATE", {scol({})}),
                                                   table("DRIVERS", {col({1})})};
         },
         [] { return doublesResult({"TIME", "D"}, RhoCommonObjects::VT_STRING); }},
        {"VOLUMEDRIVER", "QELFPKVDRIVER", "FPKVolumeDriver", "bandwidthCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({1, 2}), col({5})}; }, nullptr},
        {"FORECASTAGENTS", "QELFPKFORAgents", "FPKForecastAgents", "methodCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({80}), col({20}), col({1}), col({1})}; }, nullptr},
        {"FORECASTSENSITIVITY", "QELFPKFORECASTSENSITIVITY", "FPKForecastSensitivity", "agentsCol->getNative failed.",
         [] { return std::vector<qelhost::Argument>{col({1}), col({1}), col({1}), col({1}), col({1}), col({1})}; },
         nullptr},
    };
    std::mutex m;
    std::vector<std::string> lines;
    qelhost::setTraceSink([&](const std::string& topic, int, std::string_view line) {
        std::lock_guard<std::mutex> g(m);
        lines.push_back(topic + "|" + std::string(line));
    });
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fn);
        lines.clear();
        qelhost::setTraceLevel(c.topic, 3);
        const qelhost::FunctionInfo* info = plugin().find(c.fn);
        ASSERT_NE(info, nullptr);
        TableHandle result = c.result ? c.result() : TableHandle(plugin().makeResultTable(*info));
        const auto inputs = c.inputs();
        qelhost::armFault(qelhost::Fault::GetNative, 1);
        auto r = plugin().call(*info, inputs, result);
        qelhost::disarmFaults();
        qelhost::setTraceLevel(c.topic, 0);
        expectError(r, "ERR_FPK_COMM_INTERNAL_ERR", "FPK error[73000090]:Internal error. Check trace for details.");
        const std::vector<std::string> want = {std::string(c.topic) + "|Information: " + c.className +
                                                   "::execute() begin",
                                               std::string(c.topic) + "|" + c.failLine};
        EXPECT_EQ(lines, want);
    }
    qelhost::setTraceSink(nullptr);
}
