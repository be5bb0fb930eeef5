// Error registry, trace, profiler, clock, allocators and fault injection of
// the reference host.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <set>

#include "../../platform/QELClock.h"
#include "../../platform/QELError.h"
#include "../../platform/QELProfiler.h"
#include "../../platform/QELTrace.h"
#include "../../platform/RhoUtils/Allocator.h"
#include "../../platform/RhoUtils/Parallel.h"
#include "../../platform/RhoUtils/RefCounted.h"
#include "HostFaults.h"
#include "QELHost.h"

namespace RhoUtils {
RefCounted::~RefCounted() = default;
void RefCounted::destroy() noexcept { delete this; }
namespace Parallel {
RangeFunctor::~RangeFunctor() = default;
}
}  // namespace RhoUtils

// ---------------------------------------------------------------- faults
namespace qelhost {
namespace {
struct FaultState {
    std::atomic<long long> armedAt[3] = {0, 0, 0};
    std::atomic<long long> counter[3] = {0, 0, 0};
    std::atomic<bool> fired{false};
};
FaultState& faults() {
    static FaultState s;
    return s;
}
}  // namespace

namespace detail {
bool shouldFail(Fault fault) noexcept {
    FaultState& s = faults();
    const int i = static_cast<int>(fault);
    const long long n = s.counter[i].fetch_add(1, std::memory_order_relaxed) + 1;
    const long long k = s.armedAt[i].load(std::memory_order_relaxed);
    if (k != 0 && n == k) {
        s.fired.store(true);
        return true;
    }
    return false;
}
}  // namespace detail

void armFault(Fault fault, long long k) {
    FaultState& s = faults();
    for (int i = 0; i < 3; ++i) s.counter[i] = 0;
    s.fired = false;
    s.armedAt[static_cast<int>(fault)] = k;
}
void disarmFaults() {
    FaultState& s = faults();
    for (int i = 0; i < 3; ++i) {
        s.armedAt[i] = 0;
        s.counter[i] = 0;
    }
    s.fired = false;
}
long long faultCounter(Fault fault) { return faults().counter[static_cast<int>(fault)].load(); }
void resetFaultCounters() {
    for (int i = 0; i < 3; ++i) faults().counter[i] = 0;
}
bool faultFired() { return faults().fired.load(); }
}  // namespace qelhost

// ---------------------------------------------------------------- allocators
namespace qelhost {
namespace {
class HostAllocator final : public RhoUtils::Allocator {
public:
    HostAllocator(std::string name, HostAllocator* parent) : name_(std::move(name)), parent_(parent) {}

    void* allocate(std::size_t bytes) noexcept override {
        if (detail::shouldFail(Fault::Allocate)) return nullptr;
        void* p = std::malloc(bytes == 0 ? 1 : bytes);
        if (p == nullptr) return nullptr;
        for (HostAllocator* a = this; a != nullptr; a = a->parent_)
            a->outstanding_.fetch_add(static_cast<long long>(bytes), std::memory_order_relaxed);
        return p;
    }
    void deallocate(void* p, std::size_t bytes) noexcept override {
        if (p == nullptr) return;
        std::free(p);
        for (HostAllocator* a = this; a != nullptr; a = a->parent_)
            a->outstanding_.fetch_sub(static_cast<long long>(bytes), std::memory_order_relaxed);
    }
    const char* getName() const noexcept override { return name_.c_str(); }
    Allocator* getParent() const noexcept override { return parent_; }
    std::size_t outstandingBytes() const noexcept override {
        const long long v = outstanding_.load(std::memory_order_relaxed);
        return v > 0 ? static_cast<std::size_t>(v) : 0;
    }
    // A child of the same name is made once and handed out again, so that a
    // plug-in loaded twice finds its allocators where it left them.
    Allocator* createChild(const char* name) override {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& c : children_)
            if (c->name_ == name) return c.get();
        children_.push_back(std::make_unique<HostAllocator>(name, this));
        return children_.back().get();
    }
    HostAllocator* find(const std::string& name) {
        if (name_ == name) return this;
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& c : children_)
            if (HostAllocator* f = c->find(name)) return f;
        return nullptr;
    }

private:
    std::string name_;
    HostAllocator* parent_;
    std::atomic<long long> outstanding_{0};
    std::mutex mutex_;
    std::vector<std::unique_ptr<HostAllocator>> children_;
};

HostAllocator& globalAllocator() {
    static HostAllocator* root = new HostAllocator("GlobalAllocator", nullptr);  // lives as long as the process
    return *root;
}
}  // namespace

RhoUtils::Allocator* findAllocator(const std::string& name) { return globalAllocator().find(name); }
}  // namespace qelhost

