#include "TovoTerminal/JsonWriter.hpp"

#include "TovoCore/Services/Utf8.hpp"

#include <cstdio>

namespace tovo {

std::string JsonWriter::quoted(std::string_view text) {
    const auto decoded = decodeUtf8Lossy(text);
    std::string result = "\"";
    for (const char c : decoded) {
        switch (c) {
        case '"':
            result += "\\\"";
            break;
        case '\\':
            result += "\\\\";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\r':
            result += "\\r";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char buffer[8];
                std::snprintf(buffer, sizeof buffer, "\\u%04X", static_cast<unsigned>(c));
                result += buffer;
            } else {
                result += c;
            }
        }
    }
    return result + "\"";
}

void JsonWriter::newline() {
    text_ += '\n';
    text_.append(hasMembers_.size() * 2, ' ');
}

void JsonWriter::beforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!hasMembers_.empty()) {
        if (hasMembers_.back()) {
            text_ += ',';
        }
        hasMembers_.back() = true;
        newline();
    }
}

JsonWriter& JsonWriter::beginObject() {
    beforeValue();
    text_ += '{';
    hasMembers_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    return close('}');
}

JsonWriter& JsonWriter::beginArray() {
    beforeValue();
    text_ += '[';
    hasMembers_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endArray() {
    return close(']');
}

JsonWriter& JsonWriter::close(char bracket) {
    const bool any = hasMembers_.back();
    hasMembers_.pop_back();
    if (any) {
        newline();
    }
    text_ += bracket;
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    beforeValue();
    text_ += quoted(name) + ": ";
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    beforeValue();
    text_ += quoted(text);
    return *this;
}

JsonWriter& JsonWriter::literal(std::string_view text) {
    beforeValue();
    text_ += text;
    return *this;
}

JsonWriter& JsonWriter::null() {
    return literal("null");
}

} // namespace tovo
