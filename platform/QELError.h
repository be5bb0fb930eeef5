// Error definitions, the host's error registry and the exception that
// carries one definition with named arguments back to the host.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "QELPlatform.h"

namespace QELError {

// One catalogued error. The record is owned by the plug-in and registered
// once with the host, which keeps the handle it returned.
struct ErrorDefinition {
    int32_t code;
    const char* message;  // template with $NAME$ placeholders
    const char* name;
    int32_t handle;       // what register_error returned
};

// Registers a definition and returns its registry handle (a positive number).
// Registering the same code again returns the handle it already has.
QEL_PLATFORM_API int32_t register_error(const ErrorDefinition& def);

// One named argument of an exception: an integer or a text.
struct QEL_PLATFORM_API ErrorArgument {
    std::string name;
    bool isInteger = false;
    int64_t integer = 0;
    std::string text;
};

// The exception a business function throws. The host fills the template's
// placeholders from the named arguments when it formats the message.
class QEL_PLATFORM_API Exception : public std::exception {
public:
    Exception(const char* file, int line, const ErrorDefinition& def);
    Exception(const Exception&);
    Exception& operator=(const Exception&);
    ~Exception() override;

    Exception& addArgument(std::string_view name, int64_t value);
    Exception& addArgument(std::string_view name, std::string_view value);

    int32_t getCode() const noexcept { return code_; }
    const char* getName() const noexcept { return name_; }
    const char* getTemplate() const noexcept { return template_; }
    const char* getFile() const noexcept { return file_; }
    int getLine() const noexcept { return line_; }
    const std::vector<ErrorArgument>& getArguments() const noexcept { return args_; }
    // The template with every placeholder that has an argument filled in.
    std::string getMessage() const;
    const char* what() const noexcept override;

private:
    const char* file_;
    int line_;
    int32_t code_;
    const char* name_;
    const char* template_;
    std::vector<ErrorArgument> args_;
    mutable std::string formatted_;
};

}  // namespace QELError