namespace RhoUtils {
Allocator::~Allocator() = default;
Allocator& getGlobalAllocator() { return qelhost::globalAllocator(); }

void runOnce(OnceFlag& flag, void (*fn)()) {
    static std::mutex mutex;
    std::atomic_ref<int> state(flag.state);
    if (state.load(std::memory_order_acquire) == 2) return;
    std::lock_guard<std::mutex> lock(mutex);
    if (state.load(std::memory_order_relaxed) == 2) return;
    fn();
    state.store(2, std::memory_order_release);
}
}  // namespace RhoUtils

// ---------------------------------------------------------------- errors
namespace {
struct Registry {
    std::mutex mutex;
    std::map<int32_t, int32_t> handles;
    long long calls = 0;
};
Registry& registry() {
    static Registry r;
    return r;
}
}  // namespace

namespace QELError {

int32_t register_error(const ErrorDefinition& def) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    ++r.calls;
    auto it = r.handles.find(def.code);
    if (it != r.handles.end()) return it->second;
    const int32_t handle = static_cast<int32_t>(r.handles.size()) + 1;
    r.handles.emplace(def.code, handle);
    return handle;
}

Exception::Exception(const char* file, int line, const ErrorDefinition& def)
    : file_(file), line_(line), code_(def.code), name_(def.name), template_(def.message) {}
Exception::Exception(const Exception&) = default;
Exception& Exception::operator=(const Exception&) = default;
Exception::~Exception() = default;

Exception& Exception::addArgument(std::string_view name, int64_t value) {
    ErrorArgument a;
    a.name = std::string(name);
    a.isInteger = true;
    a.integer = value;
    args_.push_back(std::move(a));
    formatted_.clear();
    return *this;
}

Exception& Exception::addArgument(std::string_view name, std::string_view value) {
    ErrorArgument a;
    a.name = std::string(name);
    a.text = std::string(value);
    args_.push_back(std::move(a));
    formatted_.clear();
    return *this;
}

std::string Exception::getMessage() const {
    std::string out;
    const std::string_view t(template_ != nullptr ? template_ : "");
    std::size_t i = 0;
    while (i < t.size()) {
        if (t[i] == '$') {
            const std::size_t close = t.find('$', i + 1);
            if (close != std::string_view::npos) {
                const std::string_view key = t.substr(i + 1, close - i - 1);
                const ErrorArgument* found = nullptr;
                for (const ErrorArgument& a : args_)
                    if (a.name == key) found = &a;  // the last one given wins
                if (found != nullptr) {
                    out += found->isInteger ? std::to_string(found->integer) : found->text;
                    i = close + 1;
                    continue;
                }
            }
        }
        out += t[i++];
    }
    return out;
}

const char* Exception::what() const noexcept {
    try {
        if (formatted_.empty()) formatted_ = getMessage();
        return formatted_.c_str();
    } catch (...) {
        return template_;
    }
}

}  // namespace QELError

namespace qelhost {
RegistryStats registryStats() {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return RegistryStats{r.calls, r.handles.size()};
}
bool isRegistered(int32_t code) {
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.handles.count(code) != 0;
}
}  // namespace qelhost

// ---------------------------------------------------------------- trace
namespace {
struct TraceState {
    std::mutex mutex;
    std::map<std::string, int> levels;
    std::set<QELTrace::Topic*> topics;
    std::unique_ptr<std::ofstream> file;
    qelhost::TraceSink sink;
    bool envRead = false;
};
TraceState& traceState() {
    static TraceState* s = new TraceState();  // topics may unregister during exit
    return *s;
}

bool applyTraceSettings(TraceState& s, std::string_view settings) {
    bool ok = true;
    while (!settings.empty()) {
        const std::size_t comma = settings.find(',');
        std::string_view item = settings.substr(0, comma);
        settings = comma == std::string_view::npos ? std::string_view() : settings.substr(comma + 1);
        if (item.empty()) continue;
        const std::size_t eq = item.find('=');
        if (eq == std::string_view::npos || eq == 0) {
            ok = false;
            continue;
        }
        const std::string name(item.substr(0, eq));
        const std::string levelText(item.substr(eq + 1));
        char* end = nullptr;
        const long level = std::strtol(levelText.c_str(), &end, 10);
        if (levelText.empty() || *end != '\0' || level < 0 || level > 9) {
            ok = false;
            continue;
        }
        s.levels[name] = static_cast<int>(level);
        for (QELTrace::Topic* t : s.topics)
            if (name == t->getName()) t->setLevel(static_cast<int>(level));
    }
    return ok;
}

void readTraceEnvironment(TraceState& s) {
    if (s.envRead) return;
    s.envRead = true;
    if (const char* env = std::getenv("FPK_TRACE")) applyTraceSettings(s, env);
    if (const char* path = std::getenv("FPK_TRACE_FILE")) {
        auto f = std::make_unique<std::ofstream>(path, std::ios::app);
        if (*f) s.file = std::move(f);
    }
}
}  // namespace

