#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tovo {

/// The polite X11 requests Tovo may make of an application's top-level windows.
/// A window is `pid`'s only when the X server says the client that made it connected
/// from that process (X-Resource 1.2); `_NET_WM_PID` is the client's own claim and is
/// never trusted. Without that word there are no windows: no X-Resource, a server whose
/// pids are not ours (another machine or pid namespace), a window stating another
/// machine, or a display that is absent, unreachable or silent for two seconds.
/// Calls run one at a time on private connections; they block, so never on the UI thread.
struct X11Windows {
    /// Sends WM_DELETE_WINDOW to each top-level window of `pid` that takes it;
    /// returns how many were asked.
    static std::size_t requestClose(const std::optional<std::string>& display, std::int32_t pid);
    /// True when `requestClose` would ask at least one window of `pid`.
    static bool canRequestClose(const std::optional<std::string>& display, std::int32_t pid);
    /// Asks the window manager to bring the first top-level window of `pid` to the front.
    static bool activate(const std::optional<std::string>& display, std::int32_t pid);
};

} // namespace tovo
