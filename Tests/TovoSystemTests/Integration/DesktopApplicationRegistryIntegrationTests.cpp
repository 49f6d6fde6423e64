#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

namespace tovo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

const std::string editorID = "org.example.Editor";
const std::string editorPath = "/org/example/Editor";

using MethodCalls = std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>>;

const auto confirmed = [] { return true; };

// A private session bus with a mock desktop application that owns its id there,
// a desktop entry in a temporary data directory, and a fabricated /proc in which
// the mock's real pid is the main process of the application's systemd scope.
class DesktopApplicationRegistryIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        mock.emplace(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--session",
                                              editorID, editorPath, "org.freedesktop.Application"},
                     testing::ChildOptions{{"DBUS_SESSION_BUS_ADDRESS=" + bus.address()}});
        ASSERT_TRUE(bus.awaitName(editorID)) << "the mock application did not appear on the bus";
        connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
        mockObject = sdbus::createProxy(*connection, editorID, editorPath);
        addMethod("ActivateAction", "sava{sv}", "");
        addMethod("Activate", "a{sv}", "");

        editorPID = mock->pid();
        writeProcess(editorPID, "app-gnome-org.example.Editor-1.scope");
        fs::create_directories(root.path() / "share/applications");
        std::ofstream(root.path() / "share/applications/org.example.Editor.desktop")
            << "[Desktop Entry]\nType=Application\nName=Editor\n";
        options.procRoot = root.path() / "proc";
        options.dataDirectories = {root.path() / "share"};
        options.sessionBusAddress = bus.address();
        options.busCallTimeout = 200ms;
    }

    void writeProcess(std::int32_t pid, const std::string& unit) {
        const auto dir = root.path() / "proc" / std::to_string(pid);
        fs::create_directories(dir);
        std::ofstream(dir / "stat") << pid << " (proc) S 900 1 1 0 -1\n";
        std::ofstream(dir / "cgroup")
            << "0::/user.slice/user-1000.slice/user@1000.service/app.slice/" << unit << "\n";
    }
    void addMethod(const std::string& name, const std::string& in, const std::string& code) {
        mockObject->callMethod("AddMethod")
            .onInterface("org.freedesktop.DBus.Mock")
            .withArguments(std::string("org.freedesktop.Application"), name, in, std::string(),
                           code);
    }
    MethodCalls calls(const std::string& method) {
        MethodCalls result;
        mockObject->callMethod("GetMethodCalls")
            .onInterface("org.freedesktop.DBus.Mock")
            .withArguments(method)
            .storeResultsTo(result);
        return result;
    }

    testing::TemporaryFolder root;
    testing::PrivateBus bus{root.path()};
    std::optional<testing::TestChild> mock;
    std::int32_t editorPID = -1;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> mockObject;
    DesktopApplicationRegistry::Options options;
};

struct QuitCase {
    const char* name;
    std::string answer; ///< the mock's code for the quit action
    QuitRequestOutcome outcome;
};

class DesktopApplicationQuit : public DesktopApplicationRegistryIntegration,
                               public ::testing::WithParamInterface<QuitCase> {};

TEST_P(DesktopApplicationQuit, AsksTheCheckedProcessExactlyOnce) {
    addMethod("ActivateAction", "sava{sv}", GetParam().answer);
    EXPECT_EQ(DesktopApplicationRegistry(options).terminate(editorPID, QuitRoute::applicationAction,
                                                            confirmed),
              GetParam().outcome);

    const auto received = calls("ActivateAction");
    ASSERT_EQ(received.size(), 1u);
    const auto& arguments = received.front().get<1>();
    ASSERT_EQ(arguments.size(), 3u);
    EXPECT_EQ(arguments[0].get<std::string>(), "quit");
    EXPECT_TRUE(arguments[1].get<std::vector<sdbus::Variant>>().empty());
    EXPECT_TRUE((arguments[2].get<std::map<std::string, sdbus::Variant>>().empty()));
    EXPECT_TRUE(calls("Activate").empty());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, DesktopApplicationQuit,
    ::testing::Values(
        QuitCase{"Accepted", "", QuitRequestOutcome::sent},
        QuitCase{"Refused",
                 "raise dbus.exceptions.DBusException('busy', name='org.example.Error.Busy')",
                 QuitRequestOutcome::refused},
        // Busy behind a save dialog: it answers only after our patience ran out, but got it.
        QuitCase{"Unanswered", "import time; time.sleep(1)", QuitRequestOutcome::sent}),
    [](const auto& info) { return std::string(info.param.name); });

// A second instance of the app (or a helper in its unit) holds the disk while the
// first instance owns the app's bus name: asking the owner would close the wrong one.
TEST_F(DesktopApplicationRegistryIntegration, NothingGoesToAnOwnerThatIsNotTheCheckedProcess) {
    testing::TestChild secondInstance({"/bin/sleep", "30"});
    writeProcess(secondInstance.pid(), "app-gnome-org.example.Editor-2.scope");
    DesktopApplicationRegistry registry(options);
    ASSERT_TRUE(registry.runningApplication(secondInstance.pid()));

    EXPECT_EQ(registry.quitRoute(secondInstance.pid()), std::nullopt);
    EXPECT_EQ(registry.terminate(secondInstance.pid(), QuitRoute::applicationAction, confirmed),
              QuitRequestOutcome::noProvenRoute);
    EXPECT_FALSE(registry.activate(secondInstance.pid()));
    EXPECT_TRUE(calls("ActivateAction").empty());
    EXPECT_TRUE(calls("Activate").empty());
}

TEST_F(DesktopApplicationRegistryIntegration, IdentityIsCheckedWhilePinnedBeforeAnythingIsSent) {
    DesktopApplicationRegistry registry(options);
    int checks = 0;
    EXPECT_EQ(registry.terminate(editorPID, QuitRoute::applicationAction,
                                 [&] { return ++checks, false; }),
              QuitRequestOutcome::identityChanged);
    EXPECT_EQ(checks, 1);
    EXPECT_TRUE(calls("ActivateAction").empty());

    EXPECT_TRUE(registry.activate(editorPID));
    EXPECT_EQ(calls("Activate").size(), 1u);
}

} // namespace
} // namespace tovo
