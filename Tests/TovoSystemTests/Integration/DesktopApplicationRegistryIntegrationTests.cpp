#include "../ProcessTestSupport.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TestDaemon.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

namespace tovo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int32_t editorPID = 4242;
const std::string editorID = "org.example.Editor";
const std::string editorPath = "/org/example/Editor";
const std::string appSlice = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";

using MethodCalls = std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>>;

// A private session bus with a mock desktop application that owns its id there,
// a desktop entry in a temporary data directory, and a fabricated /proc in
// which pid 4242 is the main process of the application's systemd scope.
class DesktopApplicationRegistryIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        const auto address = bus.readLine(10s);
        ASSERT_TRUE(address) << "the private session bus did not start";
        mock.emplace(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--session",
                                              editorID, editorPath, "org.freedesktop.Application"},
                     std::vector<std::string>{"DBUS_SESSION_BUS_ADDRESS=" + *address});
        connection = sdbus::createSessionBusConnectionWithAddress(*address);
        auto daemon =
            sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        ASSERT_TRUE(testing::eventually([&] {
            bool owned = false;
            daemon->callMethod("NameHasOwner")
                .onInterface("org.freedesktop.DBus")
                .withArguments(editorID)
                .storeResultsTo(owned);
            return owned;
        })) << "the mock application did not appear on the bus";
        mockObject = sdbus::createProxy(*connection, editorID, editorPath);
        addMethod("ActivateAction", "sava{sv}", "");
        addMethod("Activate", "a{sv}", "");

        writeProcess(editorPID, "app-gnome-org.example.Editor-4242.scope");
        fs::create_directories(root.path() / "share/applications");
        std::ofstream(root.path() / "share/applications/org.example.Editor.desktop")
            << "[Desktop Entry]\nType=Application\nName=Editor\nName[de]=Bearbeiter\n";
        options.procRoot = root.path() / "proc";
        options.dataDirectories = {root.path() / "share"};
        options.locale = "de_DE.UTF-8";
        options.sessionBusAddress = *address;
        metadata->add({editorPID, *editor.parentPID, *editor.userID, editor.command,
                       editor.executablePath, *editor.startTime});
    }

    void writeProcess(std::int32_t pid, const std::string& unit) {
        const auto dir = root.path() / "proc" / std::to_string(pid);
        fs::create_directories(dir);
        std::ofstream(dir / "stat") << pid << " (proc) S 900 1 1 0 -1\n";
        std::ofstream(dir / "cgroup") << appSlice << unit << "\n";
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
    void expectOneQuitRequest() {
        const auto received = calls("ActivateAction");
        ASSERT_EQ(received.size(), 1u);
        const auto& arguments = received.front().get<1>();
        ASSERT_EQ(arguments.size(), 3u);
        EXPECT_EQ(arguments[0].get<std::string>(), "quit");
        EXPECT_TRUE(arguments[1].get<std::vector<sdbus::Variant>>().empty());
        EXPECT_TRUE((arguments[2].get<std::map<std::string, sdbus::Variant>>().empty()));
        EXPECT_TRUE(calls("Activate").empty());
    }

    testing::TemporaryFolder root;
    testing::TestDaemon bus{{"/usr/bin/dbus-daemon", "--session", "--nofork", "--print-address",
                             "--address=unix:path=" + (root.path() / "bus").string()},
                            {}};
    std::optional<testing::TestDaemon> mock;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> mockObject;
    DesktopApplicationRegistry::Options options;
    BlockingProcess editor = testing::makeProcess(editorPID, "editor");
    std::shared_ptr<testing::FakeProcessMetadataProvider> metadata =
        std::make_shared<testing::FakeProcessMetadataProvider>();
    ManualExecutor executor;
};

TEST_F(DesktopApplicationRegistryIntegration, ReleaserAsksTheRealApplicationOnce) {
    auto registry = std::make_shared<DesktopApplicationRegistry>(options);
    ASSERT_EQ(registry->runningApplication(editorPID),
              (RunningApplication{editorPID, "Bearbeiter", editorID, ActivationPolicy::regular}));
    GracefulProcessReleaser releaser(*editor.userID, getpid(), metadata, registry);
    EXPECT_EQ(releaser.planRelease({editor})[0].strategy, ReleaseStrategy::quitApplication);
    const auto attempts = testing::runToEnd(executor, releaser.requestRelease({editor}));
    ASSERT_EQ(attempts.size(), 1u);
    EXPECT_EQ(attempts[0].message, "Tovo asked the app to quit.");
    expectOneQuitRequest();
}

TEST_F(DesktopApplicationRegistryIntegration, RefusedQuitIsReportedNotRetried) {
    addMethod("ActivateAction", "sava{sv}",
              "raise dbus.exceptions.DBusException('busy', name='org.example.Error.Busy')");
    EXPECT_FALSE(DesktopApplicationRegistry(options).terminate(editorPID));
    EXPECT_EQ(calls("ActivateAction").size(), 1u);
}

TEST_F(DesktopApplicationRegistryIntegration, UnansweredQuitWasDeliveredAndIsNotRepeated) {
    // Busy behind a save dialog: it answers only after our patience ran out.
    addMethod("ActivateAction", "sava{sv}", "import time; time.sleep(1)");
    options.busCallTimeout = 200ms;
    EXPECT_TRUE(DesktopApplicationRegistry(options).terminate(editorPID));
    expectOneQuitRequest();
}

TEST_F(DesktopApplicationRegistryIntegration, ActivateOnlyWhatOwnsItsIdOnTheBus) {
    writeProcess(4343, "app-gnome-org.example.Other-4343.scope");
    DesktopApplicationRegistry registry(options);
    EXPECT_TRUE(registry.activate(editorPID));
    EXPECT_EQ(calls("Activate").size(), 1u);
    ASSERT_TRUE(registry.runningApplication(4343));
    EXPECT_FALSE(registry.terminate(4343));
    EXPECT_FALSE(registry.activate(4343));
    EXPECT_TRUE(calls("ActivateAction").empty());
}

} // namespace
} // namespace tovo
