#include "DesktopApplicationRegistryDaemons.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"

#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <filesystem>
#include <fstream>
#include <thread>

namespace tovo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int32_t editorPID = 4242;

// A virtual X server with no window manager and no session bus: Tovo's only
// polite way to reach the application is through its windows. The test's own
// connection owns the windows and plays the window manager.
class DesktopApplicationRegistryX11 : public ::testing::Test {
protected:
    void SetUp() override {
        if (access("/usr/bin/Xvfb", X_OK) != 0) {
            GTEST_SKIP() << "Xvfb is not installed";
        }
        char pattern[] = "/tmp/tovo-x11-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root = pattern;
        server.emplace(std::vector<std::string>{"/usr/bin/Xvfb", "-displayfd", "1", "-nolisten",
                                                "tcp", "-screen", "0", "640x480x24"},
                       std::vector<std::string>{});
        const auto number = server->readLine(20s);
        ASSERT_TRUE(number) << "Xvfb did not start";
        displayName = ":" + *number;
        display = XOpenDisplay(displayName.c_str());
        ASSERT_NE(display, nullptr);

        const auto dir = root / "proc" / std::to_string(editorPID);
        fs::create_directories(dir);
        std::ofstream(dir / "stat") << editorPID << " (editor) S 1 1 1 0 -1\n";
        std::ofstream(dir / "cgroup") << "0::/user.slice/user-1000.slice/user@1000.service/"
                                         "app.slice/app-gnome-org.example.Editor-4242.scope\n";
        options.procRoot = root / "proc";
        options.dataDirectories = {};
        options.sessionBusAddress.reset();
        options.display = displayName;
    }
    void TearDown() override {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
        server.reset();
        if (!root.empty()) {
            fs::remove_all(root);
        }
    }

    Window makeWindow(long pid, bool takesDelete) {
        const auto window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 50, 50, 0, 0, 0);
        const auto pidAtom = XInternAtom(display, "_NET_WM_PID", False);
        XChangeProperty(display, window, pidAtom, XA_CARDINAL, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(&pid), 1);
        if (takesDelete) {
            Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
            XSetWMProtocols(display, window, &deleteWindow, 1);
        }
        XMapWindow(display, window);
        XSync(display, False);
        return window;
    }
    // Client messages that reached our windows (or the root, when redirected).
    std::vector<XClientMessageEvent> receivedMessages() {
        XSync(display, False);
        std::vector<XClientMessageEvent> messages;
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == ClientMessage) {
                messages.push_back(event.xclient);
            }
        }
        return messages;
    }

    fs::path root;
    std::optional<testing::TestDaemon> server;
    std::string displayName;
    Display* display = nullptr;
    DesktopApplicationRegistry::Options options;
};

TEST_F(DesktopApplicationRegistryX11, DeleteWindowGoesToEachWindowOfTheProcessThatTakesIt) {
    const auto first = makeWindow(editorPID, true);
    const auto second = makeWindow(editorPID, true);
    makeWindow(editorPID, false);
    makeWindow(5555, true);
    DesktopApplicationRegistry registry(options);

    EXPECT_TRUE(registry.terminate(editorPID));

    const auto messages = receivedMessages();
    ASSERT_EQ(messages.size(), 2u);
    const auto protocols = XInternAtom(display, "WM_PROTOCOLS", False);
    const auto deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    std::vector<Window> asked;
    for (const auto& message : messages) {
        EXPECT_EQ(message.message_type, protocols);
        EXPECT_EQ(static_cast<Atom>(message.data.l[0]), deleteWindow);
        asked.push_back(message.window);
    }
    EXPECT_EQ(asked, (std::vector<Window>{first, second}));
}

TEST_F(DesktopApplicationRegistryX11, WindowsThatCannotBeAskedMeanRefused) {
    makeWindow(editorPID, false);
    DesktopApplicationRegistry registry(options);
    EXPECT_FALSE(registry.terminate(editorPID));
    EXPECT_TRUE(receivedMessages().empty());
}

TEST_F(DesktopApplicationRegistryX11, ActivateAsksTheWindowManagerForTheWindow) {
    const auto window = makeWindow(editorPID, true);
    XSelectInput(display, DefaultRootWindow(display), SubstructureRedirectMask);
    XSync(display, False);
    DesktopApplicationRegistry registry(options);

    EXPECT_TRUE(registry.activate(editorPID));

    const auto messages = receivedMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message_type, XInternAtom(display, "_NET_ACTIVE_WINDOW", False));
    EXPECT_EQ(messages[0].window, window);
}

} // namespace
} // namespace tovo
