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
    void ownedByTovo(ActivationPolicy policy) {
        application().activationPolicy = policy, application().bundleIdentifier = tovoApplicationID;
    }
    template<class T>
    T await(Task<T> task) {
        return testing::runToEnd(executor, std::move(task));
    }
    ExplicitProcessStopper stopper() {
        return ExplicitProcessStopper(
            executor, userID, ownPID, metadata, registry,
            [this](std::int32_t target, std::int32_t number, const std::function<bool()>& confirm) {
                const bool sent = confirm() && (signals.emplace_back(target, number), true);
                errno = sent ? signalErrno : 0;
                return sent ? signalStatus : -1;
            });
    }
    GracefulProcessReleaser releaser() {
        return GracefulProcessReleaser(executor, userID, ownPID, metadata, registry);
    }
};
using Arrange = std::function<void(Scene&)>;

// An application whose quit request is answered with `outcome`.
Arrange app(QuitRequestOutcome outcome = QuitRequestOutcome::sent) {
    return [outcome](Scene& s) { s.makeApplication(), s.registry->terminateOutcome = outcome; };
}
// The process is replaced by another of its pid once pinned.
const Arrange reusedOnPin = [](Scene& s) {
    s.registry->onPin = [&s] { s.metadata->processes.at(pid).parentPID = 9; };
};
// The signaler fails with `error`.
Arrange failing(int error) {
    return [error](Scene& s) { s.signalStatus = -1, s.signalErrno = error; };
}
OpenFileReference file(std::string descriptor, OpenAccess access) {
    return {"/media/user/DISK/file", std::move(descriptor), "REG", access};
}
Arrange holding(std::string descriptor, OpenAccess access) {
    return [=](Scene& s) { s.process.openFiles.push_back(file(descriptor, access)); };
}
// The process runs `command` and holds only its current folder on the disk.
Arrange inFolder(std::string command) {
    return [command](Scene& s) {
        s.process.command = command;
        s.process.openFiles = {file("cwd", OpenAccess::unknown)};
    };
}
Arrange running(std::string command) {
    return [command](Scene& s) { s.process.command = command; };
}
const Arrange otherUser = [](Scene& s) { s.process.userID = 0; };
const Arrange unverifiable = [](Scene& s) { s.process.startTime.reset(); };
const Arrange noExecutable = [](Scene& s) { s.process.executablePath.reset(); };
const Arrange userUnknown = [](Scene& s) { s.process.userID.reset(); };
const Arrange noApplication = [](Scene& s) { s.registry->applications.clear(); };

const std::string otherUserStop =
    "This process belongs to the system or another user. Tovo cannot stop it.";
const std::string sigtermText = "Tovo will send one stop request (SIGTERM) to convert. Most tools "
                                "stop cleanly. Tovo never forces a kill.";
const std::string systemText = "Close the file or wait for the system to finish.";
const std::string protectedStop = "Tovo will not stop this protected process.";
const std::string unverifiedStop =
    "Tovo cannot verify this process identity, so it will not send a stop request.";

// The explicit stop of a command-line tool, or of an application once one is made.
struct StopPlanRow {
    std::string name;
    Arrange arrange;
    std::string message;
    StopMethod method = StopMethod::unavailable;
    std::string processName = "convert";
    std::optional<std::string> warning = std::nullopt;
};

constexpr auto sigterm = StopMethod::terminateProcess;

