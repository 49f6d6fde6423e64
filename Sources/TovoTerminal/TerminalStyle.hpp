#pragma once

#include "Tovo/Support/PresentationColors.hpp"

#include <string>
#include <string_view>

namespace tovo {

/// How text reaches the terminal: colours only for a terminal that wants them,
/// the window's symbols as characters, and nothing a terminal would obey.
class TerminalStyle {
public:
    explicit TerminalStyle(bool colour)
        : colour_(colour) {}

    /// Colour for a terminal, unless NO_COLOR is set to anything or TERM is "dumb".
    static bool wantsColour(bool isTerminal, const char* noColor, const char* term);

    bool hasColour() const { return colour_; }
    std::string paint(std::string_view text, SymbolColor color) const;
    std::string bold(std::string_view text) const;
    std::string dim(std::string_view text) const;

    /// The character that stands for one of the window's symbol names.
    static std::string_view glyph(std::string_view symbolName);
    /// Text from the system (paths, commands, names) made safe to print: malformed
    /// UTF-8 replaced, control characters shown as \xNN instead of obeyed.
    static std::string printable(std::string_view text);

private:
    std::string wrap(std::string_view code, std::string_view text) const;

    bool colour_;
};

} // namespace tovo
