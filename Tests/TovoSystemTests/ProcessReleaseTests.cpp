#include "Support/FakeApplicationRegistry.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/TaskRunning.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace tovo {
namespace {

constexpr std::uint32_t userID = 1000;
constexpr std::int32_t ownPID = 777;
constexpr std::int32_t pid = 4242;
using Signals = std::vector<std::pair<std::int32_t, std::int32_t>>;

// One blocker of the current user whose live metadata matches what was recorded, a
// recording signaler, and a quit route other than the registry's default, so that a
// request is seen to take the route its plan found.
struct Scene {
    BlockingProcess process;
    std::shared_ptr<testing::FakeApplicationRegistry> registry =
        std::make_shared<testing::FakeApplicationRegistry>();
    std::shared_ptr<testing::FakeProcessMetadataProvider> metadata =
        std::make_shared<testing::FakeProcessMetadataProvider>();
    ManualExecutor executor;
    Signals signals;
    std::int32_t signalStatus = 0;
    int signalErrno = 0;

    explicit Scene(const std::string& command)
        : process(testing::makeProcess(pid, command)) {
        metadata->add({pid, 1000, userID, command, "/usr/bin/editor", {1'700'000'000, 250'000}});
        registry->route = QuitRoute::mediaPlayer;
    }
    void makeApplication(std::optional<std::string> name = "Editor") {
        registry->add({pid, std::move(name), "org.example.Editor", ActivationPolicy::regular});
    }
    RunningApplication& application() { return registry->applications.at(pid); }
    template<class T>
    T await(Task<T> task) {
        return testing::runToEnd(executor, std::move(task));
    }
    ExplicitProcessStopper stopper() {
        return ExplicitProcessStopper(
            executor, userID, ownPID, metadata, registry,
            [this](std::int32_t target, std::int32_t number, const std::function<bool()>& confirm) {
                if (!confirm()) {
                    errno = 0;
                    return -1;
                }
                signals.emplace_back(target, number);
                errno = signalErrno;
                return signalStatus;
            });
    }
    GracefulProcessReleaser releaser() {
        return GracefulProcessReleaser(executor, userID, ownPID, metadata, registry);
    }
    std::vector<QuitRoute> asked() const { return registry->routesTaken; }
};
using Arrange = std::function<void(Scene&)>;
const std::vector<QuitRoute> askedOnce{QuitRoute::mediaPlayer};

// An application whose quit request is answered with `outcome`.
Arrange app(QuitRequestOutcome outcome = QuitRequestOutcome::sent) {
    return [outcome](Scene& s) { s.makeApplication(), s.registry->terminateOutcome = outcome; };
}
// The signaler fails with `error`.
Arrange failing(int error) {
    return [error](Scene& s) { s.signalStatus = -1, s.signalErrno = error; };
}
OpenFileReference file(std::string descriptor, OpenAccess access) {
    return {"/media/user/DISK/file", std::move(descriptor), "REG", access};
}

const std::string writeWarning =
    "It has a file open for writing. Stopping it now can leave that file incomplete.";
const std::string otherUserStop =
    "This process belongs to the system or another user. Tovo cannot stop it.";
const std::string unverifiedStop =
    "Tovo cannot verify this process identity, so it will not send a stop request.";
const std::string sigtermText = "Tovo will send one stop request (SIGTERM) to convert. Most tools "
                                "stop cleanly. Tovo never forces a kill.";
const std::string systemText = "Close the file or wait for the system to finish.";

// The explicit stop of a command-line tool, or of an application once one is made.
struct StopPlanCase {
    std::string name;
    Arrange arrange;
    std::string processName;
    StopMethod method;
    std::string message;
    std::optional<std::string> warning = std::nullopt;
};

class StopPlan : public ::testing::TestWithParam<StopPlanCase> {};

TEST_P(StopPlan, FirstMatchingRuleWins) {
    Scene scene("convert");
    const auto& c = GetParam();
    c.arrange(scene);
    EXPECT_EQ(scene.await(scene.stopper().planStop(scene.process)),
              (ProcessStopPlan{scene.process.pid, c.processName, c.method, c.message, c.warning}));
    EXPECT_TRUE(scene.signals.empty());
}

constexpr auto unavailable = StopMethod::unavailable;

INSTANTIATE_TEST_SUITE_P(
    Rules, StopPlan,
    ::testing::Values(
        StopPlanCase{"ownProcessWhateverElse",
                     [](auto& s) {
                         s.process.pid = ownPID, s.process.userID = 0, s.process.startTime.reset();
                     },
                     "convert", unavailable, "Tovo will not stop this protected process."},
        StopPlanCase{"init", [](auto& s) { s.process.pid = 1; }, "convert", unavailable,
                     "Tovo will not stop this protected process."},
        StopPlanCase{"otherUserBeforeIdentity",
                     [](auto& s) { s.process.userID = 0, s.process.startTime.reset(); }, "convert",
                     unavailable, otherUserStop},
        StopPlanCase{"userUnknown", [](auto& s) { s.process.userID.reset(); }, "convert",
                     unavailable, otherUserStop},
        StopPlanCase{"noStartTime", [](auto& s) { s.process.startTime.reset(); }, "convert",
                     unavailable, unverifiedStop},
        StopPlanCase{"noExecutable", [](auto& s) { s.process.executablePath.reset(); }, "convert",
                     unavailable, unverifiedStop},
        StopPlanCase{"systemHelperEvenAsApp",
                     [](auto& s) { s.process.command = "nautilus", s.makeApplication("Files"); },
                     "Files", unavailable, "This is part of the system. " + systemText},
        StopPlanCase{"itself",
                     [](auto& s) {
                         s.makeApplication("Tovo");
                         s.application().bundleIdentifier = tovoApplicationID;
                     },
                     "Tovo", unavailable, "Tovo will not stop itself."},
        StopPlanCase{"appNoRouteReaches", [](auto& s) { app()(s), s.registry->route.reset(); },
                     "Editor", unavailable, noQuitRouteMessage},
        // A background helper does not count as an app: it gets one SIGTERM, even with our id.
        StopPlanCase{"prohibitedIsAProcess",
                     [](auto& s) {
                         s.makeApplication();
                         s.application().activationPolicy = ActivationPolicy::prohibited;
                         s.application().bundleIdentifier = tovoApplicationID;
                     },
                     "convert", StopMethod::terminateProcess, sigtermText},
        StopPlanCase{"application",
                     [](auto& s) {
                         s.makeApplication(),
                             s.process.openFiles.push_back(file("4", OpenAccess::write));
                     },
                     "Editor", StopMethod::quitApplication,
                     "Tovo will ask Editor to quit, the same as Quit in its menu. The app can "
                     "still show a save dialog.",
                     writeWarning},
        StopPlanCase{"process", [](auto&) {}, "convert", StopMethod::terminateProcess,
                     sigtermText}),
    [](const auto& info) { return info.param.name; });

TEST(StopWarning, FirstMatchingCaution) {
    const auto warning = [](std::string command, OpenAccess access) {
        auto process = testing::makeProcess(pid, std::move(command));
        process.openFiles.front().access = access;
        return ExplicitProcessStopper::warning(process);
    };
    EXPECT_EQ(warning("qemu-img", OpenAccess::readWrite), writeWarning);
    EXPECT_EQ(warning("qemu-img", OpenAccess::read),
              "A running virtual machine can lose unsaved state. Stop it from "
              "its own app if you can.");
    EXPECT_EQ(warning("rsync", OpenAccess::read),
              "A backup or sync stops mid-transfer. It can resume later, but the current file "
              "stays incomplete.");
    EXPECT_EQ(warning("/usr/bin/fish", OpenAccess::unknown),
              "This ends the shell session in that terminal window.");
    EXPECT_EQ(warning("convert", OpenAccess::read), std::nullopt);
}

struct StopRequestCase {
    std::string name;
    Arrange arrange;
    ReleaseDisposition disposition;
    std::string message;
    bool signalled = false;
    bool asked = false; ///< the registry was asked to send a quit request
};

class StopRequest : public ::testing::TestWithParam<StopRequestCase> {};

TEST_P(StopRequest, ActsOnceAfterTheIdentityCheck) {
    Scene scene("convert");
    const auto& c = GetParam();
    c.arrange(scene);
    const auto attempt = scene.await(scene.stopper().requestStop(scene.process));
    EXPECT_EQ(attempt.processID, scene.process.pid);
    EXPECT_EQ(attempt.processName, scene.registry->applications.empty() ? "convert" : "Editor");
    EXPECT_EQ(attempt.disposition, c.disposition);
    EXPECT_EQ(attempt.message, c.message);
    EXPECT_EQ(scene.signals, (c.signalled ? Signals{{pid, SIGTERM}} : Signals{}));
    EXPECT_EQ(scene.asked(), c.asked ? askedOnce : std::vector<QuitRoute>{});
}

const std::string exitedText = "The process already exited.";
const std::string appClosedText = "The app is already closed.";
const std::string notSameAppStop =
    "Tovo could not verify that this is the same app. Nothing was sent.";
constexpr auto failed = ReleaseDisposition::failed;
constexpr auto alreadyClosed = ReleaseDisposition::alreadyClosed;
constexpr auto requested = ReleaseDisposition::requested;
constexpr auto manual = ReleaseDisposition::needsManualAction;

INSTANTIATE_TEST_SUITE_P(
    Steps, StopRequest,
    ::testing::Values(
        StopRequestCase{"unavailable", [](auto& s) { s.process.userID = 0; }, manual,
                        otherUserStop},
        StopRequestCase{"vanished", [](auto& s) { s.metadata->processes.clear(); }, alreadyClosed,
                        exitedText},
        StopRequestCase{
            "reusedPid", [](auto& s) { s.metadata->processes.at(pid).startTime.microseconds = 1; },
            failed, "Tovo could not verify that this is the same process. Nothing was sent."},
        StopRequestCase{"signalled", [](auto&) {}, requested,
                        "Tovo sent a stop request to convert.", true},
        StopRequestCase{"notPermitted", failing(EPERM), failed,
                        "The system did not allow Tovo to stop this process.", true},
        StopRequestCase{"exitedMeanwhile", failing(ESRCH), alreadyClosed, exitedText, true},
        StopRequestCase{"otherError", failing(EINVAL), failed,
                        "The stop request failed (error " + std::to_string(EINVAL) + ").", true},
        StopRequestCase{"appQuit", app(), requested, "Tovo asked Editor to quit.", false, true},
        StopRequestCase{"appQuitMeanwhile",
                        [](auto& s) { app()(s), s.registry->lookupsBeforeVanishing = 1; },
                        alreadyClosed, "The app is no longer running."},
        StopRequestCase{"appAlreadyTerminated",
                        [](auto& s) { app()(s), s.registry->terminated[pid] = true; },
                        alreadyClosed, appClosedText},
        StopRequestCase{"appRefused", app(QuitRequestOutcome::refused), failed,
                        "The app did not accept the quit request.", false, true},
        StopRequestCase{"appWithoutProvenReceiver", app(QuitRequestOutcome::noProvenRoute), manual,
                        noProvenQuitRouteMessage, false, true},
        StopRequestCase{"appExitedBeforePin", app(QuitRequestOutcome::exited), alreadyClosed,
                        appClosedText, false, true},
        StopRequestCase{"appReusedWhilePinned",
                        [](auto& s) {
                            app()(s);
                            s.registry->onPin = [&s] {
                                s.metadata->processes.at(pid).parentPID = 9;
                            };
                        },
                        failed, notSameAppStop, false, true},
        StopRequestCase{"appReusedPid",
                        [](auto& s) { app()(s), s.metadata->processes.at(pid).parentPID = 1; },
                        failed, notSameAppStop}),
    [](const auto& info) { return info.param.name; });

// The polite release of an editor registered as a regular app, reading one file.
struct ReleasePlanCase {
    std::string name;
    Arrange arrange;
    std::string message;
    std::optional<std::string> quitName = std::nullopt; ///< set for a quit plan
};

class ReleasePlan : public ::testing::TestWithParam<ReleasePlanCase> {};

TEST_P(ReleasePlan, FirstMatchingRuleWins) {
    Scene scene("editor");
    scene.makeApplication();
    GetParam().arrange(scene);
    const auto& quitName = GetParam().quitName;
    const ProcessReleasePlan expected{scene.process.pid, quitName.value_or(scene.process.command),
                                      quitName ? ReleaseStrategy::quitApplication
                                               : ReleaseStrategy::manualAction,
                                      GetParam().message};
    EXPECT_EQ(scene.await(scene.releaser().planRelease({scene.process})),
              std::vector<ProcessReleasePlan>{expected});
    EXPECT_TRUE(scene.asked().empty());
}

const std::string protectedText = "Tovo will not close this protected process.";
const std::string otherUserText = "This process belongs to the system or another user.";
const std::string shellText = "Change the terminal folder or close its window.";
const std::string itselfText = "Tovo will not close itself.";
const std::string quitText = "Tovo will ask this app to quit.";
const std::string unprovenText = "Tovo cannot verify this app's process identity.";
const std::string commandText = "Close this command or helper, then try again.";

INSTANTIATE_TEST_SUITE_P(
    Rules, ReleasePlan,
    ::testing::Values(
        // pid 1 of root is protected before it is another user's.
        ReleasePlanCase{"initIsProtected", [](auto& s) { s.process.pid = 1, s.process.userID = 0; },
                        protectedText},
        ReleasePlanCase{"ownProcess", [](auto& s) { s.process.pid = ownPID; }, protectedText},
        ReleasePlanCase{"otherUser", [](auto& s) { s.process.userID = 0; }, otherUserText},
        ReleasePlanCase{"userUnknown", [](auto& s) { s.process.userID.reset(); }, otherUserText},
        ReleasePlanCase{"systemDissent",
                        [](auto& s) {
                            s.process.isSystemDissent = true;
                            s.process.openFiles.push_back(file("3", OpenAccess::write));
                        },
                        "Tovo cannot verify how this app uses the disk. Close it yourself."},
        ReleasePlanCase{"writerBeforeVirtualMachine",
                        [](auto& s) {
                            s.process.command = "qemu-system-x86_64";
                            s.process.openFiles.push_back(file("4", OpenAccess::readWrite));
                        },
                        "It can write to the disk. Finish its work first."},
        ReleasePlanCase{"virtualMachine", [](auto& s) { s.process.command = "qemu-system-x86_64"; },
                        "Stop the virtual machine, then try again."},
        ReleasePlanCase{"rsyncIsTransferBeforeSensitive",
                        [](auto& s) { s.process.command = "rsync"; },
                        "Wait for the transfer or backup to finish."},
        ReleasePlanCase{"shellInFolder",
                        [](auto& s) {
                            s.process.command = "/bin/zsh";
                            s.process.openFiles = {file("cwd", OpenAccess::unknown)};
                        },
                        shellText},
        // A file manager holding a folder is part of the desktop, not an app to quit.
        ReleasePlanCase{"fileManagerHoldingAFolder",
                        [](auto& s) {
                            s.process.command = "nautilus";
                            s.process.executablePath = "/usr/bin/nautilus";
                            s.process.openFiles = {file("cwd", OpenAccess::unknown)};
                        },
                        systemText},
        ReleasePlanCase{"fileIndexerByItsCutName",
                        [](auto& s) { s.process.command = "tracker-miner-f"; }, systemText},
        ReleasePlanCase{"secureCopy", [](auto& s) { s.process.command = "scp"; },
                        "Close this process, then try again."},
        ReleasePlanCase{
            "unknownAccess",
            [](auto& s) { s.process.openFiles.push_back(file("5", OpenAccess::unknown)); },
            "Tovo cannot verify how this process uses the disk."},
        ReleasePlanCase{"noStartTime", [](auto& s) { s.process.startTime.reset(); }, unprovenText},
        ReleasePlanCase{"noExecutable", [](auto& s) { s.process.executablePath.reset(); },
                        unprovenText},
        ReleasePlanCase{"commandInFolder",
                        [](auto& s) {
                            s.registry->applications.clear();
                            s.process.openFiles.push_back(file("cwd", OpenAccess::unknown));
                        },
                        "Its current folder is on this disk. " + commandText},
        // A root-directory reference is no current folder.
        ReleasePlanCase{"commandAtRoot",
                        [](auto& s) {
                            s.registry->applications.clear();
                            s.process.openFiles.push_back(file("rtd", OpenAccess::unknown));
                        },
                        commandText},
        ReleasePlanCase{"backgroundServiceBeforeItself",
                        [](auto& s) {
                            s.application().activationPolicy = ActivationPolicy::prohibited;
                            s.application().bundleIdentifier = tovoApplicationID;
                        },
                        "This background service must finish on its own."},
        ReleasePlanCase{"itself",
                        [](auto& s) { s.application().bundleIdentifier = tovoApplicationID; },
                        itselfText},
        ReleasePlanCase{"bothIdentifiersAbsent",
                        [](auto& s) {
                            s.application().bundleIdentifier.reset();
                            s.registry->ownIdentifier.reset();
                        },
                        itselfText},
        ReleasePlanCase{"appNoRouteReaches", [](auto& s) { s.registry->route.reset(); },
                        noQuitRouteMessage},
        ReleasePlanCase{
            "accessoryApp",
            [](auto& s) { s.application().activationPolicy = ActivationPolicy::accessory; },
            quitText, "Editor"},
        ReleasePlanCase{"appWithoutName", [](auto& s) { s.application().localizedName.reset(); },
                        quitText, "editor"}),
    [](const auto& info) { return info.param.name; });

struct ReleaseRequestCase {
    std::string name;
    Arrange arrange;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;
    bool asked; ///< the registry was asked to send a quit request
};

class ReleaseRequest : public ::testing::TestWithParam<ReleaseRequestCase> {};

TEST_P(ReleaseRequest, ReportsOutcomeAndAsksAtMostOnce) {
    Scene scene("editor");
    scene.makeApplication();
    const auto& c = GetParam();
    c.arrange(scene);
    const auto attempts = scene.await(scene.releaser().requestRelease({scene.process}));
    ASSERT_EQ(attempts.size(), 1u);
    EXPECT_EQ(attempts[0].processID, pid);
    EXPECT_EQ(attempts[0].processName, c.processName);
    EXPECT_EQ(attempts[0].disposition, c.disposition);
    EXPECT_EQ(attempts[0].message, c.message);
    EXPECT_EQ(scene.asked(), c.asked ? askedOnce : std::vector<QuitRoute>{});
}

const std::string notSameText = "Tovo could not verify that this is the same app.";

INSTANTIATE_TEST_SUITE_P(
    Steps, ReleaseRequest,
    ::testing::Values(
        ReleaseRequestCase{"manualPlan", [](auto& s) { s.process.userID = 0; }, "editor", manual,
                           otherUserText, false},
        ReleaseRequestCase{"reusedPid",
                           [](auto& s) { s.metadata->processes.at(pid).startTime.seconds += 60; },
                           "editor", manual, notSameText, false},
        ReleaseRequestCase{"leftMeanwhile", [](auto& s) { s.registry->lookupsBeforeVanishing = 1; },
                           "editor", manual, "This is no longer a normal app. Close it yourself.",
                           false},
        ReleaseRequestCase{"quitMeanwhile", [](auto& s) { s.registry->terminated[pid] = true; },
                           "Editor", alreadyClosed, appClosedText, false},
        ReleaseRequestCase{"accepted", app(), "Editor", requested, "Tovo asked the app to quit.",
                           true},
        ReleaseRequestCase{"refused", app(QuitRequestOutcome::refused), "editor", failed,
                           "The app did not accept the quit request.", true},
        // Another process owns the app's bus name, and no window proves to be this one's.
        ReleaseRequestCase{"noProvenReceiver", app(QuitRequestOutcome::noProvenRoute), "editor",
                           manual, noProvenQuitRouteMessage, true},
        ReleaseRequestCase{"reusedWhilePinned",
                           [](auto& s) {
                               s.registry->onPin = [&s] {
                                   s.metadata->processes.at(pid).parentPID = 9;
                               };
                           },
                           "editor", manual, notSameText, true},
        ReleaseRequestCase{"exitedBeforePin", app(QuitRequestOutcome::exited), "Editor",
                           alreadyClosed, appClosedText, true}),
    [](const auto& info) { return info.param.name; });

TEST(ReleaseRequestList, OneAttemptPerBlockerInOrderAndEachPidAskedOnce) {
    Scene scene("editor");
    scene.makeApplication();
    const auto shell = testing::makeProcess(5151, "/bin/bash");
    const auto attempts =
        scene.await(scene.releaser().requestRelease({scene.process, shell, scene.process}));
    ASSERT_EQ(attempts.size(), 3u);
    EXPECT_EQ(attempts[0].disposition, requested);
    EXPECT_EQ(attempts[1].message, shellText);
    EXPECT_EQ(attempts[2].disposition, requested);
    EXPECT_NE(attempts[2].id, attempts[0].id);
    EXPECT_EQ(scene.registry->terminateRequests, std::vector<std::int32_t>{pid});
}

} // namespace
} // namespace tovo
