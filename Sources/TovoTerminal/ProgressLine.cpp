#include "TovoTerminal/ProgressLine.hpp"

#include <array>
#include <string_view>

namespace tovo {

namespace {

constexpr std::array<std::string_view, 4> spinner{"|", "/", "-", "\\"};
constexpr std::string_view eraseLine = "\r\033[2K";
// Room for the spinner and the seconds.
constexpr std::size_t reserved = 10;

// The text cut to `width` characters, an ellipsis marking the cut.
std::string fitted(const std::string& text, std::size_t width) {
    std::size_t characters = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if ((static_cast<unsigned char>(text[index]) & 0xC0) == 0x80) {
            continue;
        }
        if (++characters == width) {
            return index + 1 < text.size() ? text.substr(0, index) + "\u2026" : text;
        }
    }
    return text;
}

} // namespace

void ProgressLine::show(const std::optional<std::string>& text) {
    if (text == shown_) {
        return;
    }
    if (!text) {
        if (live_) {
            output_ << eraseLine << std::flush;
        }
        shown_.reset();
        return;
    }
    shown_ = text;
    since_ = std::chrono::steady_clock::now();
    if (live_) {
        draw();
    } else {
        output_ << *text << '\n' << std::flush;
    }
}

void ProgressLine::tick() {
    if (live_ && shown_) {
        ++frame_;
        draw();
    }
}

std::optional<std::chrono::milliseconds> ProgressLine::tickInterval() const {
    if (!live_) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(120);
}

void ProgressLine::draw() {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - since_)
            .count();
    output_ << eraseLine << style_.paint(spinner[frame_ % spinner.size()], SymbolColor::accent)
            << ' ' << (columns_ > reserved ? fitted(*shown_, columns_ - reserved) : *shown_);
    if (seconds > 0) {
        output_ << style_.dim(" (" + std::to_string(seconds) + " s)");
    }
    output_ << std::flush;
}

} // namespace tovo
