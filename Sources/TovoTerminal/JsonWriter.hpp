#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// Writes one JSON document, indented by two spaces, for scripts that read `--json`.
/// Strings are made valid UTF-8 first; a malformed byte becomes U+FFFD.
class JsonWriter {
public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    /// The name of the next member of the open object.
    JsonWriter& key(std::string_view name);

    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    template<std::integral T>
    JsonWriter& value(T number) {
        if constexpr (std::same_as<T, bool>) {
            return literal(number ? "true" : "false");
        } else {
            return literal(std::to_string(number));
        }
    }
    JsonWriter& null();
    /// The value, or null when absent.
    template<class T>
    JsonWriter& value(const std::optional<T>& optional) {
        return optional ? value(*optional) : null();
    }

    /// The document, ending in a newline.
    std::string text() const { return text_ + "\n"; }

    static std::string quoted(std::string_view text);

private:
    JsonWriter& literal(std::string_view text);
    JsonWriter& close(char bracket);
    void beforeValue();
    void newline();

    std::string text_;
    /// One entry per open container: whether it holds anything yet.
    std::vector<bool> hasMembers_;
    bool afterKey_ = false;
};

} // namespace tovo
