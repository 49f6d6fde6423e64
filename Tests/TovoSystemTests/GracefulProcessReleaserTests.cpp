#include "Support/FakeApplicationRegistry.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

using testing::FakeApplicationRegistry;
using testing::FakeProcessMetadataProvider;

constexpr std::uint32_t userID = 1000;
constexpr std::int32_t ownPID = 777;
constexpr std::int32_t pid = 4242;

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

OpenFileReference file(std::string descriptor, OpenAccess access) {
    return {"/media/user/DISK/file", std::move(descriptor), "REG", access};
}

// An editor of the current user reading one file, registered as a regular app.
struct Scene {
    BlockingProcess process = testing::makeProcess(pid, "editor");
    std::shared_ptr<FakeApplicationRegistry> registry = std::make_shared<FakeApplicationRegistry>();
    std::shared_ptr<FakeProcessMetadataProvider> metadata =
        std::make_shared<FakeProcessMetadataProvider>();

    Scene() {
        registry->add({pid, "Editor", "org.example.Editor", ActivationPolicy::regular});
        metadata->add({pid, 1000, userID, "editor", "/usr/bin/editor", {1'700'000'000, 250'000}});
    }
    GracefulProcessReleaser releaser() const {
        return GracefulProcessReleaser(userID, ownPID, metadata, registry);
    }
};

struct PlanCase {
    std::string name;
    std::function<void(Scene&)> arrange;
    std::string expectedMessage;
    std::optional<std::string> quitName = std::nullopt; ///< set for a quit plan
    friend void PrintTo(const PlanCase& c, std::ostream* os) { *os << c.name; }
};

class ReleasePlan : public ::testing::TestWithParam<PlanCase> {};

TEST_P(ReleasePlan, FirstMatchingRuleWins) {
    Scene scene;
    GetParam().arrange(scene);
    const auto plans = scene.releaser().planRelease({scene.process});
    ASSERT_EQ(plans.size(), 1u);
    const auto& quitName = GetParam().quitName;
    const ProcessReleasePlan expected{scene.process.pid, quitName.value_or(scene.process.command),
                                      quitName ? ReleaseStrategy::quitApplication
                                               : ReleaseStrategy::manualAction,
                                      GetParam().expectedMessage};
    EXPECT_EQ(plans.front(), expected);
    EXPECT_TRUE(scene.registry->terminateRequests.empty());
}

const std::string protectedText = "Tovo will not close this protected process.";
const std::string otherUserText = "This process belongs to macOS or another user.";
const std::string unverifiedUseText =
    "Tovo cannot verify how this app uses the disk. Close it yourself.";
const std::string writesText = "It can write to the disk. Finish its work first.";
const std::string vmText = "Stop the virtual machine, then try again.";
const std::string transferText = "Wait for the transfer or backup to finish.";
const std::string shellText = "Change the terminal folder or close its window.";
const std::string helperText = "Close the file or wait for macOS to finish.";
const std::string sensitiveText = "Close this process, then try again.";
const std::string unknownAccessText = "Tovo cannot verify how this process uses the disk.";
const std::string identityText = "Tovo cannot verify this app's process identity.";
const std::string cwdText =
    "Its current folder is on this disk. Close this command or helper, then try again.";
const std::string commandText = "Close this command or helper, then try again.";
const std::string backgroundText = "This background service must finish on its own.";
const std::string itselfText = "Tovo will not close itself.";
const std::string quitText = "Tovo will ask this app to quit.";

