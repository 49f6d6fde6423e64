#include "TovoSystem/Linux/X11Windows.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <future>

namespace tovo::testing {
namespace {

// A virtual X server with no window manager: the test's own connection owns some
// windows and plays the window manager, and reads what Tovo sends them.
class X11WindowsTest : public ::testing::Test {
protected:
    void SetUp() override { startServer({}); }
    void TearDown() override {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
    }

    void startServer(std::vector<std::string> options) {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
        server.emplace(folder.path() / ("display" + std::to_string(++servers)), std::move(options));
        name = server->name();
        display = XOpenDisplay(name.c_str());
        ASSERT_NE(display, nullptr) << "Xvfb did not start";
    }

    Window makeWindow(long claimedPID, bool takesDelete) {
        const auto window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 20, 20, 0, 0, 0);
        XChangeProperty(display, window, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL,
                        32, PropModeReplace, reinterpret_cast<unsigned char*>(&claimedPID), 1);
        if (takesDelete) {
            Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
            XSetWMProtocols(display, window, &deleteWindow, 1);
        }
        XMapWindow(display, window);
        XSync(display, False);
        return window;
    }
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
    // Closing must go to exactly `windows`, each asked once with WM_DELETE_WINDOW.
    void expectAskedToClose(const std::vector<Window>& windows) {
        std::vector<Window> asked;
        for (const auto& message : receivedMessages()) {
            EXPECT_EQ(message.message_type, XInternAtom(display, "WM_PROTOCOLS", False));
            EXPECT_EQ(static_cast<Atom>(message.data.l[0]),
                      XInternAtom(display, "WM_DELETE_WINDOW", False));
            asked.push_back(message.window);
        }
        EXPECT_EQ(asked, windows);
    }

    TemporaryFolder folder;
    int servers = 0;
    std::optional<VirtualDisplay> server;
    std::string name;
    Display* display = nullptr;
    TestChild sleeper{{"/bin/sleep", "60"}};
};

// Without the server's word, a window's own pid claim proves nothing.
TEST_F(X11WindowsTest, NoWindowsWithoutTheXResourceExtension) {
    startServer({"-extension", "X-Resource"});
    makeWindow(::getpid(), true);

    EXPECT_FALSE(X11Windows::canRequestClose(name, ::getpid()));
    EXPECT_EQ(X11Windows::requestClose(name, ::getpid()), 0u);
    EXPECT_FALSE(X11Windows::activate(name, ::getpid()));
    EXPECT_EQ(X11Windows::requestClose(std::nullopt, ::getpid()), 0u);
    expectAskedToClose({});
}

// Another client's grab stalls every other connection, even its set-up. Once it ends,
// the windows the server names the test as the client of, whatever pid they claim, are
// asked to close if they take WM_DELETE_WINDOW, each once, and the first is activated
// through the window manager, which the test plays.
TEST_F(X11WindowsTest, AfterAGrabTheOwnersWindowsAreAskedToCloseAndActivated) {
    const auto first = makeWindow(sleeper.pid(), true);
    const auto second = makeWindow(::getpid(), true);
    makeWindow(::getpid(), false);
    XSelectInput(display, DefaultRootWindow(display), SubstructureRedirectMask);
    XGrabServer(display);
    XSync(display, False);

    auto stalled = std::async(std::launch::async,
                              [this] { return X11Windows::requestClose(name, ::getpid()); });
    const auto returned = stalled.wait_for(std::chrono::seconds(10));
    XUngrabServer(display);
    XSync(display, False);
    EXPECT_EQ(returned, std::future_status::ready);
    EXPECT_EQ(stalled.get(), 0u);

    EXPECT_FALSE(X11Windows::canRequestClose(name, sleeper.pid()));
    EXPECT_TRUE(X11Windows::canRequestClose(name, ::getpid()));
    EXPECT_EQ(X11Windows::requestClose(name, ::getpid()), 2u);
    expectAskedToClose({first, second});

    EXPECT_FALSE(X11Windows::activate(name, sleeper.pid()));
    EXPECT_TRUE(X11Windows::activate(name, ::getpid()));
    const auto messages = receivedMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(std::pair(messages[0].message_type, messages[0].window),
              std::pair(XInternAtom(display, "_NET_ACTIVE_WINDOW", False), first));
}

} // namespace
} // namespace tovo::testing