TEST(StopPlan, FirstMatchingRuleWins) {
    const std::vector<StopPlanRow> rows{
        {"ownProcessWhateverElse",
         [](auto& s) { s.process.pid = ownPID, otherUser(s), unverifiable(s); }, protectedStop},
        {"init", [](auto& s) { s.process.pid = 1; }, protectedStop},
        {"otherUserBeforeIdentity", [](auto& s) { otherUser(s), unverifiable(s); }, otherUserStop},
        {"userUnknown", userUnknown, otherUserStop},
        {"noStartTime", unverifiable, unverifiedStop},
        {"noExecutable", noExecutable, unverifiedStop},
        {"systemHelperEvenAsApp",
         [](auto& s) { s.process.command = "nautilus", s.makeApplication("Files"); },
         "This is part of the system. " + systemText, StopMethod::unavailable, "Files"},
        {"itself",
         [](auto& s) { s.makeApplication("Tovo"), s.ownedByTovo(ActivationPolicy::regular); },
         "Tovo will not stop itself.", StopMethod::unavailable, "Tovo"},
        {"appNoRouteReaches", [](auto& s) { app()(s), s.registry->route.reset(); },
         noQuitRouteMessage, StopMethod::unavailable, "Editor"},
        // A background helper does not count as an app: it gets one SIGTERM, even with our id.
        {"prohibitedIsAProcess",
         [](auto& s) { s.makeApplication(), s.ownedByTovo(ActivationPolicy::prohibited); },
         sigtermText, sigterm},
        {"application", [](auto& s) { s.makeApplication(), holding("4", OpenAccess::write)(s); },
         "Tovo will ask Editor to quit, the same as Quit in its menu. The app can "
         "still show a save dialog.",
         StopMethod::quitApplication, "Editor",
         "It has a file open for writing. Stopping it now can leave that file incomplete."},
        {"process", [](auto&) {}, sigtermText, sigterm}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        Scene scene("convert");
        c.arrange(scene);
        EXPECT_EQ(
            scene.await(scene.stopper().planStop(scene.process)),
            (ProcessStopPlan{scene.process.pid, c.processName, c.method, c.message, c.warning}));
        EXPECT_TRUE(scene.signals.empty());
    }
}

