#include "DesktopApplicationRegistryDaemons.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include <fstream>
#include <thread>

namespace tovo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int32_t editorPID = 4242;
const std::string editorID = "org.example.Editor";
const std::string editorPath = "/org/example/Editor";
const std::string mockInterface = "org.freedesktop.DBus.Mock";

using MethodCalls = std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>>;

template<class T>
T await(Task<T> task) {
    ManualExecutor executor;
    std::optional<T> result;
    spawn(executor, [](Task<T> body, std::optional<T>& out) -> Task<void> {
        out = co_await std::move(body);
    }(std::move(task), result));
    executor.runAll();
    return std::move(*result);
}

// A private session bus with a mock desktop application that owns its id there,
// a desktop entry in a temporary data directory, and a fabricated /proc in
// which pid 4242 is the main process of the application's systemd scope.
class DesktopApplicationRegistryIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tovo-bus-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root = pattern;

        bus.emplace(std::vector<std::string>{"/usr/bin/dbus-daemon", "--session", "--nofork",
                                             "--print-address",
                                             "--address=unix:path=" + (root / "bus").string()},
                    std::vector<std::string>{});
        const auto address = bus->readLine(10s);
        ASSERT_TRUE(address) << "the private session bus did not start";
        busAddress = *address;
        mock.emplace(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--session",
                                              editorID, editorPath, "org.freedesktop.Application"},
                     std::vector<std::string>{"DBUS_SESSION_BUS_ADDRESS=" + busAddress,
                                              "PATH=/usr/bin:/bin"});
        connection = sdbus::createSessionBusConnectionWithAddress(busAddress);
        ASSERT_TRUE(waitForOwner(editorID)) << "the mock application did not appear on the bus";
        mockObject = sdbus::createProxy(*connection, editorID, editorPath);
        addMethod("ActivateAction", "sava{sv}", "");
        addMethod("Activate", "a{sv}", "");

        writeProcess(900, 1, "0::/user.slice/user-1000.slice/session-2.scope\n");
        writeProcess(editorPID, 900,
                     "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
                     "app-gnome-org.example.Editor-4242.scope\n");
        fs::create_directories(root / "share/applications");
        std::ofstream(root / "share/applications/org.example.Editor.desktop")
            << "[Desktop Entry]\nType=Application\nName=Editor\nName[de]=Bearbeiter\n";

        options.procRoot = root / "proc";
        options.dataDirectories = {root / "share"};
        options.locale = "de_DE.UTF-8";
        options.sessionBusAddress = busAddress;
        options.display.reset();
    }
    void TearDown() override {
        mockObject.reset();
        connection.reset();
        mock.reset();
        bus.reset();
        fs::remove_all(root);
    }

    void writeProcess(std::int32_t pid, std::int32_t parent, const std::string& cgroup) {
        const auto dir = root / "proc" / std::to_string(pid);
        fs::create_directories(dir);
        std::ofstream(dir / "stat") << pid << " (proc " << pid << ") S " << parent << " 1 1 0 -1\n";
        std::ofstream(dir / "cgroup") << cgroup;
    }
    bool waitForOwner(const std::string& name) {
        auto daemon =
            sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        for (int tries = 0; tries < 200; ++tries) {
            bool owned = false;
            daemon->callMethod("NameHasOwner")
                .onInterface("org.freedesktop.DBus")
                .withArguments(name)
                .storeResultsTo(owned);
            if (owned) {
                return true;
            }
            std::this_thread::sleep_for(50ms);
        }
        return false;
    }
    void addMethod(const std::string& name, const std::string& in, const std::string& code) {
        mockObject->callMethod("AddMethod")
            .onInterface(mockInterface)
            .withArguments(std::string("org.freedesktop.Application"), name, in, std::string(),
                           code);
    }
    MethodCalls calls(const std::string& method) {
        MethodCalls result;
        mockObject->callMethod("GetMethodCalls")
            .onInterface(mockInterface)
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
    }

    fs::path root;
    std::optional<testing::TestDaemon> bus;
    std::optional<testing::TestDaemon> mock;
    std::string busAddress;
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> mockObject;
    DesktopApplicationRegistry::Options options;
};

