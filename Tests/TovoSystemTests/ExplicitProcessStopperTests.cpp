#include "ReleaseScene.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace tovo {
namespace {

using Scene = testing::ReleaseScene;
constexpr auto pid = Scene::pid;
using Signals = std::vector<std::pair<std::int32_t, std::int32_t>>;

// A command-line tool of the current user behind a recording signaler.
struct ToolScene : Scene {
    Signals signals;
    std::int32_t signalStatus = 0;
    int signalErrno = 0;

    ToolScene()
        : Scene("convert") {
        registry->route = QuitRoute::mediaPlayer; // not the default: the plan's route is used
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
};
using Arrange = std::function<void(ToolScene&)>;

// An application whose quit request is answered with `outcome`.
Arrange app(QuitRequestOutcome outcome = QuitRequestOutcome::sent) {
    return [outcome](ToolScene& s) {
        s.makeApplication();
        s.registry->terminateOutcome = outcome;
    };
}

const std::string writeWarning =
    "It has a file open for writing. Stopping it now can leave that file incomplete.";
const std::string protectedText = "Tovo will not stop this protected process.";
const std::string otherUserText =
    "This process belongs to the system or another user. Tovo cannot stop it.";
const std::string unverifiedText =
    "Tovo cannot verify this process identity, so it will not send a stop request.";
const std::string sigtermText = "Tovo will send one stop request (SIGTERM) to convert. Most tools "
                                "stop cleanly. Tovo never forces a kill.";

struct PlanCase {
    std::string name;
    Arrange arrange;
    std::string processName;
    StopMethod method;
    std::string message;
    std::optional<std::string> warning = std::nullopt;
};

class StopPlan : public ::testing::TestWithParam<PlanCase> {};

TEST_P(StopPlan, FirstMatchingRuleWins) {
    ToolScene scene;
    GetParam().arrange(scene);
    const auto& c = GetParam();
    EXPECT_EQ(scene.await(scene.stopper().planStop(scene.process)),
              (ProcessStopPlan{scene.process.pid, c.processName, c.method, c.message, c.warning}));
    EXPECT_TRUE(scene.signals.empty());
}

constexpr auto unavailable = StopMethod::unavailable;

INSTANTIATE_TEST_SUITE_P(
    Rules, StopPlan,
    ::testing::Values(
        PlanCase{"ownProcessWhateverElse",
                 [](auto& s) {
                     s.process.pid = Scene::ownPID;
                     s.process.userID = 0;
                     s.process.startTime.reset();
                 },
                 "convert", unavailable, protectedText},
        PlanCase{"init", [](auto& s) { s.process.pid = 1; }, "convert", unavailable, protectedText},
        PlanCase{"otherUserBeforeIdentity",
                 [](auto& s) { s.process.userID = 0, s.process.startTime.reset(); }, "convert",
                 unavailable, otherUserText},
        PlanCase{"userUnknown", [](auto& s) { s.process.userID.reset(); }, "convert", unavailable,
                 otherUserText},
        PlanCase{"noStartTime", [](auto& s) { s.process.startTime.reset(); }, "convert",
                 unavailable, unverifiedText},
        PlanCase{"noExecutable", [](auto& s) { s.process.executablePath.reset(); }, "convert",
                 unavailable, unverifiedText},
        PlanCase{"systemHelperEvenAsApp",
                 [](auto& s) { s.process.command = "nautilus", s.makeApplication("Files"); },
                 "Files", unavailable,
                 "This is part of the system. Close the file or wait for the system to finish."},
        PlanCase{"itself",
                 [](auto& s) {
                     s.makeApplication("Tovo");
                     s.application().bundleIdentifier = tovoApplicationID;
                 },
                 "Tovo", unavailable, "Tovo will not stop itself."},
        PlanCase{"appNoRouteReaches", [](auto& s) { app()(s), s.registry->route.reset(); },
                 "Editor", unavailable, noQuitRouteMessage},
        // A background helper does not count as an app: it gets one SIGTERM, even with our id.
        PlanCase{"prohibitedIsAProcess",
                 [](auto& s) {
                     s.makeApplication();
                     s.application().activationPolicy = ActivationPolicy::prohibited;
                     s.application().bundleIdentifier = tovoApplicationID;
                 },
                 "convert", StopMethod::terminateProcess, sigtermText},
        PlanCase{"application",
                 [](auto& s) {
                     s.makeApplication();
                     s.process.openFiles.push_back(
                         {"/media/user/DISK/b", "4", "REG", OpenAccess::write});
                 },
                 "Editor", StopMethod::quitApplication,
                 "Tovo will ask Editor to quit, the same as Quit in its menu. The app can still "
                 "show a save dialog.",
                 writeWarning},
        PlanCase{"process", [](auto&) {}, "convert", StopMethod::terminateProcess, sigtermText}),
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

struct RequestCase {
    std::string name;
    Arrange arrange;
    ReleaseDisposition disposition;
    std::string message;
    bool signalled = false;
    bool asked = false; ///< the registry was asked to send a quit request
};

class StopRequest : public ::testing::TestWithParam<RequestCase> {};

TEST_P(StopRequest, ActsOnceAfterTheIdentityCheck) {
    ToolScene scene;
    GetParam().arrange(scene);
    const auto attempt = scene.await(scene.stopper().requestStop(scene.process));
    const auto& c = GetParam();
    EXPECT_EQ(attempt.processID, scene.process.pid);
    EXPECT_EQ(attempt.processName, scene.registry->applications.empty() ? "convert" : "Editor");
    EXPECT_EQ(attempt.disposition, c.disposition);
    EXPECT_EQ(attempt.message, c.message);
    EXPECT_EQ(scene.signals, (c.signalled ? Signals{{pid, SIGTERM}} : Signals{}));
    EXPECT_EQ(scene.registry->routesTaken,
              c.asked ? std::vector{QuitRoute::mediaPlayer} : std::vector<QuitRoute>{});
}

// The signaler fails with `error`.
Arrange failing(int error) {
    return [error](ToolScene& s) {
        s.signalStatus = -1;
        s.signalErrno = error;
    };
}

const std::string exitedText = "The process already exited.";
const std::string appClosedText = "The app is already closed.";
const std::string notSameAppText =
    "Tovo could not verify that this is the same app. Nothing was sent.";
constexpr auto failed = ReleaseDisposition::failed;
constexpr auto alreadyClosed = ReleaseDisposition::alreadyClosed;

INSTANTIATE_TEST_SUITE_P(
    Steps, StopRequest,
    ::testing::Values(
        RequestCase{"unavailable", [](auto& s) { s.process.userID = 0; },
                    ReleaseDisposition::needsManualAction, otherUserText},
        RequestCase{"vanished", [](auto& s) { s.metadata->processes.clear(); }, alreadyClosed,
                    exitedText},
        RequestCase{
            "reusedPid", [](auto& s) { s.metadata->processes.at(pid).startTime.microseconds = 1; },
            failed, "Tovo could not verify that this is the same process. Nothing was sent."},
        RequestCase{"signalled", [](auto&) {}, ReleaseDisposition::requested,
                    "Tovo sent a stop request to convert.", true},
        RequestCase{"notPermitted", failing(EPERM), failed,
                    "The system did not allow Tovo to stop this process.", true},
        RequestCase{"exitedMeanwhile", failing(ESRCH), alreadyClosed, exitedText, true},
        RequestCase{"otherError", failing(EINVAL), failed,
                    "The stop request failed (error " + std::to_string(EINVAL) + ").", true},
        RequestCase{"appQuit", app(), ReleaseDisposition::requested, "Tovo asked Editor to quit.",
                    false, true},
        RequestCase{"appQuitMeanwhile",
                    [](auto& s) { app()(s), s.registry->lookupsBeforeVanishing = 1; },
                    alreadyClosed, "The app is no longer running."},
        RequestCase{"appAlreadyTerminated",
                    [](auto& s) { app()(s), s.registry->terminated[pid] = true; }, alreadyClosed,
                    appClosedText},
        RequestCase{"appRefused", app(QuitRequestOutcome::refused), failed,
                    "The app did not accept the quit request.", false, true},
        RequestCase{"appWithoutProvenReceiver", app(QuitRequestOutcome::noProvenRoute),
                    ReleaseDisposition::needsManualAction, noProvenQuitRouteMessage, false, true},
        RequestCase{"appExitedBeforePin", app(QuitRequestOutcome::exited), alreadyClosed,
                    appClosedText, false, true},
        RequestCase{"appReusedWhilePinned",
                    [](auto& s) {
                        app()(s);
                        s.registry->onPin = [&s] { s.metadata->processes.at(pid).parentPID = 9; };
                    },
                    failed, notSameAppText, false, true},
        RequestCase{"appReusedPid",
                    [](auto& s) { app()(s), s.metadata->processes.at(pid).parentPID = 1; }, failed,
                    notSameAppText}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
