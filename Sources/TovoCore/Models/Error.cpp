#include "TovoCore/Models/Error.hpp"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <system_error>
#include <typeinfo>

namespace tovo {

namespace {

// Unicode's White_Space property: ASCII spaces and controls, NEL, NO-BREAK SPACE,
// OGHAM SPACE MARK, the general punctuation spaces, line and paragraph separators,
// NARROW NO-BREAK SPACE, MEDIUM MATHEMATICAL SPACE and IDEOGRAPHIC SPACE.
bool isWhiteSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

// The length of the well-formed UTF-8 sequence that `bytes` starts with, and its
// code point; 0 when it is not one.
std::size_t decodeFirst(std::string_view bytes, char32_t& point) {
    if (bytes.empty()) {
        return 0;
    }
    const auto lead = static_cast<unsigned char>(bytes[0]);
    std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : 0;
    if (length == 0 || bytes.size() < length) {
        return 0;
    }
    point = length == 1 ? lead : length == 2 ? (lead & 0x1F) : (lead & 0x0F);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(bytes[i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        point = (point << 6) | (next & 0x3F);
    }
    return length;
}

// White space is at most three bytes long in UTF-8.
std::size_t leadingSpaceLength(std::string_view text) {
    char32_t point = 0;
    const auto length = decodeFirst(text, point);
    return length > 0 && isWhiteSpace(point) ? length : 0;
}

std::size_t trailingSpaceLength(std::string_view text) {
    for (std::size_t length = 1; length <= 3 && length <= text.size(); ++length) {
        char32_t point = 0;
        if (decodeFirst(text.substr(text.size() - length), point) == length) {
            return isWhiteSpace(point) ? length : 0;
        }
    }
    return 0;
}

// "std::runtime_error" rather than the mangled "St13runtime_error".
std::string readableTypeName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
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
    while (auto n = leadingSpaceLength(text)) {
        text.remove_prefix(n);
    }
    while (auto n = trailingSpaceLength(text)) {
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
    return text.empty() ? "The system did not provide a reason." : text;
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
        return readableTypeName(typeid(e));
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
