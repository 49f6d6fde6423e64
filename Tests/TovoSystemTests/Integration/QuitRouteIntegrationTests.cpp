// Which route can ask a real program to quit, and that only that program is asked:
// desktop applications and media players on a private session bus, windows on Xvfb.
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

namespace tovo {
namespace {

namespace fs = std::filesystem;
using namespace tovo::testing;
using namespace std::chrono_literals;

const auto confirmed = [] { return true; };
const auto changed = [] { return false; };
const fs::path programs = besideTests("QuitRouteApps.py");

// A fabricated /proc in which each started program is the main process of the
// Editor's systemd scope, with its desktop entry, and a private session bus.
class QuitRouteTest : public ::testing::Test {
protected:
    void SetUp() override {
        writeText(root.path() / "share/applications/org.example.Editor.desktop",
                  "[Desktop Entry]\nType=Application\nName=Editor\n");
        options.procRoot = root.path() / "proc";
        options.dataDirectories = {root.path() / "share"};
        options.sessionBusAddress = bus.address();
        options.busCallTimeout = 2s;
    }

    /// Starts `arguments` as the Editor's main process; waits for "ready" when asked.
    TestChild& start(std::vector<std::string> arguments, bool awaitReady = true) {
        children.push_back(std::make_unique<TestChild>(
            std::move(arguments), ChildOptions{{"DBUS_SESSION_BUS_ADDRESS=" + bus.address()},
                                               ".",
                                               output(children.size()),
                                               SIGTERM}));
        auto& child = *children.back();
        const auto dir = options.procRoot / std::to_string(child.pid());
        writeText(dir / "stat", std::to_string(child.pid()) + " (editor) S 900 1 1 0 -1\n");
        writeText(dir / "cgroup", "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
                                  "app-gnome-org.example.Editor-" +
                                      std::to_string(child.pid()) + ".scope\n");
        if (awaitReady) {
            EXPECT_TRUE(saidSoon(children.size() - 1, "ready")) << "the program did not start";
        }
        return child;
    }
    TestChild& startProgram(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"/usr/bin/python3", programs.string()});
        return start(std::move(arguments));
    }
    fs::path output(std::size_t index) const {
        return root.path() / ("out" + std::to_string(index));
    }
    bool said(std::size_t index, const std::string& text) const {
        return readText(output(index)).value_or("").find(text) != std::string::npos;
    }
    bool saidSoon(std::size_t index, const std::string& text) const {
        return eventually([&] { return said(index, text); });
    }

    TemporaryFolder root;
    PrivateBus bus{root.path()};
    DesktopApplicationRegistry::Options options;
    std::vector<std::unique_ptr<TestChild>> children;
};

struct RouteCase {
    const char* name;
    std::vector<std::string> program;
    std::optional<QuitRoute> route;
};

class QuitRouteOfAProgram : public QuitRouteTest,
                            public ::testing::WithParamInterface<RouteCase> {};

