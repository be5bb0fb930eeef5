// The reference host runtime: concrete columns and tables, and the controls
// a host program (the loader, the fpk program, the tests) has over trace,
// profiler, threads, clock, error registry and fault injection.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../../platform/QELError.h"
#include "../../platform/QELPlatform.h"
#include "../../platform/RhoCommonObjects/ColumnBase.h"
#include "../../platform/RhoCommonObjects/InternalTable.h"
#include "../../platform/RhoUtils/Allocator.h"

namespace qelhost {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::ColumnHandle;
using RhoCommonObjects::InternalTable;
using RhoCommonObjects::NullFlags;
using RhoCommonObjects::TableHandle;

// A typed column with null flags. Double, decimal and float columns hold
// numbers (a float column rounds them to single precision), integer and
// boolean columns 32-bit integers, string columns texts.
class QEL_PLATFORM_API Column final : public ColumnBase {
public:
    Column(std::string name, int valueType, bool readOnly = false);
    ~Column() override;

    static RhoUtils::SharedPtr<Column> make(std::string name, int valueType, bool readOnly = false);
    static RhoUtils::SharedPtr<Column> doubles(std::string name, const std::vector<double>& values);
    static RhoUtils::SharedPtr<Column> ints(std::string name, const std::vector<int32_t>& values);
    static RhoUtils::SharedPtr<Column> strings(std::string name, const std::vector<std::string>& values);

    std::size_t size() const noexcept override;
    const char* getName() const noexcept override;
    int getValueType() const noexcept override;
    bool isReadOnly() const noexcept override;
    bool isFixedSize() const noexcept override;
    bool resize(std::size_t rows) noexcept override;

    bool getNative(std::size_t begin, std::size_t end, double* out, NullFlags* nulls) const noexcept override;
    bool getNative(std::size_t begin, std::size_t end, int32_t* out, NullFlags* nulls) const noexcept override;
    bool getNative(std::size_t begin, std::size_t end, std::string_view* out, NullFlags* nulls) const noexcept override;
    bool setNative(std::size_t begin, std::size_t end, const double* in, const NullFlags* nulls) noexcept override;
    bool setNative(std::size_t begin, std::size_t end, const int32_t* in, const NullFlags* nulls) noexcept override;
    bool setNative(std::size_t begin, std::size_t end, const std::string_view* in, const NullFlags* nulls) noexcept override;

    void setName(std::string name) { name_ = std::move(name); }
    void setReadOnly(bool readOnly) { readOnly_ = readOnly; }
    bool isNull(std::size_t row) const { return row >= nulls_.size() || nulls_[row] != 0; }
    // Host-side access (no fault injection, no conversion checks).
    double numberAt(std::size_t row) const;
    int32_t integerAt(std::size_t row) const;
    std::string_view textAt(std::size_t row) const;
    bool isNumeric() const;
    bool isText() const { return type_ == RhoCommonObjects::VT_STRING; }
    bool isInteger() const { return type_ == RhoCommonObjects::VT_INTEGER || type_ == RhoCommonObjects::VT_BOOLEAN; }

private:
    // A text row in 16 bytes, as a column store keeps them: texts of up to
    // kInlineText bytes sit in the row itself, a longer text in a heap block
    // of its own whose address sits at bytes + 4. Rows are plain data (a
    // zero row is the empty text), so resizing a column moves and clears
    // them as memory; the column frees the heap blocks.
    struct TextRow {
        uint32_t size;
        char bytes[12];
    };
    static constexpr std::size_t kInlineText = sizeof(TextRow::bytes);

    bool grow(std::size_t rows) noexcept;
    static const char* textData(const TextRow& row) noexcept;
    void putText(TextRow& row, std::string_view text);
    void freeTexts(std::size_t begin, std::size_t end) noexcept;