INSTANTIATE_TEST_SUITE_P(
    Rules, ReleasePlan,
    ::testing::Values(
        // pid 1 of root is protected before it is another user's.
        PlanCase{"initIsProtected",
                 [](Scene& s) {
                     s.process.pid = 1;
                     s.process.userID = 0;
                 },
                 protectedText},
        PlanCase{"ownProcessIsProtected", [](Scene& s) { s.process.pid = ownPID; }, protectedText},
        PlanCase{"pidZero", [](Scene& s) { s.process.pid = 0; }, protectedText},
        PlanCase{"unknownUser", [](Scene& s) { s.process.userID.reset(); }, otherUserText},
        PlanCase{"otherUser", [](Scene& s) { s.process.userID = 0; }, otherUserText},
        PlanCase{"systemDissent",
                 [](Scene& s) {
                     s.process.isSystemDissent = true;
                     s.process.openFiles.push_back(file("3", OpenAccess::write));
                 },
                 unverifiedUseText},
        PlanCase{"noOpenFiles", [](Scene& s) { s.process.openFiles.clear(); }, unverifiedUseText},
        PlanCase{"writerBeforeVirtualMachine",
                 [](Scene& s) {
                     s.process.command = "qemu-system-x86_64";
                     s.process.openFiles.push_back(file("4", OpenAccess::readWrite));
                 },
                 writesText},
        PlanCase{"virtualMachine", [](Scene& s) { s.process.command = "qemu-system-x86_64"; },
                 vmText},
        // "VirtualBoxVM" counts as a virtual machine but is not sensitive: it is an app.
        PlanCase{"virtualButNotSensitive", [](Scene& s) { s.process.command = "VirtualBoxVM"; },
                 quitText, "Editor"},
        PlanCase{"backupDaemon", [](Scene& s) { s.process.command = "backupd"; }, transferText},
        PlanCase{"rsyncIsTransferBeforeProtected", [](Scene& s) { s.process.command = "rsync"; },
                 transferText},
        PlanCase{"shellInFolder",
                 [](Scene& s) {
                     s.process.command = "/bin/zsh";
                     s.process.openFiles = {file("cwd", OpenAccess::unknown)};
                 },
                 shellText},
        PlanCase{"terminal", [](Scene& s) { s.process.command = "Terminal"; }, shellText},
        PlanCase{"finderByPath",
                 [](Scene& s) {
                     s.process.command =
                         "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder";
                 },
                 helperText},
        PlanCase{"timeMachineHelper", [](Scene& s) { s.process.command = "Time Machine Helper"; },
                 sensitiveText},
        PlanCase{"secureCopy", [](Scene& s) { s.process.command = "scp"; }, sensitiveText},
        PlanCase{"unknownAccess",
                 [](Scene& s) { s.process.openFiles.push_back(file("5", OpenAccess::unknown)); },
                 unknownAccessText},
        PlanCase{"unknownAccessWithoutDescriptor",
                 [](Scene& s) {
                     s.process.openFiles.push_back(
                         {"/media/user/DISK/x", std::nullopt, std::nullopt, OpenAccess::unknown});
                 },
                 unknownAccessText},
        PlanCase{"noStartTime", [](Scene& s) { s.process.startTime.reset(); }, identityText},
        PlanCase{"noExecutable", [](Scene& s) { s.process.executablePath.reset(); }, identityText},
        PlanCase{"commandInFolder",
                 [](Scene& s) {
                     s.registry->applications.clear();
                     s.process.openFiles.push_back(file("cwd", OpenAccess::unknown));
                 },
                 cwdText},
        // A root-directory reference is no current folder.
        PlanCase{"commandAtRoot",
                 [](Scene& s) {
                     s.registry->applications.clear();
                     s.process.openFiles.push_back(file("rtd", OpenAccess::unknown));
                 },
                 commandText},
        PlanCase{"backgroundService",
                 [](Scene& s) {
                     s.registry->applications.at(pid).activationPolicy =
                         ActivationPolicy::prohibited;
                     s.registry->applications.at(pid).bundleIdentifier = tovoApplicationID;
                 },
                 backgroundText},
        PlanCase{
            "itself",
            [](Scene& s) { s.registry->applications.at(pid).bundleIdentifier = tovoApplicationID; },
            itselfText},
        PlanCase{"bothIdentifiersAbsent",
                 [](Scene& s) {
                     s.registry->applications.at(pid).bundleIdentifier.reset();
                     s.registry->ownIdentifier.reset();
                 },
                 itselfText},
        PlanCase{"accessoryApp",
                 [](Scene& s) {
                     s.registry->applications.at(pid).activationPolicy =
                         ActivationPolicy::accessory;
                     s.registry->applications.at(pid).bundleIdentifier.reset();
                 },
                 quitText, "Editor"},
        PlanCase{"appWithoutName",
                 [](Scene& s) { s.registry->applications.at(pid).localizedName.reset(); }, quitText,
                 "editor"}),
    [](const auto& info) { return info.param.name; });

TEST(ReleasePlanList, KeepsOrderAndDuplicates) {
    Scene scene;
    auto other = testing::makeProcess(1, "launchd");
    const auto plans = scene.releaser().planRelease({scene.process, other, scene.process});
    ASSERT_EQ(plans.size(), 3u);
    EXPECT_EQ(plans[0].strategy, ReleaseStrategy::quitApplication);
    EXPECT_EQ(plans[1].processName, "launchd");
    EXPECT_EQ(plans[2], plans[0]);
    EXPECT_TRUE(scene.releaser().planRelease({}).empty());
}

