#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace tovo {

/// Base of every error Tovo raises. `description()` is the sentence shown to the
/// user; `domain()` and `code()` identify the error in log lines.
class Error : public std::exception {
public:
    virtual std::string description() const = 0;
    virtual std::string domain() const = 0;
    virtual std::int64_t code() const = 0;
    const char* what() const noexcept override;

private:
    mutable std::string whatText_;
};

/// The user-facing text of any error: its description trimmed of white space and
/// line breaks, or a fixed sentence when nothing is left.
std::string readableMessage(std::exception_ptr error);

/// Domain and code of any error, for log lines. A `std::system_error` reports its
/// category name and value; other standard exceptions their type.
std::string errorDomain(std::exception_ptr error);
std::int64_t errorCode(std::exception_ptr error);

/// Leading and trailing white space and line breaks removed.
std::string trimmed(std::string_view text);

} // namespace tovo
