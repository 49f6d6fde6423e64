#include "TovoCore/Models/Error.hpp"

#include <system_error>
#include <typeinfo>

namespace tovo {

namespace {

bool isSpace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// U+0085 and U+2028/U+2029 also count as line breaks in user-facing text.
std::size_t leadingBreakLength(std::string_view text) {
    if (text.size() >= 2 && static_cast<unsigned char>(text[0]) == 0xC2 &&
        static_cast<unsigned char>(text[1]) == 0x85) {
        return 2;
    }
    if (text.size() >= 3 && static_cast<unsigned char>(text[0]) == 0xE2 &&
        static_cast<unsigned char>(text[1]) == 0x80 &&
        (static_cast<unsigned char>(text[2]) == 0xA8 ||
         static_cast<unsigned char>(text[2]) == 0xA9)) {
        return 3;
    }
    if (!text.empty() && isSpace(static_cast<unsigned char>(text[0]))) {
        return 1;
    }
    return 0;
}

std::size_t trailingBreakLength(std::string_view text) {
    const auto n = text.size();
    if (n >= 2 && static_cast<unsigned char>(text[n - 2]) == 0xC2 &&
        static_cast<unsigned char>(text[n - 1]) == 0x85) {
        return 2;
    }
    if (n >= 3 && static_cast<unsigned char>(text[n - 3]) == 0xE2 &&
        static_cast<unsigned char>(text[n - 2]) == 0x80 &&
        (static_cast<unsigned char>(text[n - 1]) == 0xA8 ||
         static_cast<unsigned char>(text[n - 1]) == 0xA9)) {
        return 3;
    }
    if (n > 0 && isSpace(static_cast<unsigned char>(text[n - 1]))) {
        return 1;
    }
    return 0;
}

} // namespace

const char* Error::what() const noexcept {
    try {
        whatText_ = description();
        return whatText_.c_str();
    } catch (...) {
        return "tovo::Error";
    }
}

std::string trimmed(std::string_view text) {
    while (auto n = leadingBreakLength(text)) {
        text.remove_prefix(n);
    }
    while (auto n = trailingBreakLength(text)) {
        text.remove_suffix(n);
    }
    return std::string(text);
}

std::string readableMessage(std::exception_ptr error) {
    std::string text;
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const Error& e) {
        text = e.description();
    } catch (const std::exception& e) {
        text = e.what();
    } catch (...) {
    }
    text = trimmed(text);
    return text.empty() ? "macOS did not provide a reason." : text;
}

std::string errorDomain(std::exception_ptr error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const Error& e) {
        return e.domain();
    } catch (const std::system_error& e) {
        return e.code().category().name();
    } catch (const std::exception& e) {
        return typeid(e).name();
    } catch (...) {
    }
    return "unknown";
}

std::int64_t errorCode(std::exception_ptr error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const Error& e) {
        return e.code();
    } catch (const std::system_error& e) {
        return e.code().value();
    } catch (...) {
    }
    return 0;
}

} // namespace tovo
