#pragma once

#include <memory>
#include <string>
#include <string_view>

struct UCollator;

namespace tovo {

/// Orders names the way a file browser does: the user's locale, digit runs compared
/// as numbers ("2" before "10"), case ignored. Not shared between threads.
class NameCollator {
public:
    /// `locale` as ICU spells it ("de_DE"); empty means the root order.
    explicit NameCollator(const std::string& locale = userLocale());
    ~NameCollator();
    NameCollator(const NameCollator&) = delete;
    NameCollator& operator=(const NameCollator&) = delete;

    /// Negative, zero or positive; invalid UTF-8 compares as replacement characters.
    int compare(std::string_view left, std::string_view right) const;
    bool less(std::string_view left, std::string_view right) const {
        return compare(left, right) < 0;
    }

    /// The collation locale from LC_ALL, LC_COLLATE or LANG, without encoding or modifier.
    static std::string userLocale();

private:
    UCollator* collator_ = nullptr;
};

} // namespace tovo
