// Coverage-guided fuzzing of date and period-key parsing: period keys,
// day counts between keys, and the switch-over date of a text column.
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/fpkCommon.h"
#include "functions/fpkCommonFunctions.h"
#include "host/runtime/QELHost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t bar = input.find('|');
    const std::string a = input.substr(0, bar);
    const std::string b = bar == std::string::npos ? std::string() : input.substr(bar + 1);
    int y, m, d, days;
    try {
        businessFunctions::periodKeyStart(a, "TIME", y, m, d);
    } catch (const QELError::Exception&) {
    }
    try {
        businessFunctions::calculate_Time(a, b, days);
    } catch (const QELError::Exception&) {
    }
    businessFunctions::series::leadingNumber(a, 0, 4);
    businessFunctions::series::leadingNumber(a, 4, 2);
    try {
        const int kind = size > 0 ? data[0] % 5 : 1;
        qelhost::ColumnPtr kinds = qelhost::Column::ints("SWITCHOVER", {kind});
        qelhost::ColumnPtr dates = qelhost::Column::strings("SWITCHOVERDATE", {b});
        businessFunctions::Common_SwitchOver(kinds.get(), dates.get(), 1, true, true, y, m, d);
    } catch (const QELError::Exception&) {
    }
    return 0;
}
