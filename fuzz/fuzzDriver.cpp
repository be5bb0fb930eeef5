// Calls every catalogue function through the loader with generated inputs
// for a bounded time and checks that each call ends in a result or in a
// catalogued error with a fully filled message, leaving the library's
// allocators as they were.
//
//   fpk_fuzz [--seconds S] [--seed N] [--function NAME] [--library PATH] [--max-rows N]
//
// Exit status 0 when no call broke the rules, 1 otherwise.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "InputGenerator.h"

namespace {

const std::set<int32_t>& catalogueCodes() {
    static const std::set<int32_t> codes = {
#define FPK_ERROR(code, NAME, text) code,
#include "common/fpkErrors.def"
#undef FPK_ERROR
    };
    return codes;
}

// True when the message still holds a $NAME$ placeholder.
bool hasPlaceholder(const std::string& m) {
    for (std::size_t i = m.find('$'); i != std::string::npos; i = m.find('$', i + 1)) {
        std::size_t j = i + 1;
        while (j < m.size() && ((m[j] >= 'A' && m[j] <= 'Z') || (m[j] >= '0' && m[j] <= '9') || m[j] == '_')) ++j;
        if (j > i + 1 && j < m.size() && m[j] == '$') return true;
    }
    return false;
}

struct Stats {
    long long calls = 0;
    long long ok = 0;
    std::map<std::string, long long> errors;
};

std::size_t libraryBytes() {
    RhoUtils::Allocator* a = qelhost::findAllocator("QEL_FPKAllocator");
    return a != nullptr ? a->outstandingBytes() : 0;
}

// Aborts the process when one call runs for too long, naming it.
class Watchdog {
public:
    explicit Watchdog(int seconds) : limit_(seconds) {
        thread_ = std::thread([this] {
            while (!stop_) {
                std::this_thread::sleep_for(std::chrono::milliseconds(200));
                const long long started = started_.load();
                if (started != 0 && now() - started > limit_ * 1000LL) {
                    std::fprintf(stderr, "fpk_fuzz: a call of %s ran longer than %d s (seed %llu, call %lld)\n",
                                 current_.load(), limit_, seed_, call_.load());
                    std::_Exit(3);
                }
            }
        });
    }
    ~Watchdog() {
        stop_ = true;
        thread_.join();
    }
    void begin(const char* fn, long long call) {
        current_ = fn;
        call_ = call;
        started_ = now();
    }
    void end() { started_ = 0; }
    unsigned long long seed_ = 0;

private:
    static long long now() {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    int limit_;
    std::atomic<bool> stop_{false};
    std::atomic<long long> started_{0};
    std::atomic<const char*> current_{""};
    std::atomic<long long> call_{0};
    std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) {
    double seconds = 30;
    unsigned long long seed = 20261122;
    std::string only, library;
    std::size_t maxRows = 300000;
    int callLimit = 60;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "fpk_fuzz: %s needs a value\n", a.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--seconds")
            seconds = std::stod(value());
        else if (a == "--seed")
            seed = std::stoull(value());
        else if (a == "--function")
            only = value();
        else if (a == "--library")
            library = value();
        else if (a == "--max-rows")
            maxRows = std::stoul(value());
        else if (a == "--call-limit")
            callLimit = std::stoi(value());
        else {
            std::fprintf(stderr,
                         "usage: fpk_fuzz [--seconds S] [--seed N] [--function NAME] [--library PATH] "
                         "[--max-rows N] [--call-limit SECONDS]\n");
            return 2;
        }
    }
    std::unique_ptr<qelhost::Plugin> plugin = qelhost::Plugin::open(qelhost::defaultLibraryPath(library));
    std::vector<const qelhost::FunctionInfo*> functions;
    for (const auto& f : plugin->functions())
        if (only.empty() || f.name == only) functions.push_back(&f);
    if (functions.empty()) {
        std::fprintf(stderr, "fpk_fuzz: no function %s\n", only.c_str());
        return 2;
    }

    fpkfuzz::InputGenerator gen(seed);
    std::map<std::string, Stats> stats;
    Watchdog watchdog(callLimit);
    watchdog.seed_ = seed;
    int violations = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    long long call = 0;
    // Every function gets its turn in order, round after round, so that a
    // short run still reaches all of them.
    while (std::chrono::steady_clock::now() < deadline) {
        for (const qelhost::FunctionInfo* fn : functions) {
            if (std::chrono::steady_clock::now() >= deadline) break;
            fpkfuzz::GeneratorOptions options;
            options.wellFormed = gen.rng()() % 4 == 0;
            options.maxRows = maxRows;
            fpkfuzz::GeneratedCall c = gen.make(*fn, gen.randomSize(), options);
            const std::size_t before = libraryBytes();
            ++call;
            watchdog.begin(fn->name.c_str(), call);
            qelhost::CallResult r = plugin->call(*fn, c.inputs, qelhost::TableHandle(c.result));
            watchdog.end();
            Stats& s = stats[fn->name];
            ++s.calls;
            auto fail = [&](const std::string& why) {
                ++violations;
                std::fprintf(stderr, "VIOLATION %s (seed %llu, call %lld, %zu rows): %s\n", fn->name.c_str(), seed,
                             call, c.rows, why.c_str());
            };
            if (r.status != 0) fail("wrapper returned " + std::to_string(r.status));
            if (r.error) {
                s.errors[std::to_string(r.error->code) + " " + r.error->name]++;
                if (!catalogueCodes().count(r.error->code)) fail("uncatalogued error: " + r.error->message);
                if (hasPlaceholder(r.error->message)) fail("unfilled message: " + r.error->message);
            } else {
                ++s.ok;
            }
            const std::size_t after = libraryBytes();
            if (after != before)
                fail("allocator bytes " + std::to_string(before) + " before, " + std::to_string(after) + " after");
        }
    }
    long long total = 0;
    std::printf("%-24s %8s %8s  errors\n", "function", "calls", "ok");
    for (const auto& [name, s] : stats) {
        total += s.calls;
        std::printf("%-24s %8lld %8lld ", name.c_str(), s.calls, s.ok);
        for (const auto& [code, count] : s.errors) std::printf(" %s x%lld;", code.c_str(), count);
        std::printf("\n");
    }
    std::printf("%lld calls, %d violations, seed %llu\n", total, violations, seed);
    return violations == 0 ? 0 : 1;
}
