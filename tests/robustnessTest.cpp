// Host faults and concurrency: every function, on an input it accepts, is
// made to meet a failing column read, column write or allocation at each
// point it reaches, and is called from many threads at once.
#include <atomic>
#include <map>
#include <thread>

#include "InputGenerator.h"
#include "testSupport.h"

using namespace fpktest;

namespace {

struct Accepted {
    const qelhost::FunctionInfo* fn;
    fpkfuzz::GeneratedCall call;
};

// Fresh copies of the inputs and an empty result table, so that calls share nothing.
fpkfuzz::GeneratedCall freshCopy(const qelhost::FunctionInfo& fn, uint64_t seed) {
    fpkfuzz::InputGenerator gen(seed);
    fpkfuzz::GeneratorOptions options;
    options.wellFormed = true;
    return gen.make(fn, fpkfuzz::SizeClass::Small, options);
}

// For each function, the first seed whose well-formed input it accepts.
const std::map<std::string, uint64_t>& acceptedSeeds() {
    static const std::map<std::string, uint64_t> seeds = [] {
        std::map<std::string, uint64_t> out;
        for (const auto& fn : plugin().functions()) {
            for (uint64_t seed = 1; seed <= 300; ++seed) {
                fpkfuzz::GeneratedCall c = freshCopy(fn, seed);
                CallResult r = plugin().call(fn, c.inputs, TableHandle(c.result));
                if (!r.error) {
                    out[fn.name] = seed;
                    break;
                }
            }
        }
        return out;
    }();
    return seeds;
}

// A result table's contents as text, for comparing runs.
std::string fingerprint(const CallResult& r) {
    std::string s = r.error ? r.error->message : "";
    if (!r.table) return s;
    for (std::size_t c = 0; c < r.table->getColumnCount(); ++c) {
        ColumnBase* col = r.table->getColumn(c);
        s += "|";
        if (col->getValueType() == RhoCommonObjects::VT_STRING) {
            for (const auto& t : textsOf(r, c)) s += t + ",";
        } else {
            for (double v : doublesOf(r, c)) {
                char buf[32];
                std::snprintf(buf, sizeof buf, "%.17g,", v);
                s += buf;
            }
        }
    }
    return s;
}

}  // namespace

TEST(Robustness, MostFunctionsAcceptGeneratedInput) {
    // The fault and concurrency tests below cover the functions listed here.
    std::string missing;
    for (const auto& fn : plugin().functions())
        if (!acceptedSeeds().count(fn.name)) missing += fn.name + " ";
    RecordProperty("NotCovered", missing);
    EXPECT_GE(acceptedSeeds().size(), 4u) << "not covered: " << missing;
}

TEST(Robustness, HostFaultsAreInternalErrorsAndLeakNothing) {
    const qelhost::Fault kinds[] = {qelhost::Fault::GetNative, qelhost::Fault::SetNative, qelhost::Fault::Allocate};
    const char* kindNames[] = {"getNative", "setNative", "allocation"};
    for (const auto& [name, seed] : acceptedSeeds()) {
        const qelhost::FunctionInfo& fn = *plugin().find(name);
        for (int kind = 0; kind < 3; ++kind) {
            for (long long k = 1; k < 10000; ++k) {
                fpkfuzz::GeneratedCall c = freshCopy(fn, seed);
                const std::size_t before = libraryBytes();
                qelhost::armFault(kinds[kind], k);
                CallResult r = plugin().call(fn, c.inputs, TableHandle(c.result));
                const bool fired = qelhost::faultFired();
                qelhost::disarmFaults();
                EXPECT_EQ(before, libraryBytes()) << name << " " << kindNames[kind] << " " << k;
                if (!fired) {
                    EXPECT_FALSE(r.error) << name << " failed without a fault: " << r.error->message;
                    break;
                }
                ASSERT_TRUE(r.error) << name << ": a failed " << kindNames[kind] << " #" << k << " went unnoticed";
                EXPECT_EQ("ERR_FPK_COMM_INTERNAL_ERR", r.error->name)
                    << name << " " << kindNames[kind] << " #" << k << ": " << r.error->message;
            }
        }
    }
}

TEST(Robustness, ConcurrentCallsMatchSequentialResults) {
    std::vector<std::pair<const qelhost::FunctionInfo*, uint64_t>> work;
    std::vector<std::string> expected;
    for (const auto& [name, seed] : acceptedSeeds()) {
        const qelhost::FunctionInfo* fn = plugin().find(name);
        fpkfuzz::GeneratedCall c = freshCopy(*fn, seed);
        expected.push_back(fingerprint(plugin().call(*fn, c.inputs, TableHandle(c.result))));
        work.emplace_back(fn, seed);
    }
    ASSERT_FALSE(work.empty());
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            // Each thread walks the functions from its own start, so that the
            // same function is also called from several threads at once.
            for (std::size_t i = 0; i < work.size() * 3; ++i) {
                const std::size_t w = (i + static_cast<std::size_t>(t) * 3) % work.size();
                fpkfuzz::GeneratedCall c = freshCopy(*work[w].first, work[w].second);
                if (fingerprint(plugin().call(*work[w].first, c.inputs, TableHandle(c.result))) != expected[w])
                    ++mismatches;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(0, mismatches.load());
}
