#include "FpkApp.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "FpkCsv.h"
#include "FpkErrors.h"
#include "FpkInput.h"
#include "FpkJson.h"
#include "FpkOutput.h"

namespace fpkcli {

namespace {

using qelhost::FunctionInfo;
using qelhost::ParamInfo;

std::string upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return s;
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

std::string extension(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    const std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return lower(path.substr(dot + 1));
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
    std::ostringstream ss;
    ss << in.rdbuf();
    if (in.bad()) throw UsageError("cannot read " + path);
    return ss.str();
}

std::string readStdin() {
    std::ostringstream ss;
    ss << std::cin.rdbuf();
    return ss.str();
}

// Writes the whole text, to a file through a temporary beside it that is
// renamed at the end, so a failed run never leaves a half-written file.
void writeOutput(const std::string& path, const std::string& text) {
    if (path.empty() || path == "-") {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        return;
    }
    std::string tmpl = path + ".tmp.XXXXXX";
    const int fd = mkstemp(tmpl.data());
    if (fd < 0) throw UsageError("cannot write " + path + ": " + std::strerror(errno));
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            const int err = errno;
            ::close(fd);
            ::unlink(tmpl.c_str());
            throw UsageError("cannot write " + path + ": " + std::strerror(err));
        }
        done += static_cast<std::size_t>(n);
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (::fchmod(fd, 0666 & ~mask) != 0 || ::close(fd) != 0 || std::rename(tmpl.c_str(), path.c_str()) != 0) {
        const int err = errno;
        ::unlink(tmpl.c_str());
        throw UsageError("cannot write " + path + ": " + std::strerror(err));
    }
}

std::unique_ptr<qelhost::Plugin> openPlugin(const std::string& library) {
    const std::string path = qelhost::defaultLibraryPath(library);
    try {
        return qelhost::Plugin::open(path);
    } catch (const qelhost::LoaderError& e) {
        throw UsageError(std::string(e.what()) + " (choose the plug-in with --library PATH or FPK_LIBRARY)");
    }
}

const FunctionInfo& findFunction(const qelhost::Plugin& plugin, const std::string& name) {
    const FunctionInfo* fn = plugin.find(upper(name));
    if (fn == nullptr) throw UsageError("unknown function " + name + " (fpk list shows the catalogue)");
    return *fn;
}

std::string kindOf(const FunctionInfo& fn) { return fn.isTableBased() ? "table-based" : "column-based"; }

std::string typeName(const ParamInfo& p) { return qelhost::valueTypeName(p.valueType()); }

// ---- list ----

int listFunctions(const qelhost::Plugin& plugin) {
    std::size_t w = 0;
    for (const FunctionInfo& fn : plugin.functions()) w = std::max(w, fn.name.size());
    std::string out;
    for (const FunctionInfo& fn : plugin.functions()) {
        char num[16];
        std::snprintf(num, sizeof(num), "%2u", static_cast<unsigned>(fn.index));
        std::string name = fn.name;
        name.resize(w, ' ');
        std::string kind = kindOf(fn);
        kind.resize(12, ' ');
        out += std::string(num) + "  " + name + "  " + kind + "  " + std::to_string(fn.slots().size()) + " slots\n";
    }
    writeOutput("", out);
    return 0;
}

// ---- describe ----

std::string aligned(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
    std::vector<std::size_t> w;
    for (const auto& r : rows)
        for (std::size_t c = 0; c < r.size(); ++c) {
            if (w.size() <= c) w.push_back(0);
            w[c] = std::max(w[c], r[c].size());
        }
    std::string out;
    for (const auto& r : rows) {
        std::string l = indent;
        for (std::size_t c = 0; c < r.size(); ++c) {
            std::string cell = r[c];
            if (c + 1 < r.size()) cell.resize(w[c], ' ');
            l += cell + (c + 1 < r.size() ? "  " : "");
        }
        out += l + "\n";
    }
    return out;
}

// The key a JSON or CSV input uses for a column: its column part when no
// other column of the function has the same one.
std::string keyOf(const FunctionInfo& fn, const ParamInfo& p) {
    if (!p.isInputColumn()) return p.name;
    int same = 0;
    for (const ParamInfo& q : fn.params)
        if (q.isInputColumn() && q.columnPart() == p.columnPart()) ++same;
    return same == 1 ? p.columnPart() : p.name;
}

int describeFunction(const qelhost::Plugin& plugin, const std::string& name) {
    const FunctionInfo& fn = findFunction(plugin, name);
    std::string out = fn.name + " (number " + std::to_string(fn.index) + ", " + kindOf(fn) + ", " +
                      std::to_string(fn.slots().size()) + " slots)\n\nInputs:\n";
    std::vector<std::vector<std::string>> rows{{"NAME", "KEY", "KIND", "TYPE"}};
    for (const ParamInfo* p : fn.slots()) {
        if (p->isResultTable()) continue;
        if (p->isInputColumn())
            rows.push_back({p->name, keyOf(fn, *p), "column", typeName(*p)});
        else if (p->isInputTable())
            rows.push_back({p->name, p->name, "table", "pattern " + fn.patternOf(p)});
        else
            rows.push_back({p->name, p->name, "scalar", "int"});
    }
    out += aligned(rows, "  ");
    const ParamInfo* result = fn.resultTable();
    out += "\nResult table " + (result != nullptr ? result->name : std::string("result")) + ":\n";
    if (fn.isTableBased()) {
        out += "  columns matching the pattern " + fn.resultPattern() + "\n";
        if (fn.name == "DRIVER")
            out += "  default: TIME (string), then one double column per DRIVERS column, named as that column\n";
        else
            out += "  default: RESULT (double)\n";
        out += "  give other columns under the key " + (result != nullptr ? result->name : std::string("result")) +
               " (JSON) or with --result NAME:TYPE,...\n";
    } else {
        std::vector<std::vector<std::string>> cols{{"NAME", "TYPE"}};
        for (const ParamInfo* c : fn.resultColumns()) cols.push_back({c->name, typeName(*c)});
        out += aligned(cols, "  ");
    }
    writeOutput("", out);
    return 0;
}

// ---- run ----

struct RunOptions {
    std::string function;
    std::string input;
    std::string format;
    std::string output;
    unsigned threads = 0;
    std::vector<std::string> traces;
    std::string today;
    std::vector<std::string> sets;
    std::vector<std::string> tables;
    std::string result;
    std::string fault;
};

Format formatOf(const RunOptions& o) {
    std::string f = o.format;
    if (f.empty()) {
        const std::string ext = extension(o.output);
        f = ext == "csv" || ext == "json" ? ext : "table";
    }
    if (f == "table") return Format::Table;
    if (f == "csv") return Format::Csv;
    if (f == "json") return Format::Json;
    throw UsageError("unknown format " + f + " (table, csv or json)");
}

std::optional<int> parseToday(const std::string& s) {
    if (s.size() != 8 || !std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); }))
        throw UsageError("--today " + s + ": expected a date YYYYMMDD");
    const int v = std::stoi(s);
    const int year = v / 10000, month = v / 100 % 100, day = v % 100;
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > days[month - 1] + (month == 2 && leap ? 1 : 0))
        throw UsageError("--today " + s + ": not a date");
    return v;
}

