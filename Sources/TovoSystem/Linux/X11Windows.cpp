#include "TovoSystem/Linux/X11Windows.hpp"

#include "TovoSystem/Linux/X11Connection.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <chrono>
#include <climits>
#include <unistd.h>
#include <vector>

namespace tovo {

namespace {

// A local server answers in microseconds; one that takes longer is grabbed or hung.
constexpr auto answerDeadline = std::chrono::seconds(2);

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

bool hasClientIds(Display* display) {
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    return XResQueryExtension(display, &eventBase, &errorBase) != 0 &&
           XResQueryVersion(display, &major, &minor) != 0 &&
           (major > 1 || (major == 1 && minor >= 2));
}

// What XResQueryClientIds asks about: a resource and the kinds of client ids wanted.
template<class>
struct ClientQueryOf;
template<class Result, class Query>
struct ClientQueryOf<Result (*)(Display*, long, Query*, long*, XResClientIdValue**)> {
    using type = Query;
};
using ClientQuery = ClientQueryOf<decltype(&XResQueryClientIds)>::type;

// The pid the server took from the socket of the client that created `resource`;
// none for a client it cannot see (remote, or outside its pid namespace).
std::optional<pid_t> creatorPid(Display* display, XID resource) {
    ClientQuery query{resource, XRES_CLIENT_ID_PID_MASK};
    long count = 0;
    XResClientIdValue* values = nullptr;
    std::optional<pid_t> pid;
    if (XResQueryClientIds(display, 1, &query, &count, &values) == Success) {
        for (long i = 0; i < count; ++i) {
            if (XResGetClientIdType(&values[i]) == XRES_CLIENT_ID_PID &&
                XResGetClientPid(&values[i]) > 0) {
                pid = XResGetClientPid(&values[i]);
            }
        }
    }
    if (values != nullptr) {
        XResClientIdsDestroy(count, values);
    }
    return pid;
}

// The server's pids are ours only when it sees our own connection under our pid: not
// when it runs on another machine (a forwarded display) or in another pid namespace.
bool sharesOurPids(Display* display) {
    return hasClientIds(display) && creatorPid(display, XAllocID(display)) == ::getpid();
}

// A client forwarded from another machine reaches the server through a local proxy,
// whose pid the server reports; the window's stated machine can only exclude it.
bool isOnThisMachine(Display* display, Window window) {
    XTextProperty machine{};
    if (XGetWMClientMachine(display, window, &machine) == 0 || machine.value == nullptr) {
        return true;
    }
    const std::string client(reinterpret_cast<const char*>(machine.value), machine.nitems);
    XFree(machine.value);
    char host[HOST_NAME_MAX + 1] = {};
    gethostname(host, sizeof host - 1);
    return client == host;
}

std::vector<Window> windowsOf(Display* display, std::int32_t pid) {
    if (!sharesOurPids(display)) {
        return {};
    }
    std::vector<Window> result;
    for (const auto window : topLevelWindows(display, DefaultRootWindow(display))) {
        if (creatorPid(display, window) == pid && isOnThisMachine(display, window)) {
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

std::vector<Window> closableWindowsOf(Display* display, std::int32_t pid) {
    const auto deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    std::vector<Window> result;
    for (const auto window : windowsOf(display, pid)) {
        if (takesDeleteWindow(display, window, deleteWindow)) {
            result.push_back(window);
        }
    }
    return result;
}

std::size_t runFor(const std::optional<std::string>& display, std::int32_t pid,
                   X11Connection::Work work) {
    if (pid < 1) {
        return 0;
    }
    return X11Connection::run(display, answerDeadline, std::move(work)).value_or(0);
}

} // namespace

std::size_t X11Windows::requestClose(const std::optional<std::string>& display, std::int32_t pid) {
    return runFor(display, pid, [pid](Display* connection) {
        const auto protocols = XInternAtom(connection, "WM_PROTOCOLS", False);
        const auto deleteWindow = XInternAtom(connection, "WM_DELETE_WINDOW", False);
        std::size_t asked = 0;
        for (const auto window : closableWindowsOf(connection, pid)) {
            XEvent event{};
            event.xclient.type = ClientMessage;
            event.xclient.window = window;
            event.xclient.message_type = protocols;
            event.xclient.format = 32;
            event.xclient.data.l[0] = static_cast<long>(deleteWindow);
            event.xclient.data.l[1] = CurrentTime;
            if (XSendEvent(connection, window, False, NoEventMask, &event) != 0) {
                ++asked;
            }
        }
        XSync(connection, False);
        return asked;
    });
}

bool X11Windows::canRequestClose(const std::optional<std::string>& display, std::int32_t pid) {
    return runFor(display, pid, [pid](Display* connection) {
               return closableWindowsOf(connection, pid).size();
           }) > 0;
}

bool X11Windows::activate(const std::optional<std::string>& display, std::int32_t pid) {
    return runFor(display, pid, [pid](Display* connection) -> std::size_t {
               const auto windows = windowsOf(connection, pid);
               if (windows.empty()) {
                   return 0;
               }
               XEvent event{};
               event.xclient.type = ClientMessage;
               event.xclient.window = windows.front();
               event.xclient.message_type = XInternAtom(connection, "_NET_ACTIVE_WINDOW", False);
               event.xclient.format = 32;
               event.xclient.data.l[0] = 2; // a request on the user's behalf, as a pager makes it
               event.xclient.data.l[1] = CurrentTime;
               const auto sent =
                   XSendEvent(connection, DefaultRootWindow(connection), False,
                              SubstructureRedirectMask | SubstructureNotifyMask, &event) != 0;
               XSync(connection, False);
               return sent ? 1 : 0;
           }) > 0;
}

} // namespace tovo