TEST_F(DesktopApplicationRegistryIntegration, QuitRequestReachesTheApplicationExactlyOnce) {
    DesktopApplicationRegistry registry(options);
    EXPECT_EQ(registry.runningApplication(editorPID),
              (RunningApplication{editorPID, "Bearbeiter", editorID, ActivationPolicy::regular}));
    EXPECT_TRUE(registry.terminate(editorPID));
    expectOneQuitRequest();
    EXPECT_TRUE(calls("Activate").empty());
}

TEST_F(DesktopApplicationRegistryIntegration, ReleaserAsksTheRealApplicationOnce) {
    auto registry = std::make_shared<DesktopApplicationRegistry>(options);
    auto metadata = std::make_shared<testing::FakeProcessMetadataProvider>();
    auto editor = testing::makeProcess(editorPID, "editor");
    metadata->add({editorPID, *editor.parentPID, *editor.userID, editor.command,
                   editor.executablePath, *editor.startTime});
    GracefulProcessReleaser releaser(*editor.userID, getpid(), metadata, registry);

    EXPECT_EQ(
        releaser.planRelease({editor}),
        (std::vector<ProcessReleasePlan>{{editorPID, "Bearbeiter", ReleaseStrategy::quitApplication,
                                          "Tovo will ask this app to quit."}}));
    const auto attempts = await(releaser.requestRelease({editor}));
    ASSERT_EQ(attempts.size(), 1u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempts[0].message, "Tovo asked the app to quit.");
    expectOneQuitRequest();
}

TEST_F(DesktopApplicationRegistryIntegration, StopperQuitsTheApplicationInsteadOfSignalling) {
    auto registry = std::make_shared<DesktopApplicationRegistry>(options);
    auto metadata = std::make_shared<testing::FakeProcessMetadataProvider>();
    auto editor = testing::makeProcess(editorPID, "editor");
    metadata->add({editorPID, *editor.parentPID, *editor.userID, editor.command,
                   editor.executablePath, *editor.startTime});
    int signals = 0;
    ExplicitProcessStopper stopper(*editor.userID, getpid(), metadata, registry,
                                   [&](std::int32_t, std::int32_t) { return ++signals, 0; });
    EXPECT_EQ(stopper.planStop(editor).method, StopMethod::quitApplication);
    const auto attempt = await(stopper.requestStop(editor));
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempt.message, "Tovo asked Bearbeiter to quit.");
    EXPECT_EQ(signals, 0);
    expectOneQuitRequest();
}

TEST_F(DesktopApplicationRegistryIntegration, RefusedQuitIsReportedNotRetried) {
    addMethod("ActivateAction", "sava{sv}",
              "raise dbus.exceptions.DBusException('busy', name='org.example.Error.Busy')");
    DesktopApplicationRegistry registry(options);
    EXPECT_FALSE(registry.terminate(editorPID));
    EXPECT_EQ(calls("ActivateAction").size(), 1u);
}

TEST_F(DesktopApplicationRegistryIntegration, UnansweredQuitWasDeliveredAndIsNotRepeated) {
    // Busy behind a save dialog: it answers only after our patience ran out.
    addMethod("ActivateAction", "sava{sv}", "import time; time.sleep(1)");
    options.busCallTimeout = 200ms;
    DesktopApplicationRegistry registry(options);
    EXPECT_TRUE(registry.terminate(editorPID));
    expectOneQuitRequest();
}

TEST_F(DesktopApplicationRegistryIntegration, ActivateBringsTheApplicationForward) {
    DesktopApplicationRegistry registry(options);
    EXPECT_TRUE(registry.activate(editorPID));
    EXPECT_EQ(calls("Activate").size(), 1u);
    EXPECT_TRUE(calls("ActivateAction").empty());
}

TEST_F(DesktopApplicationRegistryIntegration, ApplicationNotOnTheBusAndNoDisplayIsRefused) {
    writeProcess(4343, 900,
                 "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
                 "app-gnome-org.example.Other-4343.scope\n");
    DesktopApplicationRegistry registry(options);
    ASSERT_TRUE(registry.runningApplication(4343));
    EXPECT_FALSE(registry.terminate(4343));
    EXPECT_FALSE(registry.activate(4343));
    EXPECT_TRUE(calls("ActivateAction").empty());
}

} // namespace
} // namespace tovo