void armFault(const std::string& setting) {
    const std::size_t eq = setting.find('=');
    const std::string kind = lower(setting.substr(0, eq));
    long long k = 0;
    try {
        std::size_t used = 0;
        k = eq == std::string::npos ? 0 : std::stoll(setting.substr(eq + 1), &used);
        if (used != setting.size() - eq - 1) k = 0;
    } catch (const std::exception&) {
        k = 0;
    }
    if (k < 1) throw UsageError("--fault " + setting + ": expected getnative=K, setnative=K or allocate=K with K >= 1");
    if (kind == "getnative")
        qelhost::armFault(qelhost::Fault::GetNative, k);
    else if (kind == "setnative")
        qelhost::armFault(qelhost::Fault::SetNative, k);
    else if (kind == "allocate")
        qelhost::armFault(qelhost::Fault::Allocate, k);
    else
        throw UsageError("--fault " + setting + ": expected getnative=K, setnative=K or allocate=K with K >= 1");
}

int runFunction(const std::string& library, const RunOptions& o) {
    const Format format = formatOf(o);
    std::optional<int> today;
    if (!o.today.empty()) today = parseToday(o.today);
    for (const std::string& t : o.traces)
        if (!qelhost::configureTrace(t)) throw UsageError("--trace " + t + ": expected TOPIC=LEVEL");

    std::unique_ptr<qelhost::Plugin> plugin = openPlugin(library);
    const FunctionInfo& fn = findFunction(*plugin, o.function);

    // Read and bind every input before anything runs or is written.
    Binder binder(*plugin, fn);
    const bool fromStdin = o.input.empty() || o.input == "-";
    const std::string inputName = fromStdin ? "<stdin>" : o.input;
    // Without INPUT on a terminal nothing is read, so that a function whose
    // inputs all come from --table or --set does not wait for typing.
    const bool interactive = o.input.empty() && ::isatty(STDIN_FILENO) == 1;
    const std::string text = interactive ? std::string() : fromStdin ? readStdin() : readFile(o.input);
    bool isJson;
    const std::string ext = fromStdin ? "" : extension(o.input);
    if (ext == "json") {
        isJson = true;
    } else if (ext == "csv") {
        isJson = false;
    } else {
        const std::size_t start = text.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;  // past a byte-order mark
        const std::size_t first = text.find_first_not_of(" \t\r\n", start);
        isJson = first != std::string::npos && text[first] == '{';
    }
    if (isJson) {
        binder.addJson(json::parse(text, inputName));
    } else if (text.find_first_not_of(" \t\r\n") != std::string::npos) {
        binder.addCsv(csv::parse(text, inputName));
    }
    for (const std::string& s : o.sets) binder.addSet(s);
    for (const std::string& t : o.tables) {
        const std::size_t eq = t.find('=');
        if (eq == std::string::npos || eq == 0 || eq + 1 == t.size())
            throw UsageError("--table " + t + ": expected NAME=FILE");
        const std::string file = t.substr(eq + 1);
        binder.addTable(t.substr(0, eq), file, readFile(file), extension(file) == "json");
    }
    if (!o.result.empty()) binder.addResultColumns(o.result);
    Inputs inputs = binder.finish();

    if (o.threads > 0) qelhost::setThreadCount(o.threads);
    if (today) qelhost::setFixedDate(today);
    if (!o.fault.empty()) armFault(o.fault);

    qelhost::CallResult r = plugin->call(fn, inputs.arguments, qelhost::TableHandle(inputs.result));
    qelhost::disarmFaults();
    const qelhost::InternalTable* table = r.table ? r.table.get() : inputs.result.get();
    try {
        writeOutput(o.output, formatResult(table, format, r.error));
    } catch (const UsageError&) {
        if (r.error) std::fprintf(stderr, "%s\n", r.error->message.c_str());
        throw;
    }
    if (r.error) {
        std::fprintf(stderr, "%s\n", r.error->message.c_str());
        return 1;
    }
    return 0;
}

}  // namespace

