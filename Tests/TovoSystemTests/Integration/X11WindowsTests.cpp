#include "TovoSystem/Linux/X11Windows.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fstream>

namespace tovo::testing {
namespace {

constexpr long editorPID = 4242;

// A virtual X server with no window manager: the test's own connection owns the
// windows and plays the window manager, and reads what Tovo sends them.
class X11WindowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto announced = folder.path() / "display";
        server = std::make_unique<TestChild>(std::vector<std::string>{"/usr/bin/Xvfb", "-displayfd",
                                                                      "1", "-nolisten", "tcp",
                                                                      "-screen", "0", "320x240x24"},
                                             ChildOptions{.output = announced});
        std::string number;
        ASSERT_TRUE(eventually([&] {
            std::ifstream(announced) >> number;
            return !number.empty();
        })) << "Xvfb did not start";
        name = ":" + number;
        display = XOpenDisplay(name.c_str());
        ASSERT_NE(display, nullptr);
    }
    void TearDown() override {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
    }

    Window makeWindow(long pid, bool takesDelete) {
        const auto window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 20, 20, 0, 0, 0);
        XChangeProperty(display, window, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL,
                        32, PropModeReplace, reinterpret_cast<unsigned char*>(&pid), 1);
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

    TemporaryFolder folder;
    std::unique_ptr<TestChild> server;
    std::string name;
    Display* display = nullptr;
};

TEST_F(X11WindowsTest, DeleteWindowGoesToEachWindowOfTheProcessThatTakesIt) {
    const auto first = makeWindow(editorPID, true);
    const auto second = makeWindow(editorPID, true);
    makeWindow(editorPID, false);
    makeWindow(5555, true);

    EXPECT_EQ(X11Windows::requestClose(name, editorPID), 2u);

    std::vector<Window> asked;
    for (const auto& message : receivedMessages()) {
        EXPECT_EQ(message.message_type, XInternAtom(display, "WM_PROTOCOLS", False));
        EXPECT_EQ(static_cast<Atom>(message.data.l[0]),
                  XInternAtom(display, "WM_DELETE_WINDOW", False));
        asked.push_back(message.window);
    }
    EXPECT_EQ(asked, (std::vector<Window>{first, second}));
    EXPECT_EQ(X11Windows::requestClose(name, 5556), 0u);
    EXPECT_EQ(X11Windows::requestClose(std::nullopt, editorPID), 0u);
}

TEST_F(X11WindowsTest, ActivateAsksTheWindowManagerForTheWindow) {
    const auto window = makeWindow(editorPID, true);
    XSelectInput(display, DefaultRootWindow(display), SubstructureRedirectMask);
    XSync(display, False);

    EXPECT_TRUE(X11Windows::activate(name, editorPID));

    const auto messages = receivedMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message_type, XInternAtom(display, "_NET_ACTIVE_WINDOW", False));
    EXPECT_EQ(messages[0].window, window);
}

} // namespace
} // namespace tovo::testing
