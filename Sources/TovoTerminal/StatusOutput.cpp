#include "TovoTerminal/StatusOutput.hpp"

namespace tovo::StatusOutput {

std::string text(const StatusContent& content, const TerminalStyle& style) {
    std::string text;
    if (content.symbol) {
        const auto glyph = TerminalStyle::glyph(*content.symbol);
        text +=
            (content.symbolColor ? style.paint(glyph, *content.symbolColor) : std::string(glyph)) +
            " ";
    }
    text += style.bold(TerminalStyle::printable(content.title)) + "\n";
    if (!content.message.empty()) {
        text += "  " + TerminalStyle::printable(content.message) + "\n";
    }
    return text;
}

std::string line(const StatusContent& content) {
    return TerminalStyle::printable(content.title + " " + content.message);
}

} // namespace tovo::StatusOutput
