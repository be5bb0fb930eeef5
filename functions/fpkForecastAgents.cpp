// FORECASTAGENTS: the smallest number of agents (or its continuous version)
// that meets a service level or an average speed of answer.
#include "fpkForecastAgents.h"

#include <cmath>
#include <limits>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkFeed.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(forecastAgentsAllocator, "ForecastAgentsAllocator")

// e^-60: how far the error of the approximate start must shrink.
constexpr double kDampingLog = 60.0;
// Below this start there is nothing worth skipping.
constexpr double kMinSkip = 64.0;
}  // namespace

namespace erlang {

WalkStart walkStart(double a, double upto) {
    const double top = std::floor(upto < a ? upto : a);
    if (!(top >= kMinSkip)) return {0.0, 1.0};
    // With m steps from j0 = top - m up to top, the error is multiplied by the
    // product of j / A, whose logarithm is at most -(m (A - top) + m (m-1) / 2) / A
    // (since ln x <= x - 1). m is the smallest count that makes it -60.
    const double g = a - top - 0.5;
    const double c = 2 * kDampingLog * a;
    const double root = std::sqrt(g * g + c);
    const double m = std::ceil(g >= 0 ? c / (g + root) : root - g);
    if (m + kMinSkip >= top) return {0.0, 1.0};
    const double j0 = top - m;
    return {j0, a / (a - j0)};
}

double erlangB(double n, double a) {
    if (a == 0) return 0.0;
    if (std::isinf(a)) return 1.0;
    const WalkStart s = walkStart(a, n);
    const double invA = 1 / a;
    double inv = s.inverse;
    for (double j = s.j0 + 1; j <= n; j += 1) {
        inv = 1 + j * invA * inv;
        if (std::isinf(inv)) return 0.0;  // every later value is 0 too
    }
    return 1 / inv;
}

double agentsFor(FPKForecastAgents::methodType method, double sla, double st, double srph, double aht) {
    const double a = srph * aht / 3600;
    const double target = sla / 100;
    const WalkStart s = walkStart(a, std::numeric_limits<double>::infinity());
    const double invA = 1 / a;
    double inv = s.inverse;
    double n = s.j0;
    // Counts up to the traffic are unstable and never meet a target.
    while (n + 1 <= a) {
        n += 1;
        inv = 1 + n * invA * inv;
    }
    double prevSl = 0;
    bool prevStable = false;
    for (;;) {
        n += 1;
        inv = 1 + n * invA * inv;
        const double b = 1 / inv;
        const double c = erlangC(n, a, b);
        if (method == FPKForecastAgents::SPEED_OF_ANSWER) {
            if (c * aht / (n - a) <= st) return n;
            continue;
        }
        const double sl = 1 - c * std::exp(-(n - a) * st / aht);
        if (sl >= target) {
            if (method == FPKForecastAgents::SERVICE_LEVEL) return n;
            // Straight line from the count below (or from the traffic, where
            // the service level falls to 0) up to n.
            const double xLo = prevStable ? n - 1 : a;
            const double yLo = prevStable ? prevSl : 0.0;
            return xLo + (n - xLo) * (target - yLo) / (sl - yLo);
        }
        prevSl = sl;
        prevStable = true;
    }
}

}  // namespace erlang

namespace {

const QELTrace::Topic& topic() { return TRACE_FPKFORECASTAGENTS; }

// FORECASTAGENTS over one row range: reads SLA, ST, SRPH and AHT, writes AGENTS.
class forecastAgentsvol final : public ColumnJob {
public:
    forecastAgentsvol(ColumnBase* sla, ColumnBase* st, ColumnBase* srph, ColumnBase* aht, ColumnBase* agents,
                      int32_t method)
        : sla_(sla), st_(st), srph_(srph), aht_(aht), agents_(agents), method_(method) {}
    forecastAgentsvol(const forecastAgentsvol&) = default;