// A route is found only where the program offers one; asking through it reaches the
// program only once its identity is confirmed while pinned. A second instance, which
// holds the disk, has no route of its own, and asking it must not reach the first.
TEST_P(QuitRouteOfAProgram, IsFoundOnlyWhereOfferedAndReachesTheConfirmedProgram) {
    const auto& row = GetParam();
    auto& program = startProgram(row.program);
    const auto& second = start({"/bin/sleep", "30"}, false);
    DesktopApplicationRegistry registry(options);
    EXPECT_EQ(registry.activate(program.pid()), row.program[0] == "app");
    const auto route = registry.quitRoute(program.pid());
    ASSERT_EQ(route, row.route);
    EXPECT_EQ(registry.quitRoute(second.pid()), std::nullopt);
    if (route) {
        EXPECT_EQ(registry.terminate(second.pid(), *route, confirmed),
                  QuitRequestOutcome::noProvenRoute);
        int checks = 0;
        EXPECT_EQ(registry.terminate(program.pid(), *route, [&] { return ++checks, false; }),
                  QuitRequestOutcome::identityChanged);
        EXPECT_EQ(checks, 1);
        EXPECT_FALSE(said(0, "asked to quit"));
        EXPECT_EQ(registry.terminate(program.pid(), *route, confirmed), QuitRequestOutcome::sent);
        EXPECT_TRUE(saidSoon(0, "asked to quit"));
        EXPECT_TRUE(eventually([&] { return program.hasExited(); }));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Programs, QuitRouteOfAProgram,
    ::testing::Values(
        RouteCase{"AppWithQuitAction",
                  {"app", "org.example.Editor", "quit"},
                  QuitRoute::applicationAction},
        RouteCase{"AppWithoutQuitAction", {"app", "org.example.Editor"}, std::nullopt},
        RouteCase{"PlayerThatCanQuit", {"player", "Editor", "1"}, QuitRoute::mediaPlayer},
        RouteCase{"PlayerThatCannotQuit", {"player", "Editor", "0"}, std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

// A program gone, whose bus connection a child of its own kept open: the bus still
// names the gone program as the owner, but nothing may be sent in its name.
TEST_F(QuitRouteTest, NothingIsSentForAProgramThatIsGone) {
    const auto& gone = startProgram({"app", "org.example.Editor", "quit", "leave"});
    ASSERT_TRUE(eventually([&] { return processState(gone.pid()) == 'Z'; }));
    EXPECT_EQ(DesktopApplicationRegistry(options).terminate(
                  gone.pid(), QuitRoute::applicationAction, confirmed),
              QuitRequestOutcome::noProvenRoute);
}

struct AnswerCase {
    const char* name;
    std::string answer; ///< the mock's code for the quit action
    QuitRequestOutcome outcome;
};

class QuitRequestAnswer : public QuitRouteTest, public ::testing::WithParamInterface<AnswerCase> {};

// A mock application records the request: one quit action, whatever it answers; the
// real application above shows that it carries no parameter.
TEST_P(QuitRequestAnswer, IsOneQuitActionAndTheAnswerCounts) {
    const std::string id = "org.example.Editor";
    const sdbus::ObjectPath path("/org/example/Editor");
    const auto& mock = start({"/usr/bin/python3", "-m", "dbusmock", "--session", id, path,
                              "org.freedesktop.Application"},
                             false);
    ASSERT_TRUE(bus.awaitName(id)) << "the mock application did not appear on the bus";
    const auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
    const auto object = sdbus::createProxy(*connection, id, path);
    object->callMethod("AddMethod")
        .onInterface("org.freedesktop.DBus.Mock")
        .withArguments(std::string("org.freedesktop.Application"), std::string("ActivateAction"),
                       std::string("sava{sv}"), std::string(), GetParam().answer);
    options.busCallTimeout = 200ms;

    EXPECT_EQ(DesktopApplicationRegistry(options).terminate(
                  mock.pid(), QuitRoute::applicationAction, confirmed),
              GetParam().outcome);
    std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>> received;
    object->callMethod("GetMethodCalls")
        .onInterface("org.freedesktop.DBus.Mock")
        .withArguments(std::string("ActivateAction"))
        .storeResultsTo(received);
    EXPECT_EQ(received.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, QuitRequestAnswer,
    ::testing::Values(
        AnswerCase{"Accepted", "", QuitRequestOutcome::sent},
        AnswerCase{"Refused",
                   "raise dbus.exceptions.DBusException('busy', name='org.example.Error.Busy')",
                   QuitRequestOutcome::refused},
        // Busy behind a save dialog: it answers only after our patience ran out, but got it.
        AnswerCase{"Unanswered", "import time; time.sleep(1)", QuitRequestOutcome::sent}),
    [](const auto& info) { return std::string(info.param.name); });

// Windows: only the process that the X server names as their client.
TEST_F(QuitRouteTest, WindowsCountForTheProcessTheServerNames) {
    const VirtualDisplay display(root.path() / "display");
    ASSERT_FALSE(display.name().empty()) << "Xvfb did not start";
    options.display = display.name();
    auto& other = start({"/bin/sleep", "30"}, false);
    // The window claims the other process's pid; the server knows better.
    auto& owner =
        start({helperProgram("x11_window").string(), display.name(), std::to_string(other.pid())});
    DesktopApplicationRegistry registry(options);
    EXPECT_EQ(registry.quitRoute(owner.pid()), QuitRoute::windowClose);
    EXPECT_EQ(registry.quitRoute(other.pid()), std::nullopt);
    EXPECT_EQ(registry.terminate(other.pid(), QuitRoute::windowClose, confirmed),
              QuitRequestOutcome::noProvenRoute);
    EXPECT_EQ(registry.terminate(owner.pid(), QuitRoute::windowClose, changed),
              QuitRequestOutcome::identityChanged);
    EXPECT_FALSE(said(1, "closed"));
    EXPECT_EQ(registry.terminate(owner.pid(), QuitRoute::windowClose, confirmed),
              QuitRequestOutcome::sent);
    EXPECT_TRUE(saidSoon(1, "closed"));
}

} // namespace
} // namespace tovo
