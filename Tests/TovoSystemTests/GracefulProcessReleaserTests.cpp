#include "ReleaseScene.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Scene = testing::ReleaseScene;
constexpr auto pid = Scene::pid;

// An editor of the current user reading one file, registered as a regular app.
struct EditorScene : Scene {
    EditorScene()
        : Scene("editor") {
        makeApplication();
        registry->route = QuitRoute::mediaPlayer; // not the default: the plan's route is used
    }
    GracefulProcessReleaser releaser() {
        return GracefulProcessReleaser(executor, userID, ownPID, metadata, registry);
    }
};

OpenFileReference file(std::string descriptor, OpenAccess access) {
    return {"/media/user/DISK/file", std::move(descriptor), "REG", access};
}

struct PlanCase {
    std::string name;
    std::function<void(EditorScene&)> arrange;
    std::string message;
    std::optional<std::string> quitName = std::nullopt; ///< set for a quit plan
};

class ReleasePlan : public ::testing::TestWithParam<PlanCase> {};

TEST_P(ReleasePlan, FirstMatchingRuleWins) {
    EditorScene scene;
    GetParam().arrange(scene);
    const auto& quitName = GetParam().quitName;
    const ProcessReleasePlan expected{scene.process.pid, quitName.value_or(scene.process.command),
                                      quitName ? ReleaseStrategy::quitApplication
                                               : ReleaseStrategy::manualAction,
                                      GetParam().message};
    EXPECT_EQ(scene.await(scene.releaser().planRelease({scene.process})),
              std::vector<ProcessReleasePlan>{expected});
    EXPECT_TRUE(scene.registry->terminateRequests.empty());
}

const std::string protectedText = "Tovo will not close this protected process.";
const std::string otherUserText = "This process belongs to the system or another user.";
const std::string unverifiedText =
    "Tovo cannot verify how this app uses the disk. Close it yourself.";
const std::string shellText = "Change the terminal folder or close its window.";
const std::string itselfText = "Tovo will not close itself.";
const std::string quitText = "Tovo will ask this app to quit.";
const std::string unprovenText = "Tovo cannot verify this app's process identity.";

INSTANTIATE_TEST_SUITE_P(
    Rules, ReleasePlan,
    ::testing::Values(
        // pid 1 of root is protected before it is another user's.
        PlanCase{"initIsProtected", [](auto& s) { s.process.pid = 1, s.process.userID = 0; },
                 protectedText},
        PlanCase{"ownProcess", [](auto& s) { s.process.pid = Scene::ownPID; }, protectedText},
        PlanCase{"otherUser", [](auto& s) { s.process.userID = 0; }, otherUserText},
        PlanCase{"userUnknown", [](auto& s) { s.process.userID.reset(); }, otherUserText},
        PlanCase{"systemDissent",
                 [](auto& s) {
                     s.process.isSystemDissent = true;
                     s.process.openFiles.push_back(file("3", OpenAccess::write));
                 },
                 unverifiedText},
        PlanCase{"writerBeforeVirtualMachine",
                 [](auto& s) {
                     s.process.command = "qemu-system-x86_64";
                     s.process.openFiles.push_back(file("4", OpenAccess::readWrite));
                 },
                 "It can write to the disk. Finish its work first."},
        PlanCase{"virtualMachine", [](auto& s) { s.process.command = "qemu-system-x86_64"; },
                 "Stop the virtual machine, then try again."},
        PlanCase{"rsyncIsTransferBeforeSensitive", [](auto& s) { s.process.command = "rsync"; },
                 "Wait for the transfer or backup to finish."},
        PlanCase{"shellInFolder",
                 [](auto& s) {
                     s.process.command = "/bin/zsh";
                     s.process.openFiles = {file("cwd", OpenAccess::unknown)};
                 },
                 shellText},
        // A file manager holding a folder is part of the desktop, not an app to quit.
        PlanCase{"fileManagerHoldingAFolder",
                 [](auto& s) {
                     s.process.command = "nautilus";
                     s.process.executablePath = "/usr/bin/nautilus";
                     s.process.openFiles = {file("cwd", OpenAccess::unknown)};
                 },
                 "Close the file or wait for the system to finish."},
        PlanCase{"fileIndexerByItsCutName", [](auto& s) { s.process.command = "tracker-miner-f"; },
                 "Close the file or wait for the system to finish."},
        PlanCase{"secureCopy", [](auto& s) { s.process.command = "scp"; },
                 "Close this process, then try again."},
        PlanCase{"unknownAccess",
                 [](auto& s) { s.process.openFiles.push_back(file("5", OpenAccess::unknown)); },
                 "Tovo cannot verify how this process uses the disk."},
        PlanCase{"noStartTime", [](auto& s) { s.process.startTime.reset(); }, unprovenText},
        PlanCase{"noExecutable", [](auto& s) { s.process.executablePath.reset(); }, unprovenText},
        PlanCase{"commandInFolder",
                 [](auto& s) {
                     s.registry->applications.clear();
                     s.process.openFiles.push_back(file("cwd", OpenAccess::unknown));
                 },
                 "Its current folder is on this disk. Close this command or helper, then try "
                 "again."},
        // A root-directory reference is no current folder.
        PlanCase{"commandAtRoot",
                 [](auto& s) {
                     s.registry->applications.clear();
                     s.process.openFiles.push_back(file("rtd", OpenAccess::unknown));
                 },
                 "Close this command or helper, then try again."},
        PlanCase{"backgroundServiceBeforeItself",
                 [](auto& s) {
                     s.application().activationPolicy = ActivationPolicy::prohibited;
                     s.application().bundleIdentifier = tovoApplicationID;
                 },
                 "This background service must finish on its own."},
        PlanCase{"itself", [](auto& s) { s.application().bundleIdentifier = tovoApplicationID; },
                 itselfText},
        PlanCase{"bothIdentifiersAbsent",
                 [](auto& s) {
                     s.application().bundleIdentifier.reset();
                     s.registry->ownIdentifier.reset();
                 },
                 itselfText},
        PlanCase{"appNoRouteReaches", [](auto& s) { s.registry->route.reset(); },
                 noQuitRouteMessage},
        PlanCase{"accessoryApp",
                 [](auto& s) { s.application().activationPolicy = ActivationPolicy::accessory; },
                 quitText, "Editor"},
        PlanCase{"appWithoutName", [](auto& s) { s.application().localizedName.reset(); }, quitText,
                 "editor"}),
    [](const auto& info) { return info.param.name; });