int runProgram(int argc, char** argv) {
    CLI::App app{"Runs the planning functions of the fpk plug-in on data from JSON or CSV files.", "fpk"};
    app.fallthrough();
    app.require_subcommand(1);
    std::string library;
    app.add_option("--library", library, "the plug-in to load (default: FPK_LIBRARY, else lib/libfpk.so beside bin/)");

    CLI::App* list = app.add_subcommand("list", "one line per catalogue function: number, name, kind, slot count");
    CLI::App* describe = app.add_subcommand("describe", "the inputs, scalars and result columns of a function");
    std::string describeName;
    describe->add_option("NAME", describeName, "the function")->required();

    CLI::App* run = app.add_subcommand("run", "runs a function on the data of INPUT and prints its result");
    RunOptions o;
    run->add_option("NAME", o.function, "the function")->required();
    run->add_option("INPUT", o.input, "a .json or .csv file; standard input when absent or -");
    run->add_option("--format", o.format, "table (the default), csv or json");
    run->add_option("-o,--output", o.output, "write the result to FILE (its .csv or .json extension sets the format)");
    run->add_option("--threads", o.threads, "worker threads of the host's parallel-for")->check(CLI::Range(1u, 4096u));
    run->add_option("--trace", o.traces, "trace level of a topic, TOPIC=LEVEL (repeatable)")->allow_extra_args(false);
    run->add_option("--today", o.today, "fix today's date, YYYYMMDD (switch-over kind TODAY)");
    run->add_option("--set", o.sets, "a scalar, NAME=VALUE (repeatable)")->allow_extra_args(false);
    run->add_option("--table", o.tables, "an input table from a CSV file, NAME=FILE.csv (repeatable)")->allow_extra_args(false);
    run->add_option("--result", o.result, "the result table's columns, NAME[:TYPE],...");
    run->add_option("--fault", o.fault, "make the K-th host operation of a kind fail during the call: getnative=K, setnative=K or allocate=K");

    // CLI11 would call an unknown command an unexpected argument: find the
    // first word that is neither an option nor the value of --library.
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--library") {
            ++i;
            continue;
        }
        if (word.empty() || word[0] == '-') continue;
        if (word != "list" && word != "describe" && word != "run") {
            std::fprintf(stderr, "fpk: unknown command %s (list, describe or run; fpk --help tells more)\n", word.c_str());
            return 2;
        }
        break;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        std::fprintf(stderr, "fpk: %s\nRun fpk --help for the commands and options.\n", e.what());
        return 2;
    }

    try {
        if (*list) return listFunctions(*openPlugin(library));
        if (*describe) return describeFunction(*openPlugin(library), describeName);
        return runFunction(library, o);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "fpk: %s\n", e.what());
        return 2;
    } catch (const qelhost::LoaderError& e) {
        std::fprintf(stderr, "fpk: %s\n", e.what());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "fpk: unexpected failure: %s\n", e.what());
        return 2;
    }
}

}  // namespace fpkcli
