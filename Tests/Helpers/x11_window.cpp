// A separate X client: maps one top-level window that claims another process's pid.
// Usage: x11_window DISPLAY CLAIMED-PID [plain]. The window takes WM_DELETE_WINDOW
// unless "plain"; prints "ready" once mapped, and "closed" and exits 0 when asked to
// close. Gives up by itself after a minute.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        return 2;
    }
    Display* display = XOpenDisplay(argv[1]);
    if (display == nullptr) {
        return 3;
    }
    const auto window =
        XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 20, 20, 0, 0, 0);
    long claimed = std::strtol(argv[2], nullptr, 10);
    XChangeProperty(display, window, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL, 32,
                    PropModeReplace, reinterpret_cast<unsigned char*>(&claimed), 1);
    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    if (argc == 3 || std::strcmp(argv[3], "plain") != 0) {
        XSetWMProtocols(display, window, &deleteWindow, 1);
    }
    XMapWindow(display, window);
    XSync(display, False);
    std::puts("ready");
    std::fflush(stdout);
    pollfd connection{ConnectionNumber(display), POLLIN, 0};
    while (XPending(display) > 0 || poll(&connection, 1, 60'000) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == ClientMessage &&
            static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow) {
            std::puts("closed");
            XCloseDisplay(display);
            return 0;
        }
    }
    XCloseDisplay(display);
    return 1;
}
