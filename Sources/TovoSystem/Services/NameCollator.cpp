#include "TovoSystem/Services/NameCollator.hpp"

#include <unicode/ucol.h>

#include <cstdlib>

namespace tovo {

NameCollator::NameCollator(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    collator_ = ucol_open(locale.c_str(), &status);
    if (U_FAILURE(status) || collator_ == nullptr) {
        status = U_ZERO_ERROR;
        collator_ = ucol_open("", &status);
    }
    if (collator_ == nullptr) {
        return;
    }
    status = U_ZERO_ERROR;
    ucol_setAttribute(collator_, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    // Secondary strength: accents count, case does not.
    ucol_setAttribute(collator_, UCOL_STRENGTH, UCOL_SECONDARY, &status);
}

NameCollator::~NameCollator() {
    if (collator_ != nullptr) {
        ucol_close(collator_);
    }
}

int NameCollator::compare(std::string_view left, std::string_view right) const {
    if (collator_ == nullptr) {
        return left.compare(right);
    }
    UErrorCode status = U_ZERO_ERROR;
    const auto result = ucol_strcollUTF8(collator_, left.data(), static_cast<int32_t>(left.size()),
                                         right.data(), static_cast<int32_t>(right.size()), &status);
    if (U_FAILURE(status)) {
        return left.compare(right);
    }
    return result == UCOL_LESS ? -1 : result == UCOL_GREATER ? 1 : 0;
}

std::string NameCollator::userLocale() {
    for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        std::string locale(value);
        locale = locale.substr(0, locale.find_first_of(".@"));
        if (locale == "C" || locale == "POSIX") {
            return "";
        }
        return locale;
    }
    return "";
}

} // namespace tovo
