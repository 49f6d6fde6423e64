#include "Support/FakeApplicationRegistry.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"

#include <gtest/gtest.h>

#include <cerrno>
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

struct Signal {
    std::int32_t pid;
    std::int32_t number;
    bool operator==(const Signal&) const = default;
};

// A command-line tool of the current user; the registry knows no app for it.
struct Scene {
    BlockingProcess process = testing::makeProcess(pid, "convert");
    std::shared_ptr<FakeApplicationRegistry> registry = std::make_shared<FakeApplicationRegistry>();
    std::shared_ptr<FakeProcessMetadataProvider> metadata =
        std::make_shared<FakeProcessMetadataProvider>();
    std::vector<Signal> signals;
    std::int32_t signalStatus = 0;
    int signalErrno = 0;

    Scene() {
        metadata->add({pid, 1000, userID, "convert", "/usr/bin/editor", {1'700'000'000, 250'000}});
    }
    void makeApplication(std::optional<std::string> name = "Editor") {
        registry->add({pid, std::move(name), "org.example.Editor", ActivationPolicy::regular});
    }
    ExplicitProcessStopper stopper() {
        return ExplicitProcessStopper(userID, ownPID, metadata, registry,
                                      [this](std::int32_t target, std::int32_t number) {
                                          signals.push_back({target, number});
                                          errno = signalErrno;
                                          return signalStatus;
                                      });
    }
};

const std::string writeWarning =
    "It has a file open for writing. Stopping it now can leave that file incomplete.";
const std::string vmWarning =
    "A running virtual machine can lose unsaved state. Stop it from its own app if you can.";
const std::string transferWarning = "A backup or sync stops mid-transfer. It can resume later, but "
                                    "the current file stays incomplete.";
const std::string shellWarning = "This ends the shell session in that terminal window.";

struct PlanCase {
    std::string name;
    std::function<void(Scene&)> arrange;
    std::string processName;
    StopMethod method;
    std::string message;
    std::optional<std::string> warning = std::nullopt;
    friend void PrintTo(const PlanCase& c, std::ostream* os) { *os << c.name; }
};

class StopPlan : public ::testing::TestWithParam<PlanCase> {};

TEST_P(StopPlan, FirstMatchingRuleWins) {
    Scene scene;
    GetParam().arrange(scene);
    const auto& c = GetParam();
    EXPECT_EQ(scene.stopper().planStop(scene.process),
              (ProcessStopPlan{scene.process.pid, c.processName, c.method, c.message, c.warning}));
    EXPECT_TRUE(scene.signals.empty());
}

const std::string sigtermText = "Tovo will send one stop request (SIGTERM) to convert. Most tools "
                                "stop cleanly. Tovo never forces a kill.";

