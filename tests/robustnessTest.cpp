// Host faults and concurrency: every function, on an input it accepts, is
// made to meet a failing column read, column write or allocation at each
// point it reaches, and is called from many threads at once.
#include <atomic>
#include <map>
#include <thread>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "InputGenerator.h"
#include "fpk/FpkInput.h"
#include "fpk/FpkJson.h"
#include "testSupport.h"

using namespace fpktest;

namespace {

// Where a function's accepted input comes from: a generated input (by seed)
// or an example file. Every call gets fresh copies, so that calls share nothing.
struct Source {
    uint64_t seed = 0;
    std::string example;
};

struct Fresh {
    std::vector<Argument> inputs;
    TablePtr result;
};

Fresh freshCopy(const qelhost::FunctionInfo& fn, const Source& src) {
    if (!src.example.empty()) {
        std::ifstream in(src.example);
        std::stringstream text;
        text << in.rdbuf();
        fpkcli::Binder binder(plugin(), fn);
        binder.addJson(fpkcli::json::parse(text.str(), src.example));
        fpkcli::Inputs bound = binder.finish();
        return Fresh{bound.arguments, bound.result};
    }
    fpkfuzz::InputGenerator gen(src.seed);
    fpkfuzz::GeneratorOptions options;
    options.wellFormed = true;
    fpkfuzz::GeneratedCall c = gen.make(fn, fpkfuzz::SizeClass::Small, options);
    return Fresh{c.inputs, c.result};
}

CallResult run(const qelhost::FunctionInfo& fn, const Source& src) {
    Fresh f = freshCopy(fn, src);
    return plugin().call(fn, f.inputs, TableHandle(f.result));
}

// For each function, an input it accepts: its first example that runs
// without error, else the first generated input it accepts.
const std::map<std::string, Source>& acceptedInputs() {
    static const std::map<std::string, Source> sources = [] {
        std::map<std::string, Source> out;
        std::vector<std::filesystem::path> examples;
        for (const auto& e : std::filesystem::directory_iterator(std::string(FPK_SOURCE_DIR) + "/examples"))
            if (e.path().extension() == ".json") examples.push_back(e.path());
        std::sort(examples.begin(), examples.end());
        for (const auto& fn : plugin().functions()) {
            std::string lower = fn.name;
            for (char& ch : lower) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
            for (const auto& path : examples) {
                const std::string stem = path.stem().string();
                if (stem.substr(0, stem.find('-')) != lower) continue;
                Source src{0, path.string()};
                try {
                    if (!run(fn, src).error) {
                        out[fn.name] = src;
                        break;
                    }
                } catch (const std::exception&) {
                    // An example the binder refuses is the examples test's concern.
                }
            }
            for (uint64_t seed = 1; seed <= 300 && !out.count(fn.name); ++seed)
                if (!run(fn, Source{seed, {}}).error) out[fn.name] = Source{seed, {}};
        }
        return out;
    }();
    return sources;
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

TEST(Robustness, EveryFunctionHasAnAcceptedInput) {
    // The fault and concurrency tests below cover the functions listed here.
    std::string missing;
    for (const auto& fn : plugin().functions())
        if (!acceptedInputs().count(fn.name)) missing += fn.name + " ";
    RecordProperty("NotCovered", missing);
    EXPECT_EQ("", missing) << "functions without an accepted input";
}

TEST(Robustness, HostFaultsAreInternalErrorsAndLeakNothing) {
    const qelhost::Fault kinds[] = {qelhost::Fault::GetNative, qelhost::Fault::SetNative, qelhost::Fault::Allocate};
    const char* kindNames[] = {"getNative", "setNative", "allocation"};
    for (const auto& [name, src] : acceptedInputs()) {
        const qelhost::FunctionInfo& fn = *plugin().find(name);
        for (int kind = 0; kind < 3; ++kind) {
            for (long long k = 1; k < 10000; ++k) {
                Fresh c = freshCopy(fn, src);
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
    std::vector<std::pair<const qelhost::FunctionInfo*, Source>> work;
    std::vector<std::string> expected;
    for (const auto& [name, src] : acceptedInputs()) {
        const qelhost::FunctionInfo* fn = plugin().find(name);
        expected.push_back(fingerprint(run(*fn, src)));
        work.emplace_back(fn, src);
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
                if (fingerprint(run(*work[w].first, work[w].second)) != expected[w]) ++mismatches;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(0, mismatches.load());
}
