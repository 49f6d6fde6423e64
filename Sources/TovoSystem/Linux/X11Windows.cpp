#include "TovoSystem/Linux/X11Windows.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <climits>
#include <memory>
#include <unistd.h>
#include <vector>

namespace tovo {

namespace {

using DisplayHandle = std::unique_ptr<Display, int (*)(Display*)>;

// Xlib's default handler ends the process; a window may vanish while we look at it.
int ignoreError(Display*, XErrorEvent*) {
    return 0;
}

class ErrorGuard {
public:
    ErrorGuard()
        : previous_(XSetErrorHandler(ignoreError)) {}
    ~ErrorGuard() { XSetErrorHandler(previous_); }
    ErrorGuard(const ErrorGuard&) = delete;
    ErrorGuard& operator=(const ErrorGuard&) = delete;

private:
    XErrorHandler previous_;
};

DisplayHandle openDisplay(const std::optional<std::string>& name) {
    if (!name || name->empty()) {
        return {nullptr, XCloseDisplay};
    }
    return {XOpenDisplay(name->c_str()), XCloseDisplay};
}

std::vector<unsigned long> cardinals(Display* display, Window window, Atom property, Atom type) {
    Atom actualType = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> values;
    if (XGetWindowProperty(display, window, property, 0, LONG_MAX / 4, False, type, &actualType,
                           &format, &count, &remaining, &data) == Success &&
        data != nullptr && actualType == type && format == 32) {
        const auto* items = reinterpret_cast<const unsigned long*>(data);
        values.assign(items, items + count);
    }
    if (data != nullptr) {
        XFree(data);
    }
    return values;
}

// The managed clients when a window manager lists them, else the root's children
// and theirs (frames of a reparenting manager hold the client one level down).
std::vector<Window> topLevelWindows(Display* display, Window root) {
    const auto listed =
        cardinals(display, root, XInternAtom(display, "_NET_CLIENT_LIST", False), XA_WINDOW);
    if (!listed.empty()) {
        return {listed.begin(), listed.end()};
    }
    std::vector<Window> windows;
    const auto addChildren = [&](Window parent, bool descend) {
        Window rootReturn = 0;
        Window parentReturn = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (XQueryTree(display, parent, &rootReturn, &parentReturn, &children, &count) == 0) {
            return std::vector<Window>{};
        }
        std::vector<Window> found(children, children + count);
        if (children != nullptr) {
            XFree(children);
        }
        windows.insert(windows.end(), found.begin(), found.end());
        return descend ? found : std::vector<Window>{};
    };
    for (const auto frame : addChildren(root, true)) {
        addChildren(frame, false);
    }
    return windows;
}

bool isOnThisMachine(Display* display, Window window) {
    XTextProperty machine{};
    if (XGetWMClientMachine(display, window, &machine) == 0 || machine.value == nullptr) {
        return true; // not stated: the pid is taken as local
    }
    const std::string client(reinterpret_cast<const char*>(machine.value), machine.nitems);
    XFree(machine.value);
    char host[HOST_NAME_MAX + 1] = {};
    gethostname(host, sizeof host - 1);
    return client == host;
}

std::vector<Window> windowsOf(Display* display, std::int32_t pid) {
    const auto root = DefaultRootWindow(display);
    const auto pidAtom = XInternAtom(display, "_NET_WM_PID", False);
    std::vector<Window> result;
    for (const auto window : topLevelWindows(display, root)) {
        const auto pids = cardinals(display, window, pidAtom, XA_CARDINAL);
        if (pids.size() == 1 && static_cast<long>(pids.front()) == pid &&
            isOnThisMachine(display, window)) {
            result.push_back(window);
        }
    }
    return result;
}

bool takesDeleteWindow(Display* display, Window window, Atom deleteWindow) {
    Atom* protocols = nullptr;
    int count = 0;
    bool takes = false;
    if (XGetWMProtocols(display, window, &protocols, &count) != 0) {
        for (int i = 0; i < count; ++i) {
            takes = takes || protocols[i] == deleteWindow;
        }
    }
    if (protocols != nullptr) {
        XFree(protocols);
    }
    return takes;
}

} // namespace

std::size_t X11Windows::requestClose(const std::optional<std::string>& displayName,
                                     std::int32_t pid) {
    auto display = openDisplay(displayName);
    if (!display || pid < 1) {
        return 0;
    }
    ErrorGuard guard;
    const auto protocols = XInternAtom(display.get(), "WM_PROTOCOLS", False);
    const auto deleteWindow = XInternAtom(display.get(), "WM_DELETE_WINDOW", False);
    std::size_t asked = 0;
    for (const auto window : windowsOf(display.get(), pid)) {
        if (!takesDeleteWindow(display.get(), window, deleteWindow)) {
            continue;
        }
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = protocols;
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(deleteWindow);
        event.xclient.data.l[1] = CurrentTime;
        if (XSendEvent(display.get(), window, False, NoEventMask, &event) != 0) {
            ++asked;
        }
    }
    XSync(display.get(), False);
    return asked;
}

bool X11Windows::activate(const std::optional<std::string>& displayName, std::int32_t pid) {
    auto display = openDisplay(displayName);
    if (!display || pid < 1) {
        return false;
    }
    ErrorGuard guard;
    const auto windows = windowsOf(display.get(), pid);
    if (windows.empty()) {
        return false;
    }
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = windows.front();
    event.xclient.message_type = XInternAtom(display.get(), "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2; // a request on the user's behalf, as a pager makes it
    event.xclient.data.l[1] = CurrentTime;
    const auto sent = XSendEvent(display.get(), DefaultRootWindow(display.get()), False,
                                 SubstructureRedirectMask | SubstructureNotifyMask, &event) != 0;
    XSync(display.get(), False);
    return sent;
}

} // namespace tovo