struct RequestCase {
    std::string name;
    std::function<void(EditorScene&)> arrange;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;
    bool asked; ///< the registry was asked to send a quit request
};

class ReleaseRequest : public ::testing::TestWithParam<RequestCase> {};

TEST_P(ReleaseRequest, ReportsOutcomeAndAsksAtMostOnce) {
    EditorScene scene;
    GetParam().arrange(scene);
    const auto attempts = scene.await(scene.releaser().requestRelease({scene.process}));
    ASSERT_EQ(attempts.size(), 1u);
    EXPECT_EQ(attempts[0].processID, pid);
    EXPECT_EQ(attempts[0].processName, GetParam().processName);
    EXPECT_EQ(attempts[0].disposition, GetParam().disposition);
    EXPECT_EQ(attempts[0].message, GetParam().message);
    EXPECT_EQ(scene.registry->routesTaken,
              GetParam().asked ? std::vector{QuitRoute::mediaPlayer} : std::vector<QuitRoute>{});
}

// The registry answers a quit request with `outcome`.
std::function<void(EditorScene&)> answers(QuitRequestOutcome outcome) {
    return [outcome](EditorScene& s) { s.registry->terminateOutcome = outcome; };
}

const std::string notSameText = "Tovo could not verify that this is the same app.";
constexpr auto manual = ReleaseDisposition::needsManualAction;

INSTANTIATE_TEST_SUITE_P(
    Steps, ReleaseRequest,
    ::testing::Values(
        RequestCase{"manualPlan", [](auto& s) { s.process.userID = 0; }, "editor", manual,
                    otherUserText, false},
        RequestCase{"reusedPid",
                    [](auto& s) { s.metadata->processes.at(pid).startTime.seconds += 60; },
                    "editor", manual, notSameText, false},
        RequestCase{"leftMeanwhile", [](auto& s) { s.registry->lookupsBeforeVanishing = 1; },
                    "editor", manual, "This is no longer a normal app. Close it yourself.", false},
        RequestCase{"quitMeanwhile", [](auto& s) { s.registry->terminated[pid] = true; }, "Editor",
                    ReleaseDisposition::alreadyClosed, "The app is already closed.", false},
        RequestCase{"accepted", [](auto&) {}, "Editor", ReleaseDisposition::requested,
                    "Tovo asked the app to quit.", true},
        RequestCase{"refused", answers(QuitRequestOutcome::refused), "editor",
                    ReleaseDisposition::failed, "The app did not accept the quit request.", true},
        // Another process owns the app's bus name, and no window proves to be this one's.
        RequestCase{"noProvenReceiver", answers(QuitRequestOutcome::noProvenRoute), "editor",
                    manual, noProvenQuitRouteMessage, true},
        RequestCase{"reusedWhilePinned",
                    [](auto& s) {
                        s.registry->onPin = [&s] { s.metadata->processes.at(pid).parentPID = 9; };
                    },
                    "editor", manual, notSameText, true},
        RequestCase{"exitedBeforePin", answers(QuitRequestOutcome::exited), "Editor",
                    ReleaseDisposition::alreadyClosed, "The app is already closed.", true}),
    [](const auto& info) { return info.param.name; });

TEST(ReleaseRequestList, OneAttemptPerBlockerInOrderAndEachPidAskedOnce) {
    EditorScene scene;
    const auto shell = testing::makeProcess(5151, "/bin/bash");
    const auto attempts =
        scene.await(scene.releaser().requestRelease({scene.process, shell, scene.process}));
    ASSERT_EQ(attempts.size(), 3u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempts[1].message, shellText);
    EXPECT_EQ(attempts[2].disposition, ReleaseDisposition::requested);
    EXPECT_NE(attempts[2].id, attempts[0].id);
    EXPECT_EQ(scene.registry->terminateRequests, std::vector<std::int32_t>{pid});
}

} // namespace
} // namespace tovo
