#include "TovoSystem/Linux/X11Windows.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

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
        const auto announced = folder.path() / ("display" + std::to_string(servers.size()));
        std::vector<std::string> arguments{"/usr/bin/Xvfb", "-displayfd", "1", "-nolisten",
                                           "tcp",           "-screen",    "0", "320x240x24"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        servers.push_back(
            std::make_unique<TestChild>(arguments, ChildOptions{.output = announced}));
        // The display number is a line of its own, among whatever the server logs there.
        std::string number;
        ASSERT_TRUE(eventually([&] {
            std::ifstream file(announced);
            for (std::string line; std::getline(file, line) && !file.eof();) {
                if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) {
                    number = line;
                }
            }
            return !number.empty();
        })) << "Xvfb did not start";
        name = ":" + number;
        if (display != nullptr) {
            XCloseDisplay(display);
        }
        display = XOpenDisplay(name.c_str());
        ASSERT_NE(display, nullptr);
    }
    bool serverHasClientIds() {
        int opcode = 0;
        int event = 0;
        int error = 0;
        return XQueryExtension(display, "X-Resource", &opcode, &event, &error) != 0;
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
    std::vector<std::unique_ptr<TestChild>> servers;
    std::string name;
    Display* display = nullptr;
    TestChild sleeper{{"/bin/sleep", "60"}};
};

enum class Process { test, helper, sleeper };

struct OwnerCase {
    Process creator; ///< whose connection made the window; it claims to be the sleeper's
    bool takesDelete;
    Process closed;    ///< whose windows Tovo asks to close
    std::size_t asked; ///< windows that must be asked
};

class X11WindowOwnerTest : public X11WindowsTest,
                           public ::testing::WithParamInterface<OwnerCase> {};

TEST_P(X11WindowOwnerTest, OnlyTheServerNamesTheWindowsOwner) {
    ASSERT_TRUE(serverHasClientIds()) << "Xvfb offers no X-Resource extension";
    const auto& row = GetParam();
    const auto output = folder.path() / "helper-output";
    std::optional<TestChild> helper;
    std::optional<Window> window;
    if (row.creator == Process::helper) {
        std::vector<std::string> arguments{helperProgram("x11_window"), name,
                                           std::to_string(sleeper.pid())};
        if (!row.takesDelete) {
            arguments.push_back("plain");
        }
        helper.emplace(arguments, ChildOptions{.output = output});
        ASSERT_TRUE(eventually([&] { return readText(output) == "ready\n"; }));
    } else {
        window = makeWindow(sleeper.pid(), row.takesDelete);
    }
    const auto pid = row.closed == Process::test     ? ::getpid()
                     : row.closed == Process::helper ? helper->pid()
                                                     : sleeper.pid();

    EXPECT_EQ(X11Windows::canRequestClose(name, pid), row.asked > 0);
    EXPECT_EQ(X11Windows::requestClose(name, pid), row.asked);

    if (window) {
        expectAskedToClose(row.asked > 0 ? std::vector<Window>{*window} : std::vector<Window>{});
    } else if (row.asked > 0) {
        EXPECT_TRUE(eventually([&] { return helper->hasExited(); }));
        EXPECT_EQ(readText(output), "ready\nclosed\n");
    }
}

std::string rowName(const ::testing::TestParamInfo<OwnerCase>& info) {
    constexpr const char* names[] = {"Test", "Helper", "Sleeper"};
    const auto& row = info.param;
    return std::string(names[static_cast<int>(row.creator)]) +
           (row.takesDelete ? "WindowTakingDelete" : "PlainWindow") + "Closing" +
           names[static_cast<int>(row.closed)];
}

INSTANTIATE_TEST_SUITE_P(Rows, X11WindowOwnerTest,
                         ::testing::Values(OwnerCase{Process::test, true, Process::sleeper, 0},
                                           OwnerCase{Process::test, true, Process::test, 1},
                                           OwnerCase{Process::test, false, Process::test, 0},
                                           OwnerCase{Process::helper, true, Process::helper, 1},
                                           OwnerCase{Process::helper, true, Process::sleeper, 0},
                                           OwnerCase{Process::helper, false, Process::helper, 0}),
                         rowName);

// Without the server's word, a window's own pid claim proves nothing.
TEST_F(X11WindowsTest, NoWindowsWithoutTheXResourceExtension) {
    startServer({"-extension", "X-Resource"});
    ASSERT_FALSE(serverHasClientIds());
    makeWindow(::getpid(), true);

    EXPECT_FALSE(X11Windows::canRequestClose(name, ::getpid()));
    EXPECT_EQ(X11Windows::requestClose(name, ::getpid()), 0u);
    EXPECT_FALSE(X11Windows::activate(name, ::getpid()));
    EXPECT_EQ(X11Windows::requestClose(std::nullopt, ::getpid()), 0u);
    expectAskedToClose({});
}

// Another client's grab stalls every other connection, even its set-up.
TEST_F(X11WindowsTest, AGrabbedServerHasNoWindowsAndLaterCallsStillWork) {
    const auto first = makeWindow(::getpid(), true);
    const auto second = makeWindow(::getpid(), true);
    XGrabServer(display);
    XSync(display, False);

    auto stalled = std::async(std::launch::async,
                              [this] { return X11Windows::requestClose(name, ::getpid()); });
    const auto returned = stalled.wait_for(std::chrono::seconds(10));
    XUngrabServer(display);
    XSync(display, False);
    EXPECT_EQ(returned, std::future_status::ready);
    EXPECT_EQ(stalled.get(), 0u);

    EXPECT_EQ(X11Windows::requestClose(name, ::getpid()), 2u);
    expectAskedToClose({first, second});
}

TEST_F(X11WindowsTest, ActivateAsksTheWindowManagerForTheWindow) {
    const auto window = makeWindow(sleeper.pid(), true);
    XSelectInput(display, DefaultRootWindow(display), SubstructureRedirectMask);
    XSync(display, False);

    EXPECT_FALSE(X11Windows::activate(name, sleeper.pid()));
    EXPECT_TRUE(X11Windows::activate(name, ::getpid()));

    const auto messages = receivedMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message_type, XInternAtom(display, "_NET_ACTIVE_WINDOW", False));
    EXPECT_EQ(messages[0].window, window);
}

} // namespace
} // namespace tovo::testing