// Answers from the wrapped registry until `lookupsBeforeGone` lookups were made,
// then reports the application gone: it quit between planning and request.
class VanishingRegistry final : public ApplicationRegistry {
public:
    VanishingRegistry(std::shared_ptr<FakeApplicationRegistry> inner, int lookupsBeforeGone)
        : inner_(std::move(inner))
        , remaining_(lookupsBeforeGone) {}
    std::optional<RunningApplication> runningApplication(std::int32_t pid) const override {
        if (remaining_-- > 0) {
            return inner_->runningApplication(pid);
        }
        return std::nullopt;
    }
    bool isTerminated(std::int32_t pid) const override { return inner_->isTerminated(pid); }
    bool terminate(std::int32_t pid) override { return inner_->terminate(pid); }
    bool activate(std::int32_t pid) override { return inner_->activate(pid); }
    std::optional<std::string> ownBundleIdentifier() const override {
        return inner_->ownBundleIdentifier();
    }

private:
    std::shared_ptr<FakeApplicationRegistry> inner_;
    mutable int remaining_;
};

struct RequestCase {
    std::string name;
    std::function<void(Scene&)> arrange;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;
    bool quitSent;
    friend void PrintTo(const RequestCase& c, std::ostream* os) { *os << c.name; }
};

class ReleaseRequest : public ::testing::TestWithParam<RequestCase> {};

TEST_P(ReleaseRequest, ReportsOutcomeAndAsksAtMostOnce) {
    Scene scene;
    GetParam().arrange(scene);
    auto attempts = await(scene.releaser().requestRelease({scene.process}));
    ASSERT_EQ(attempts.size(), 1u);
    const auto& attempt = attempts.front();
    EXPECT_EQ(attempt.processID, pid);
    EXPECT_EQ(attempt.processName, GetParam().processName);
    EXPECT_EQ(attempt.disposition, GetParam().disposition);
    EXPECT_EQ(attempt.message, GetParam().message);
    EXPECT_EQ(scene.registry->terminateRequests,
              GetParam().quitSent ? std::vector<std::int32_t>{pid} : std::vector<std::int32_t>{});
}

INSTANTIATE_TEST_SUITE_P(
    Steps, ReleaseRequest,
    ::testing::Values(
        RequestCase{"manualPlan", [](Scene& s) { s.process.userID = 0; }, "editor",
                    ReleaseDisposition::needsManualAction, otherUserText, false},
        RequestCase{"reusedPid",
                    [](Scene& s) { s.metadata->processes.at(pid).startTime.seconds += 60; },
                    "editor", ReleaseDisposition::needsManualAction,
                    "Tovo could not verify that this is the same app.", false},
        RequestCase{"metadataGone", [](Scene& s) { s.metadata->processes.clear(); }, "editor",
                    ReleaseDisposition::needsManualAction,
                    "Tovo could not verify that this is the same app.", false},
        RequestCase{"quitMeanwhile", [](Scene& s) { s.registry->terminated[pid] = true; }, "Editor",
                    ReleaseDisposition::alreadyClosed, "The app is already closed.", false},
        RequestCase{"accepted", [](Scene&) {}, "Editor", ReleaseDisposition::requested,
                    "Tovo asked the app to quit.", true},
        RequestCase{"refused", [](Scene& s) { s.registry->acceptsTerminate = false; }, "editor",
                    ReleaseDisposition::failed, "The app did not accept the quit request.", true}),
    [](const auto& info) { return info.param.name; });

TEST(ReleaseRequestSteps, AppGoneAfterPlanningIsNoLongerNormal) {
    Scene scene;
    // The re-plan sees the app (one lookup); the request's own lookup does not.
    auto registry = std::make_shared<VanishingRegistry>(scene.registry, 1);
    GracefulProcessReleaser releaser(userID, ownPID, scene.metadata, registry);
    const auto attempts = await(releaser.requestRelease({scene.process}));
    ASSERT_EQ(attempts.size(), 1u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::needsManualAction);
    EXPECT_EQ(attempts[0].processName, "editor");
    EXPECT_EQ(attempts[0].message, "This is no longer a normal app. Close it yourself.");
    EXPECT_TRUE(scene.registry->terminateRequests.empty());
}

TEST(ReleaseRequestSteps, OneAttemptPerBlockerInOrderAndEachPidAskedOnce) {
    Scene scene;
    auto shell = testing::makeProcess(5151, "/bin/bash");
    const auto attempts =
        await(scene.releaser().requestRelease({scene.process, shell, scene.process}));
    ASSERT_EQ(attempts.size(), 3u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempts[1].processID, 5151);
    EXPECT_EQ(attempts[1].message, shellText);
    EXPECT_EQ(attempts[2].disposition, ReleaseDisposition::requested);
    EXPECT_NE(attempts[2].id, attempts[0].id);
    EXPECT_EQ(scene.registry->terminateRequests, std::vector<std::int32_t>{pid});
}

} // namespace
} // namespace tovo
