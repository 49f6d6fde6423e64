#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tovo {

/// The polite X11 requests Tovo may make of an application's top-level windows,
/// found by their _NET_WM_PID on this machine.
struct X11Windows {
    /// Sends WM_DELETE_WINDOW to each top-level window of `pid` that takes it;
    /// returns how many were asked. `display` absent or unreachable: none.
    static std::size_t requestClose(const std::optional<std::string>& display, std::int32_t pid);
    /// Asks the window manager to bring the first top-level window of `pid` to the front.
    static bool activate(const std::optional<std::string>& display, std::int32_t pid);
};

} // namespace tovo
