#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

struct _XDisplay;

namespace tovo {

/// One short piece of work on a private Xlib connection. Works run one at a time in
/// the process (Xlib's error handlers are global); X errors on the connection are
/// ignored, and a lost connection ends the work, never the process.
struct X11Connection {
    using Work = std::function<std::size_t(_XDisplay*)>;

    /// The value of `work`, run on a fresh connection to `display` on a thread of its own.
    /// None when `display` is absent or cannot be opened, or when the server has not
    /// answered within `deadline` (hung, or grabbed by another client): the work is then
    /// cut off, and may already have sent part of its requests.
    static std::optional<std::size_t> run(const std::optional<std::string>& display,
                                          std::chrono::milliseconds deadline, Work work);
};

} // namespace tovo