namespace QELTrace {

Topic::Topic(const char* name) : name_(name) {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    readTraceEnvironment(s);
    s.topics.insert(this);
    auto it = s.levels.find(name);
    level_.store(it != s.levels.end() ? it->second : 0);
}

Topic::~Topic() {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.topics.erase(this);
}

void Topic::write(int level, std::string_view line) const {
    if (!isEnabled(level)) return;
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.sink) {
        s.sink(name_, level, line);
        return;
    }
    if (s.file) {
        *s.file << '[' << name_ << "] " << line << '\n';
        s.file->flush();
        return;
    }
    std::fprintf(stderr, "[%s] %.*s\n", name_, static_cast<int>(line.size()), line.data());
}

}  // namespace QELTrace

namespace qelhost {
void setTraceLevel(const std::string& topic, int level) {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    readTraceEnvironment(s);
    s.levels[topic] = level;
    for (QELTrace::Topic* t : s.topics)
        if (topic == t->getName()) t->setLevel(level);
}

bool configureTrace(std::string_view settings) {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    readTraceEnvironment(s);
    return applyTraceSettings(s, settings);
}

bool setTraceFile(const std::string& path) {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    readTraceEnvironment(s);
    if (path.empty()) {
        s.file.reset();
        return true;
    }
    auto f = std::make_unique<std::ofstream>(path, std::ios::app);
    if (!*f) return false;
    s.file = std::move(f);
    return true;
}

void setTraceSink(TraceSink sink) {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.sink = std::move(sink);
}

std::vector<std::string> registeredTopics() {
    TraceState& s = traceState();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::vector<std::string> names;
    for (QELTrace::Topic* t : s.topics) names.emplace_back(t->getName());
    return names;
}
}  // namespace qelhost

// ---------------------------------------------------------------- profiler
namespace {
struct ProfilerState {
    std::atomic<bool> enabled{false};
    std::mutex mutex;
    std::map<std::string, qelhost::SectionStats> sections;
};
ProfilerState& profiler() {
    static ProfilerState s;
    return s;
}
long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
}  // namespace

namespace QELProfiler {
bool isEnabled() noexcept { return profiler().enabled.load(std::memory_order_relaxed); }

Section::Section(const char*, int, const char* name) noexcept : name_(nullptr), start_ns_(0) {
    if (!isEnabled()) return;
    name_ = name;
    start_ns_ = nowNs();
}

Section::~Section() {
    if (name_ == nullptr) return;
    const long long elapsed = nowNs() - start_ns_;
    ProfilerState& p = profiler();
    std::lock_guard<std::mutex> lock(p.mutex);
    qelhost::SectionStats& s = p.sections[name_];
    ++s.count;
    s.totalNs += elapsed;
}
}  // namespace QELProfiler

namespace qelhost {
void setProfilerEnabled(bool enabled) { profiler().enabled = enabled; }
std::map<std::string, SectionStats> profilerSections() {
    std::lock_guard<std::mutex> lock(profiler().mutex);
    return profiler().sections;
}
void resetProfiler() {
    std::lock_guard<std::mutex> lock(profiler().mutex);
    profiler().sections.clear();
}
}  // namespace qelhost

// ---------------------------------------------------------------- clock
namespace {
constexpr long long kNoFixedClock = -1LL << 62;

// Midnight UTC of a YYYYMMDD date, in milliseconds since 1970-01-01.
long long civilToMillis(long yyyymmdd) {
    const int y = static_cast<int>(yyyymmdd / 10000), m = static_cast<int>(yyyymmdd / 100 % 100),
              d = static_cast<int>(yyyymmdd % 100);
    const int yy = y - (m <= 2 ? 1 : 0);
    const long long era = (yy >= 0 ? yy : yy - 399) / 400;
    const long long yoe = yy - era * 400;
    const long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return (era * 146097 + doe - 719468) * 86400000LL;
}

std::atomic<long long>& fixedMillis() {
    static std::atomic<long long> v{[] {
        const char* env = std::getenv("FPK_TODAY");
        return env != nullptr ? civilToMillis(std::strtol(env, nullptr, 10)) : kNoFixedClock;
    }()};
    return v;
}
}  // namespace

namespace QELClock {
int64_t currentTimeUtcMillis() noexcept {
    const long long fixed = fixedMillis().load();
    if (fixed != kNoFixedClock) return fixed;
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}
}  // namespace QELClock

namespace qelhost {
void setFixedDate(std::optional<int> yyyymmdd) { fixedMillis() = yyyymmdd ? civilToMillis(*yyyymmdd) : kNoFixedClock; }
}  // namespace qelhost
