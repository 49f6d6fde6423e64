#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <ranges>

namespace tovo {
namespace {

using namespace tovo::testing;
namespace fs = std::filesystem;

std::vector<pid_t> pids(const std::vector<BlockingProcess>& processes) {
    const auto view = processes | std::views::transform(&BlockingProcess::pid);
    return {view.begin(), view.end()};
}

std::vector<std::string> asNobody(std::vector<std::string> command) {
    command.insert(command.begin(),
                   {"/usr/bin/setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"});
    return command;
}

// Real lsof over tmpfs mounts (under a folder anyone may enter) with real holders;
// what it finds on a real disk is covered end to end.
class RealLsofDiagnosis : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot()) {
            GTEST_SKIP() << "mounting a tmpfs to hold busy needs root";
        }
        fs::permissions(base_.path(), fs::perms::all);
        ASSERT_TRUE(mount_.isMounted());
        setMounts({mount_.path()});
    }

    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt,
                                          std::optional<fs::path> lsof = std::nullopt) {
        LsofBlockerDiagnoser diagnoser(executor_,
                                       std::make_shared<SystemCommandRunner>(
                                           executor_, SystemCommandRunner::productionTimeout),
                                       LsofFieldParser(), metadata_,
                                       std::make_shared<ProcOpenFileScanner>(), ::getpid(),
                                       std::move(lsof));
        return runToEnd(executor_, diagnoser.blockers(disk_, dissenter));
    }
    /// What keeps `lsof` from diagnosing this disk.
    std::optional<DiagnosisError::Kind> failure(const fs::path& lsof) {
        try {
            diagnose(std::nullopt, lsof);
        } catch (const DiagnosisError& error) {
            return error.kind;
        }
        return std::nullopt;
    }
    void setMounts(const std::vector<fs::path>& paths) {
        disk_.volumes.clear();
        for (const auto& path : paths) {
            disk_.volumes.push_back(makeVolume(path.filename().string(), path));
        }
    }
    ManualExecutor executor_;
    TemporaryFolder base_;
    MountAt mount_{base_.path() / "fixture"};
    std::shared_ptr<SystemProcessMetadataProvider> metadata_ =
        std::make_shared<SystemProcessMetadataProvider>(
            std::make_shared<FakeApplicationRegistry>());
    ExternalDisk disk_ = makeDisk(9, "TOVO");
    Holders holders_{base_.path()};
};

