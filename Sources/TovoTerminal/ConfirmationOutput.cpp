#include "TovoTerminal/ConfirmationOutput.hpp"

namespace tovo::ConfirmationOutput {

namespace {

std::string line(std::string_view text) {
    return "  " + TerminalStyle::printable(text) + "\n";
}

std::string titled(std::string_view symbol, SymbolColor color, std::string_view title,
                   const TerminalStyle& style) {
    return style.paint(TerminalStyle::glyph(symbol), color) + " " +
           style.bold(TerminalStyle::printable(title)) + "\n";
}

// The sheet's list: each holder with what Tovo will do, or what the user must.
std::string entries(const ReleaseReviewContent& content, const TerminalStyle& style) {
    std::string text;
    for (const auto& entry : content.entries) {
        const bool quits = entry.symbol == "arrow.right.circle.fill";
        text += "    " +
                style.paint(TerminalStyle::glyph(entry.symbol),
                            quits ? SymbolColor::secondary : SymbolColor::orange) +
                " " + style.bold(TerminalStyle::printable(entry.name)) + ": " +
                TerminalStyle::printable(entry.message) + "\n";
    }
    for (const auto& entry : content.causeEntries) {
        text += "    " +
                style.paint(TerminalStyle::glyph(entry.symbol),
                            entry.tovoActs ? SymbolColor::secondary : SymbolColor::orange) +
                " " + style.bold(TerminalStyle::printable(entry.title)) + ": " +
                TerminalStyle::printable(entry.message) + "\n";
    }
    return text;
}

} // namespace

std::string review(const ReleaseReviewContent& content, const TerminalStyle& style) {
    return titled(content.headerSymbol,
                  content.canConfirm ? SymbolColor::accent : SymbolColor::orange, content.title,
                  style) +
           line(content.message) + line(content.subline) + entries(content, style);
}

std::string stop(const StopConfirmationContent& content, const TerminalStyle& style) {
    std::string text =
        titled("exclamationmark.triangle.fill", SymbolColor::orange, content.title, style);
    if (content.planMessage) {
        text += line(*content.planMessage);
    }
    if (content.warning) {
        text += "  " +
                style.paint(TerminalStyle::glyph(content.warningSymbol), SymbolColor::orange) +
                " " + TerminalStyle::printable(*content.warning) + "\n";
    }
    if (content.unavailableTitle) {
        text += "  " +
                style.paint(TerminalStyle::glyph(content.unavailableSymbol), SymbolColor::red) +
                " " + TerminalStyle::printable(*content.unavailableTitle) + "\n";
    }
    if (content.explanation) {
        text += line(*content.explanation);
    }
    if (content.canConfirm) {
        text += line(content.lastResortNote);
    }
    if (content.ownerNote) {
        text += line(*content.ownerNote);
    }
    return text;
}

std::string question(const std::string& confirmTitle) {
    return confirmTitle + "? [y/N] ";
}

} // namespace tovo::ConfirmationOutput
