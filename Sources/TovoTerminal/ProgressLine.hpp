#pragma once

#include "TovoTerminal/TerminalStyle.hpp"

#include <chrono>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

namespace tovo {

/// What Tovo is doing while it works. On a terminal: one line redrawn in place with
/// a spinner and the seconds spent; elsewhere (a log, a pipe): each new line once.
class ProgressLine {
public:
    /// `columns`: the terminal's width, so a live line never wraps; 0 when unknown.
    ProgressLine(std::ostream& output, bool live, const TerminalStyle& style,
                 std::size_t columns = 0)
        : output_(output)
        , live_(live)
        , style_(style)
        , columns_(columns) {}

    /// Shows `text`, or takes the line away when there is none.
    void show(const std::optional<std::string>& text);
    /// Redraws a live line, so the spinner turns while nothing else happens.
    void tick();
    /// How often a live line wants `tick`; absent when it never does.
    std::optional<std::chrono::milliseconds> tickInterval() const;

private:
    void draw();

    std::ostream& output_;
    bool live_;
    const TerminalStyle& style_;
    std::size_t columns_;
    std::optional<std::string> shown_;
    std::chrono::steady_clock::time_point since_;
    std::size_t frame_ = 0;
};

} // namespace tovo