// One lsof run names every volume: it exits 1 while one of them is idle, its list
// comes back in the order of the volumes whatever the pids, volumes no longer
// mounted are skipped, Tovo itself is left out and the dissenter comes last.
TEST_F(RealLsofDiagnosis, OneRunListsEachVolumesHoldersThenTheDissenter) {
    MountAt second(base_.path() / "second");
    fs::create_directories(base_.path() / "idle");
    setMounts({mount_.path(), base_.path() / "idle", second.path(), base_.path() / "nowhere"});
    const auto early = holders_.start({"holder_cwd", second.path()});
    EXPECT_EQ(pids(diagnose()), std::vector{early}) << "the first volume is idle";

    const auto late = holders_.start({"holder_write", mount_.path() / "draft.txt"});
    TestChild bystander({"/bin/sleep", "10"});
    // The test process plays Tovo and holds a file of its own on the mount.
    const int own =
        ::open((mount_.path() / "own.txt").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    EXPECT_EQ(pids(diagnose(bystander.pid())), (std::vector{late, early, bystander.pid()}));
    ::close(own);
}

// lsof run as nobody cannot look into a mount under a folder only root may enter; while
// the wrapper is missing or not yet executable, lsof is reported as missing.
TEST_F(RealLsofDiagnosis, AsAnOrdinaryUserOnlyWarningsAboutThisDiskCount) {
    const auto wrapper = base_.path() / "lsof-as-nobody";
    std::ofstream(wrapper) << "#!/bin/sh\nexec /usr/bin/setpriv --reuid=nobody --regid=nogroup "
                              "--clear-groups "
                           << LsofBlockerDiagnoser::lsofExecutable().string() << " \"$@\"\n";
    for (const auto& unusable : {base_.path() / "missing", wrapper}) {
        EXPECT_EQ(failure(unusable), DiagnosisError::Kind::lsofMissing) << unusable;
    }
    fs::permissions(wrapper, fs::perms::owner_all | fs::perms::others_exec);
    TemporaryFolder rootOnly;
    MountAt hidden(rootOnly.path() / "in side");

    const auto holder = holders_.start(asNobody({helperProgram("holder_cwd"), mount_.path()}));
    EXPECT_EQ(pids(diagnose(std::nullopt, wrapper)), std::vector{holder})
        << "the hidden mount is not this disk";
    setMounts({hidden.path()});
    EXPECT_EQ(failure(wrapper), DiagnosisError::Kind::lsofFailed);
}

using FileFacts = std::tuple<std::optional<std::string>, std::string, OpenAccess>;

std::map<std::int32_t, std::vector<FileFacts>>
filesByPid(const std::vector<BlockingProcess>& processes) {
    std::map<std::int32_t, std::vector<FileFacts>> result;
    for (const auto& process : processes) {
        for (const auto& file : process.openFiles) {
            result[process.pid].emplace_back(file.descriptor, file.path, file.access);
        }
    }
    return result;
}

TEST_F(RealLsofDiagnosis, TheKernelsTablesNameWhatLsofNames) {
    const auto program = mount_.path() / "program";
    fs::copy_file(helperProgram("holder_cwd"), program);
    holders_.start({"holder_cwd", mount_.path()});
    holders_.start({"holder_write", mount_.path() / "draft"});
    holders_.start({"holder_write", "--map", mount_.path() / "mapped"});
    holders_.start({program, "/"});

    SystemCommandRunner runner(executor_, SystemCommandRunner::productionTimeout);
    const auto listing =
        runner.runSynchronously(LsofBlockerDiagnoser::lsofExecutable(),
                                LsofBlockerDiagnoser::lsofArguments(mount_.path()), {});
    ASSERT_EQ(listing.status, 0) << listing.standardError;
    std::vector<MountEntry> mounts;
    std::ranges::copy_if(ProcOpenFileScanner().mounts(), std::back_inserter(mounts),
                         [&](const auto& entry) { return entry.mountPoint == mount_.path(); });
    ASSERT_EQ(mounts.size(), 1u);

    const auto fromLsof = filesByPid(LsofFieldParser().parse(listing.standardOutput));
    EXPECT_EQ(fromLsof.size(), 4u);
    EXPECT_EQ(filesByPid(ProcOpenFileScanner().holders(mounts)), fromLsof);
}

struct HostileCase {
    const char* name;
    std::string mount;   ///< under the test's folder
    std::string command; ///< the holder's file name, so its command
    bool writes = false; ///< holds a file open rather than its working folder
    bool otherUser = false;
    std::size_t pathLength = 0; ///< set: folders nested until the mount path is this long
};

class HostileNames : public RealLsofDiagnosis, public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileNames, AreListedCorrectlyOrLeftOutQuietly) {
    const auto& row = GetParam();
    auto mountPath = base_.path() / row.mount;
    while (mountPath.native().size() < row.pathLength) {
        const auto left = row.pathLength - mountPath.native().size() - 1;
        mountPath /= std::string(std::min<std::size_t>(left, 250), 'd');
    }
    MountAt mount(mountPath);
    setMounts({mountPath});

    const auto program = base_.path() / row.command;
    fs::copy_file(helperProgram(row.writes ? "holder_write" : "holder_cwd"), program);
    const std::vector<std::string> command{program, row.writes ? mountPath / "draft" : mountPath};
    const auto holder = holders_.start(row.otherUser ? asNobody(command) : command);
    const auto blockers = diagnose();
    ASSERT_EQ(blockers.size(), 1u);
    EXPECT_EQ(std::tie(blockers[0].pid, blockers[0].command, blockers[0].userID),
              std::make_tuple(holder, decodeUtf8Lossy(row.command.substr(0, 15)),
                              row.otherUser ? 65534u : 0u));
    EXPECT_TRUE(row.writes ? blockers[0].hasWritableFiles() : blockers[0].holdsCurrentFolder());
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileNames,
    ::testing::Values(HostileCase{"MountWithLineFeed", "line\nfeed", "holder_cwd"},
                      HostileCase{"MountWithInvalidUtf8", "bad\xff\xfe", "holder_write", true},
                      HostileCase{.name = "MountPathOf4000Bytes",
                                  .mount = "deep",
                                  .command = "holder_cwd",
                                  .pathLength = 4000},
                      HostileCase{"CommandWithClosingParenthesis", "disk", "x) S 1"},
                      HostileCase{"CommandWithLineFeed", "disk", "nl\nx", true},
                      HostileCase{"HolderOfAnotherUser", "disk", "holder_cwd", false, true}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