INSTANTIATE_TEST_SUITE_P(
    Rules, StopPlan,
    ::testing::Values(
        PlanCase{"ownProcessWhateverElse",
                 [](Scene& s) {
                     s.process.pid = ownPID;
                     s.process.userID = 0;
                     s.process.startTime.reset();
                 },
                 "convert", StopMethod::unavailable, "Tovo will not stop this protected process."},
        PlanCase{"init", [](Scene& s) { s.process.pid = 1; }, "convert", StopMethod::unavailable,
                 "Tovo will not stop this protected process."},
        PlanCase{"otherUser",
                 [](Scene& s) {
                     s.process.userID = 0;
                     s.process.startTime.reset();
                 },
                 "convert", StopMethod::unavailable,
                 "This process belongs to macOS or another user. Tovo cannot stop it."},
        PlanCase{"unknownUser", [](Scene& s) { s.process.userID.reset(); }, "convert",
                 StopMethod::unavailable,
                 "This process belongs to macOS or another user. Tovo cannot stop it."},
        PlanCase{"noStartTime", [](Scene& s) { s.process.startTime.reset(); }, "convert",
                 StopMethod::unavailable,
                 "Tovo cannot verify this process identity, so it will not send a stop request."},
        PlanCase{"noExecutable", [](Scene& s) { s.process.executablePath.reset(); }, "convert",
                 StopMethod::unavailable,
                 "Tovo cannot verify this process identity, so it will not send a stop request."},
        PlanCase{"systemHelperEvenAsApp",
                 [](Scene& s) {
                     s.process.command =
                         "/System/Library/CoreServices/Dock.app/Contents/MacOS/Dock";
                     s.makeApplication("Dock");
                 },
                 "Dock", StopMethod::unavailable,
                 "This is part of macOS. Close the file or wait for macOS to finish."},
        PlanCase{"itself",
                 [](Scene& s) {
                     s.makeApplication("Tovo");
                     s.registry->applications.at(pid).bundleIdentifier = tovoApplicationID;
                 },
                 "Tovo", StopMethod::unavailable, "Tovo will not stop itself."},
        PlanCase{"bothIdentifiersAbsent",
                 [](Scene& s) {
                     s.makeApplication();
                     s.registry->applications.at(pid).bundleIdentifier.reset();
                     s.registry->ownIdentifier.reset();
                 },
                 "Editor", StopMethod::unavailable, "Tovo will not stop itself."},
        // A background helper does not count as an app: it gets one SIGTERM, even with our id.
        PlanCase{"prohibitedIsAProcess",
                 [](Scene& s) {
                     s.makeApplication();
                     s.registry->applications.at(pid).activationPolicy =
                         ActivationPolicy::prohibited;
                     s.registry->applications.at(pid).bundleIdentifier = tovoApplicationID;
                 },
                 "convert", StopMethod::terminateProcess, sigtermText},
        PlanCase{"application",
                 [](Scene& s) {
                     s.makeApplication();
                     s.process.openFiles.push_back(
                         {"/media/user/DISK/b", "4", "REG", OpenAccess::write});
                 },
                 "Editor", StopMethod::quitApplication,
                 "Tovo will ask Editor to quit, the same as Quit in its menu. The app can still "
                 "show a save dialog.",
                 writeWarning},
        PlanCase{"applicationWithoutName", [](Scene& s) { s.makeApplication(std::nullopt); },
                 "convert", StopMethod::quitApplication,
                 "Tovo will ask convert to quit, the same as Quit in its menu. The app can still "
                 "show a save dialog."},
        PlanCase{"process", [](Scene&) {}, "convert", StopMethod::terminateProcess, sigtermText}),
    [](const auto& info) { return info.param.name; });

struct WarningCase {
    std::string command;
    OpenAccess access;
    std::optional<std::string> expected;
    friend void PrintTo(const WarningCase& c, std::ostream* os) { *os << c.command; }
};

class StopWarning : public ::testing::TestWithParam<WarningCase> {};

