#include "fpkDefines.h"

#define FPK_ERROR(code, NAME, text)                                                \
    const QELError::ErrorDefinition& businessFunctions__##NAME() {                  \
        static const QELError::ErrorDefinition def = [] {                          \
            QELError::ErrorDefinition d{code, text, #NAME, 0};                      \
            d.handle = QELError::register_error(d);                                 \
            return d;                                                               \
        }();                                                                        \
        return def;                                                                 \
    }
#include "fpkErrors.def"
#undef FPK_ERROR

namespace businessFunctions {

void raiseError(const char* file, int line, const QELError::ErrorDefinition& def, std::initializer_list<ErrArg> args) {
    QELError::Exception ex(file, line, def);
    ex.addArgument("ERROR_CODE", static_cast<int64_t>(def.code));
    for (const ErrArg& a : args) {
        if (a.isInteger)
            ex.addArgument(a.name, a.integer);
        else
            ex.addArgument(a.name, a.text);
    }
    throw ex;
}

void raiseTraced(const char* file, int line, const QELTrace::Topic& topic, std::string_view detail,
                 const QELError::ErrorDefinition& def, std::initializer_list<ErrArg> args) {
    if (topic.isEnabled(QELTrace::Info)) topic.write(QELTrace::Info, detail);
    raiseError(file, line, def, args);
}

}  // namespace businessFunctions