    template <class TSla, class TSt, class TSrph, class TAht, class TAgents>
    void run(std::size_t begin, std::size_t end) {
        RhoUtils::Allocator& alloc = forecastAgentsAllocator();
        FpkVector<TSla> sla = readDoubles(sla_, begin, end, alloc, {topic(), "slaCol->getNative failed."});
        FpkVector<TSt> st = readDoubles(st_, begin, end, alloc, {topic(), "stCol->getNative failed."});
        FpkVector<TSrph> srph = readDoubles(srph_, begin, end, alloc, {topic(), "srphCol->getNative failed."});
        FpkVector<TAht> aht = readDoubles(aht_, begin, end, alloc, {topic(), "ahtCol->getNative failed."});
        FpkVector<TAgents> agents = makeVector<TAgents>(alloc, end - begin);
        const auto method = static_cast<FPKForecastAgents::methodType>(method_);
        for (std::size_t i = 0; i < end - begin; ++i)
            agents[i] = srph[i] == 0 ? 0.0 : erlang::agentsFor(method, sla[i], st[i], srph[i], aht[i]);
        writeRange(agents_, begin, end, agents.data(), nullptr, {topic(), "agentsCol->setNative failed."});
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double, double, double, double, double>(begin, end); }

private:
    ColumnBase* sla_;
    ColumnBase* st_;
    ColumnBase* srph_;
    ColumnBase* aht_;
    ColumnBase* agents_;
    int32_t method_;
};

[[noreturn]] void invalid(const ColumnBase* col, const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col->getName()}, {"APPEND", append});
}

}  // namespace

void FPKForecastAgents::execute() {
    traceInfo(topic(), "Information: FPKForecastAgents::execute() begin");
    Verifier::verify(methodCol, "d");
    Verifier::verify(slaCol, "d");
    Verifier::verify(stCol, "d");
    Verifier::verify(srphCol, "d");
    Verifier::verify(ahtCol, "d");
    Verifier::verify(resultTab, "d");
    const std::size_t n = slaCol->size();
    if (stCol->size() != n || srphCol->size() != n || ahtCol->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_4, {"COL1", slaCol->getName()}, {"COL2", stCol->getName()},
                  {"COL3", srphCol->getName()}, {"COL4", ahtCol->getName()});
    RhoUtils::Allocator& alloc = forecastAgentsAllocator();
    const double methodValue = readFirst(methodCol, alloc, {topic(), "methodCol->getNative failed."});
    if (methodValue != 1.0 && methodValue != 2.0 && methodValue != 3.0) invalid(methodCol, "Method should be in (1,2,3)");
    const auto method = static_cast<methodType>(static_cast<int>(methodValue));
    ColumnBase* agentsCol = resultTab->getColumn(0);
    const IoSite writeSite{topic(), "agentsCol->setNative failed."};
    if (n == 0) {
        resizeColumn(agentsCol, 0, writeSite);
        return;
    }
    {
        // Every value check runs here, rows in order, so the first failing
        // row is reported and no range job can fail on a value.
        FpkVector<double> sla = readDoubles(slaCol, alloc, {topic(), "slaCol->getNative failed."});
        FpkVector<double> st = readDoubles(stCol, alloc, {topic(), "stCol->getNative failed."});
        FpkVector<double> srph = readDoubles(srphCol, alloc, {topic(), "srphCol->getNative failed."});
        FpkVector<double> aht = readDoubles(ahtCol, alloc, {topic(), "ahtCol->getNative failed."});
        const bool byServiceLevel = method != SPEED_OF_ANSWER;
        for (std::size_t i = 0; i < n; ++i) {
            if (!(std::isfinite(srph[i]) && srph[i] >= 0)) invalid(srphCol, "SRPH should not be less than 0");
            if (srph[i] == 0) continue;
            if (byServiceLevel && !(std::isfinite(sla[i]) && sla[i] >= 0 && sla[i] < 100))
                invalid(slaCol, "SLA should be at least 0 and less than 100");
            if (byServiceLevel && !(std::isfinite(st[i]) && st[i] >= 0)) invalid(stCol, "ST should not be less than 0");
            if (!byServiceLevel && !(std::isfinite(st[i]) && st[i] > 0)) invalid(stCol, "ST should be greater than 0");
            if (!(std::isfinite(aht[i]) && aht[i] > 0)) invalid(ahtCol, "AHT should be greater than 0");
            if (!(srph[i] * aht[i] / 3600 <= erlang::kMaxTraffic))
                invalid(srphCol, "Traffic SRPH*AHT/3600 should not be greater than 1e9");
        }
    }
    resizeColumn(agentsCol, n, writeSite);
    RhoUtils::SharedPtr<forecastAgentsvol> job =
        makeJob<forecastAgentsvol>(alloc, slaCol, stCol, srphCol, ahtCol, agentsCol, static_cast<int32_t>(method));
    runColumnJob(*job, n, "ForecastAgents", __FILE__, __LINE__);
}

void qelForecastAgents(const ColumnHandle& method, const ColumnHandle& sla, const ColumnHandle& st,
                       const ColumnHandle& srph, const ColumnHandle& aht, TableHandle& result) {
    FPKForecastAgents(method.get(), sla.get(), st.get(), srph.get(), aht.get(), result.get()).execute();
}

}  // namespace businessFunctions