TEST_P(StopWarning, FirstMatchingCaution) {
    auto process = testing::makeProcess(pid, GetParam().command);
    process.openFiles.front().access = GetParam().access;
    EXPECT_EQ(ExplicitProcessStopper::warning(process), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cautions, StopWarning,
    ::testing::Values(WarningCase{"qemu-img", OpenAccess::readWrite, writeWarning},
                      WarningCase{"qemu-img", OpenAccess::read, vmWarning},
                      WarningCase{"virtual-sync", OpenAccess::read, vmWarning},
                      WarningCase{"rsync", OpenAccess::read, transferWarning},
                      WarningCase{"/usr/bin/fish", OpenAccess::unknown, shellWarning},
                      WarningCase{"convert", OpenAccess::read, std::nullopt}));

struct RequestCase {
    std::string name;
    std::function<void(Scene&)> arrange;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;
    bool signalled;
    bool quitSent;
    friend void PrintTo(const RequestCase& c, std::ostream* os) { *os << c.name; }
};

class StopRequest : public ::testing::TestWithParam<RequestCase> {};

TEST_P(StopRequest, ActsOnceAfterTheIdentityCheck) {
    Scene scene;
    GetParam().arrange(scene);
    const auto attempt = await(scene.stopper().requestStop(scene.process));
    const auto& c = GetParam();
    EXPECT_EQ(attempt.processID, scene.process.pid);
    EXPECT_EQ(attempt.processName, c.processName);
    EXPECT_EQ(attempt.disposition, c.disposition);
    EXPECT_EQ(attempt.message, c.message);
    EXPECT_EQ(scene.signals,
              (c.signalled ? std::vector<Signal>{{pid, 15}} : std::vector<Signal>{}));
    EXPECT_EQ(scene.registry->terminateRequests,
              c.quitSent ? std::vector<std::int32_t>{pid} : std::vector<std::int32_t>{});
}

INSTANTIATE_TEST_SUITE_P(
    Steps, StopRequest,
    ::testing::Values(
        RequestCase{"unavailable", [](Scene& s) { s.process.userID = 0; }, "convert",
                    ReleaseDisposition::needsManualAction,
                    "This process belongs to macOS or another user. Tovo cannot stop it.", false,
                    false},
        RequestCase{"vanished", [](Scene& s) { s.metadata->processes.clear(); }, "convert",
                    ReleaseDisposition::alreadyClosed, "The process already exited.", false, false},
        RequestCase{
            "reusedPid", [](Scene& s) { s.metadata->processes.at(pid).startTime.microseconds = 1; },
            "convert", ReleaseDisposition::failed,
            "Tovo could not verify that this is the same process. Nothing was sent.", false, false},
        RequestCase{"signalled", [](Scene&) {}, "convert", ReleaseDisposition::requested,
                    "Tovo sent a stop request to convert.", true, false},
        RequestCase{"notPermitted",
                    [](Scene& s) {
                        s.signalStatus = -1;
                        s.signalErrno = EPERM;
                    },
                    "convert", ReleaseDisposition::failed,
                    "macOS did not allow Tovo to stop this process.", true, false},
        RequestCase{"exitedMeanwhile",
                    [](Scene& s) {
                        s.signalStatus = -1;
                        s.signalErrno = ESRCH;
                    },
                    "convert", ReleaseDisposition::alreadyClosed, "The process already exited.",
                    true, false},
        RequestCase{"otherError",
                    [](Scene& s) {
                        s.signalStatus = -1;
                        s.signalErrno = 22;
                    },
                    "convert", ReleaseDisposition::failed, "The stop request failed (error 22).",
                    true, false},
        RequestCase{"appQuit", [](Scene& s) { s.makeApplication(); }, "Editor",
                    ReleaseDisposition::requested, "Tovo asked Editor to quit.", false, true},
        RequestCase{"appRefused",
                    [](Scene& s) {
                        s.makeApplication();
                        s.registry->acceptsTerminate = false;
                    },
                    "Editor", ReleaseDisposition::failed,
                    "The app did not accept the quit request.", false, true},
        RequestCase{"appAlreadyClosed",
                    [](Scene& s) {
                        s.makeApplication();
                        s.registry->terminated[pid] = true;
                    },
                    "Editor", ReleaseDisposition::alreadyClosed, "The app is already closed.",
                    false, false},
        RequestCase{"appReusedPid",
                    [](Scene& s) {
                        s.makeApplication();
                        s.metadata->processes.at(pid).parentPID = 1;
                    },
                    "Editor", ReleaseDisposition::failed,
                    "Tovo could not verify that this is the same app. Nothing was sent.", false,
                    false}),
    [](const auto& info) { return info.param.name; });

// Answers with the app for the plan, then as a background helper: it became one
// (or was replaced by one) between review and request.
class DemotingRegistry final : public ApplicationRegistry {
public:
    explicit DemotingRegistry(std::shared_ptr<FakeApplicationRegistry> inner)
        : inner_(std::move(inner)) {}
    std::optional<RunningApplication> runningApplication(std::int32_t pid) const override {
        auto application = inner_->runningApplication(pid);
        if (application && lookups_++ > 0) {
            application->activationPolicy = ActivationPolicy::prohibited;
        }
        return application;
    }
    bool isTerminated(std::int32_t pid) const override { return inner_->isTerminated(pid); }
    bool terminate(std::int32_t pid) override { return inner_->terminate(pid); }
    bool activate(std::int32_t pid) override { return inner_->activate(pid); }
    std::optional<std::string> ownBundleIdentifier() const override {
        return inner_->ownBundleIdentifier();
    }

private:
    std::shared_ptr<FakeApplicationRegistry> inner_;
    mutable int lookups_ = 0;
};

TEST(StopRequestSteps, AppThatStoppedBeingOneIsNoLongerRunning) {
    Scene scene;
    scene.makeApplication();
    std::vector<Signal> signals;
    ExplicitProcessStopper stopper(userID, ownPID, scene.metadata,
                                   std::make_shared<DemotingRegistry>(scene.registry),
                                   [&](std::int32_t target, std::int32_t number) {
                                       signals.push_back({target, number});
                                       return 0;
                                   });
    const auto attempt = await(stopper.requestStop(scene.process));
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(attempt.message, "The app is no longer running.");
    EXPECT_EQ(attempt.processName, "Editor");
    EXPECT_TRUE(signals.empty());
    EXPECT_TRUE(scene.registry->terminateRequests.empty());
}

TEST(StopRequestSteps, EachRequestHasAFreshId) {
    Scene scene;
    auto stopper = scene.stopper();
    const auto first = await(stopper.requestStop(scene.process));
    const auto second = await(stopper.requestStop(scene.process));
    EXPECT_NE(first.id, second.id);
    EXPECT_EQ(scene.signals, (std::vector<Signal>{{pid, 15}, {pid, 15}}));
}

} // namespace
} // namespace tovo