TEST(StopWarning, FirstMatchingCaution) {
    const auto warning = [](std::string command, OpenAccess access) {
        auto process = testing::makeProcess(pid, std::move(command));
        process.openFiles.front().access = access;
        return ExplicitProcessStopper::warning(process);
    };
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

// A stop request for convert (a plain process unless the row makes it an app), or a
// release request for the editor app.
struct StepRow {
    std::string name;
    bool release;
    Arrange arrange;
    ReleaseDisposition disposition;
    std::string message;
    int outcome = 0; ///< of `signalled`, `asked` and `named`
};
constexpr int signalled = 1, asked = 2, named = 4; ///< named: by the app's name
constexpr bool stop = false, release = true;

const std::string exitedText = "The process already exited.";
const std::string appClosedText = "The app is already closed.";
const std::string notSameAppStop =
    "Tovo could not verify that this is the same app. Nothing was sent.";
const std::string notSameText = "Tovo could not verify that this is the same app.";
const std::string refusedText = "The app did not accept the quit request.";
const std::string otherUserText = "This process belongs to the system or another user.";
constexpr auto failed = ReleaseDisposition::failed;
constexpr auto alreadyClosed = ReleaseDisposition::alreadyClosed;
constexpr auto requested = ReleaseDisposition::requested;
constexpr auto manual = ReleaseDisposition::needsManualAction;
constexpr auto refused = QuitRequestOutcome::refused;
constexpr auto unproven = QuitRequestOutcome::noProvenRoute;
constexpr auto exited = QuitRequestOutcome::exited;
// Another process now has the pid: it started later.
const Arrange reused = [](Scene& s) { s.metadata->processes.at(pid).startTime.seconds += 60; };
const Arrange gone = [](Scene& s) { s.metadata->processes.clear(); };
const Arrange vanishes = [](Scene& s) { s.registry->lookupsBeforeVanishing = 1; };
const Arrange terminated = [](Scene& s) { s.registry->terminated[pid] = true; };

TEST(Request, ActsAtMostOnceAndOnlyAfterTheIdentityCheck) {
    const std::vector<StepRow> rows{
        {"stopUnavailable", stop, otherUser, manual, otherUserStop},
        {"stopVanished", stop, gone, alreadyClosed, exitedText},
        {"stopReusedPid", stop, reused, failed,
         "Tovo could not verify that this is the same process. Nothing was sent."},
        {"stopSignalled", stop, [](auto&) {}, requested, "Tovo sent a stop request to convert.",
         signalled},
        {"stopNotPermitted", stop, failing(EPERM), failed,
         "The system did not allow Tovo to stop this process.", signalled},
        {"stopExitedMeanwhile", stop, failing(ESRCH), alreadyClosed, exitedText, signalled},
        {"stopOtherError", stop, failing(EINVAL), failed,
         "The stop request failed (error " + std::to_string(EINVAL) + ").", signalled},
        {"appQuit", stop, app(), requested, "Tovo asked Editor to quit.", asked | named},
        {"appQuitMeanwhile", stop, [](auto& s) { app()(s), vanishes(s); }, alreadyClosed,
         "The app is no longer running.", named},
        {"appAlreadyTerminated", stop, [](auto& s) { app()(s), terminated(s); }, alreadyClosed,
         appClosedText, named},
        {"appRefused", stop, app(refused), failed, refusedText, asked | named},
        {"appUnprovenReceiver", stop, app(unproven), manual, noProvenQuitRouteMessage,
         asked | named},
        {"appExitedBeforePin", stop, app(exited), alreadyClosed, appClosedText, asked | named},
        {"appReusedWhilePinned", stop, [](auto& s) { app()(s), reusedOnPin(s); }, failed,
         notSameAppStop, asked | named},
        {"appReusedPid", stop,
         [](auto& s) { app()(s), s.metadata->processes.at(pid).parentPID = 1; }, failed,
         notSameAppStop, named},
        {"releaseManualPlan", release, otherUser, manual, otherUserText},
        {"releaseReusedPid", release, reused, manual, notSameText},
        {"releaseLeftMeanwhile", release, vanishes, manual,
         "This is no longer a normal app. Close it yourself."},
        {"releaseQuitMeanwhile", release, terminated, alreadyClosed, appClosedText, named},
        {"releaseAccepted", release, app(), requested, "Tovo asked the app to quit.",
         asked | named},
        {"releaseRefused", release, app(refused), failed, refusedText, asked},
        // Another process owns the app's bus name, and no window proves to be this one's.
        {"releaseUnprovenReceiver", release, app(unproven), manual, noProvenQuitRouteMessage,
         asked},
        {"releaseReusedWhilePinned", release, reusedOnPin, manual, notSameText, asked},
        {"releaseExitedBeforePin", release, app(exited), alreadyClosed, appClosedText,
         asked | named}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        Scene scene(c.release ? "editor" : "convert");
        if (c.release) {
            scene.makeApplication();
        }
        c.arrange(scene);
        const auto attempt =
            c.release ? scene.await(scene.releaser().requestRelease({scene.process})).at(0)
                      : scene.await(scene.stopper().requestStop(scene.process));
        const std::string name = c.outcome & named ? "Editor" : scene.process.command;
        EXPECT_EQ(
            std::tie(attempt.processID, attempt.processName, attempt.disposition, attempt.message),
            std::tie(pid, name, c.disposition, c.message));
        EXPECT_EQ(scene.signals, (c.outcome & signalled ? Signals{{pid, SIGTERM}} : Signals{}));
        EXPECT_EQ(scene.registry->routesTaken, c.outcome & asked
                                                   ? std::vector{QuitRoute::mediaPlayer}
                                                   : std::vector<QuitRoute>{});
    }
}

// The polite release of an editor registered as a regular app, reading one file.
struct PlanRow {
    std::string name;
    Arrange arrange;
    std::string message;
    std::optional<std::string> quitName = std::nullopt; ///< set for a quit plan
};

const std::string protectedText = "Tovo will not close this protected process.";
const std::string shellText = "Change the terminal folder or close its window.";
const std::string itselfText = "Tovo will not close itself.";
const std::string unknownUseText =
    "Tovo cannot verify how this app uses the disk. Close it yourself.";
const std::string commandText = "Close this command or helper, then try again.";
const std::string qemu = "qemu-system-x86_64";

TEST(ReleasePlan, FirstMatchingRuleWins) {
    const std::vector<PlanRow> rows{
        // pid 1 of root is protected before it is another user's.
        {"initIsProtected", [](auto& s) { s.process.pid = 1, otherUser(s); }, protectedText},
        {"ownProcess", [](auto& s) { s.process.pid = ownPID; }, protectedText},
        {"otherUser", otherUser, otherUserText},
        {"userUnknown", userUnknown, otherUserText},
        {"systemDissent",
         [](auto& s) { s.process.isSystemDissent = true, holding("3", OpenAccess::write)(s); },
         unknownUseText},
        {"noOpenFiles", [](auto& s) { s.process.openFiles.clear(); }, unknownUseText},
        {"writerBeforeVirtualMachine",
         [](auto& s) { running(qemu)(s), holding("4", OpenAccess::readWrite)(s); },
         "It can write to the disk. Finish its work first."},
        {"virtualMachine", running(qemu), "Stop the virtual machine, then try again."},
        {"rsyncIsTransferBeforeSensitive", running("rsync"),
         "Wait for the transfer or backup to finish."},
        {"shellInFolder", inFolder("/bin/zsh"), shellText},
        // A file manager holding a folder is part of the desktop, not an app to quit.
        {"fileManagerHoldingAFolder",
         [](auto& s) { inFolder("nautilus")(s), s.process.executablePath = "/usr/bin/nautilus"; },
         systemText},
        {"secureCopy", running("scp"), "Close this process, then try again."},
        {"unknownAccess", holding("5", OpenAccess::unknown),
         "Tovo cannot verify how this process uses the disk."},
        {"noStartTime", unverifiable, "Tovo cannot verify this app's process identity."},
        {"noExecutable", noExecutable, "Tovo cannot verify this app's process identity."},
        {"commandInFolder",
         [](auto& s) { noApplication(s), holding("cwd", OpenAccess::unknown)(s); },
         "Its current folder is on this disk. " + commandText},
        // A root-directory reference is no current folder.
        {"commandAtRoot", [](auto& s) { noApplication(s), holding("rtd", OpenAccess::unknown)(s); },
         commandText},
        {"backgroundServiceBeforeItself",
         [](auto& s) { s.ownedByTovo(ActivationPolicy::prohibited); },
         "This background service must finish on its own."},
        {"itself", [](auto& s) { s.application().bundleIdentifier = tovoApplicationID; },
         itselfText},
        {"bothIdentifiersAbsent",
         [](auto& s) {
             s.application().bundleIdentifier.reset(), s.registry->ownIdentifier.reset();
         },
         itselfText},
        {"appNoRouteReaches", [](auto& s) { s.registry->route.reset(); }, noQuitRouteMessage},
        {"appWithoutName", [](auto& s) { s.application().localizedName.reset(); },
         "Tovo will ask this app to quit.", "editor"}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        Scene scene("editor");
        scene.makeApplication();
        c.arrange(scene);
        const auto& quitName = c.quitName;
        const ProcessReleasePlan expected{
            scene.process.pid, quitName.value_or(scene.process.command),
            quitName ? ReleaseStrategy::quitApplication : ReleaseStrategy::manualAction, c.message};
        EXPECT_EQ(scene.await(scene.releaser().planRelease({scene.process})),
                  std::vector<ProcessReleasePlan>{expected});
        EXPECT_TRUE(scene.registry->routesTaken.empty());
    }
}

TEST(ReleaseRequestList, OneAttemptPerBlockerInOrderAndEachPidAskedOnce) {
    Scene scene("editor");
    scene.makeApplication();
    const auto shell = testing::makeProcess(5151, "/bin/bash");
    const auto attempts =
        scene.await(scene.releaser().requestRelease({scene.process, shell, scene.process}));
    ASSERT_EQ(attempts.size(), 3u);
    EXPECT_EQ(std::tie(attempts[0].disposition, attempts[1].message, attempts[2].disposition),
              std::tie(requested, shellText, requested));
    EXPECT_NE(attempts[2].id, attempts[0].id);
    EXPECT_EQ(scene.registry->terminateRequests, std::vector<std::int32_t>{pid});
}

} // namespace
} // namespace tovo