    std::string name_;
    int type_;
    bool readOnly_;
    std::vector<double> numbers_;
    std::vector<int32_t> integers_;
    std::vector<TextRow> texts_;
    // Set once any row has held a heap block; until then no row needs freeing.
    std::atomic<bool> heapTexts_{false};
    std::vector<NullFlags> nulls_;
};

using ColumnPtr = RhoUtils::SharedPtr<Column>;

class QEL_PLATFORM_API Table final : public InternalTable {
public:
    explicit Table(std::string name);
    ~Table() override;
    static RhoUtils::SharedPtr<Table> make(std::string name);

    const char* getName() const noexcept override;
    std::size_t getColumnCount() const noexcept override;
    ColumnBase* getColumn(std::size_t i) const noexcept override;

    void addColumn(ColumnHandle column);
    void setName(std::string name) { name_ = std::move(name); }
    Column* column(std::size_t i) const;

private:
    std::string name_;
    std::vector<ColumnHandle> columns_;
};

using TablePtr = RhoUtils::SharedPtr<Table>;

// Type names as users write them: double, float, decimal, int, string, bool.
QEL_PLATFORM_API std::optional<int> valueTypeFromName(std::string_view name);
QEL_PLATFORM_API const char* valueTypeName(int valueType);

// ---- trace ----
// Sets the level of a topic by name (applies to topics registered later too).
QEL_PLATFORM_API void setTraceLevel(const std::string& topic, int level);
// Parses "TOPIC=LEVEL,TOPIC=LEVEL"; false on a malformed item.
QEL_PLATFORM_API bool configureTrace(std::string_view settings);
// Trace lines go to standard error, or to this file when set ("" resets).
QEL_PLATFORM_API bool setTraceFile(const std::string& path);
// Receives every trace line instead of the file (tests); empty resets.
using TraceSink = std::function<void(const std::string& topic, int level, std::string_view line)>;
QEL_PLATFORM_API void setTraceSink(TraceSink sink);
// Names of the topics registered now.
QEL_PLATFORM_API std::vector<std::string> registeredTopics();

// ---- profiler ----
QEL_PLATFORM_API void setProfilerEnabled(bool enabled);
struct SectionStats {
    long long count = 0;
    long long totalNs = 0;
};
QEL_PLATFORM_API std::map<std::string, SectionStats> profilerSections();
QEL_PLATFORM_API void resetProfiler();

// ---- threads ----
// Worker threads of the parallel-for (at least 1; default: the machine's
// cores, or FPK_THREADS).
QEL_PLATFORM_API void setThreadCount(unsigned threads);
QEL_PLATFORM_API unsigned threadCount();
struct ParallelStats {
    long long calls = 0;
    long long ranges = 0;
    std::vector<std::pair<std::size_t, std::size_t>> lastRanges;
};
QEL_PLATFORM_API ParallelStats parallelStats();

// ---- clock ----
// Fixes the clock at a date (YYYYMMDD, midnight UTC); nullopt returns to the
// system clock. The environment variable FPK_TODAY=YYYYMMDD does the same.
QEL_PLATFORM_API void setFixedDate(std::optional<int> yyyymmdd);

// ---- error registry ----
struct RegistryStats {
    long long registerCalls = 0;
    std::size_t distinctCodes = 0;
};
QEL_PLATFORM_API RegistryStats registryStats();
QEL_PLATFORM_API bool isRegistered(int32_t code);

// ---- allocators ----
// The allocator with this name anywhere under the global one, or nullptr.
QEL_PLATFORM_API RhoUtils::Allocator* findAllocator(const std::string& name);

// ---- fault injection ----
// Makes the k-th getNative, setNative (including resize) or allocation from
// now on fail (k = 1 is the next one); 0 disarms. Counting is process-wide.
enum class Fault { GetNative, SetNative, Allocate };
QEL_PLATFORM_API void armFault(Fault fault, long long k);
QEL_PLATFORM_API void disarmFaults();
// Calls of each kind since the last armFault/disarmFaults/resetFaultCounters.
QEL_PLATFORM_API long long faultCounter(Fault fault);
QEL_PLATFORM_API void resetFaultCounters();
// True once an armed fault has fired.
QEL_PLATFORM_API bool faultFired();

}  // namespace qelhost
