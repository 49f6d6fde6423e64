#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Linux/ProcOpenFileScanner.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <map>
#include <tuple>

namespace tovo {
namespace {

using testing::TemporaryFolder;
using testing::TestChild;
namespace fs = std::filesystem;

const std::vector<std::string> asNobody = {"/usr/bin/setpriv", "--reuid=nobody", "--regid=nogroup",
                                           "--clear-groups"};

/// A tmpfs mounted at `path`, made with its parents, for the scope (root only).
class MountAt {
public:
    explicit MountAt(fs::path path)
        : path_(std::move(path)) {
        fs::create_directories(path_);
        mounted_ = ::mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=4m") == 0;
    }
    ~MountAt() { unmount(); }
    MountAt(const MountAt&) = delete;
    MountAt& operator=(const MountAt&) = delete;

    bool isMounted() const { return mounted_; }
    const fs::path& path() const { return path_; }
    void unmount() {
        if (mounted_ && ::umount2(path_.c_str(), 0) != 0) {
            ::umount2(path_.c_str(), MNT_DETACH);
        }
        mounted_ = false;
    }

private:
    fs::path path_;
    bool mounted_ = false;
};

/// Real metadata, with a hook that runs just before a process's identity is read.
class HookedMetadataProvider final : public ProcessMetadataProviding {
public:
    explicit HookedMetadataProvider(std::function<void(std::int32_t)> beforeRead)
        : beforeRead_(std::move(beforeRead)) {}
    std::optional<ProcessMetadata> metadata(std::int32_t pid) const override {
        beforeRead_(pid);
        return real_.metadata(pid);
    }
    std::optional<ParentApplication> parentApplication(std::int32_t pid) const override {
        return real_.parentApplication(pid);
    }

private:
    std::function<void(std::int32_t)> beforeRead_;
    SystemProcessMetadataProvider real_{nullptr};
};

void makeOpenToAll(const fs::path& folder) {
    fs::permissions(folder, fs::perms::all);
}

// Real lsof over tmpfs mounts with real holders; what it finds on a real disk is
// covered end to end.
class RealLsofDiagnosis : public ::testing::Test {
protected:
    void SetUp() override {
        if (!testing::isRoot()) {
            GTEST_SKIP() << "mounting a tmpfs to hold busy needs root";
        }
        ASSERT_TRUE(mount_.isMounted());
        disk_.volumes[0].mountURL = mount_.path();
        makeOpenToAll(pids_.path());
    }

    LsofBlockerDiagnoser diagnoser(std::optional<fs::path> lsof = std::nullopt,
                                   std::shared_ptr<const ProcessMetadataProviding> metadata = {}) {
        return LsofBlockerDiagnoser(executor_,
                                    std::make_shared<SystemCommandRunner>(
                                        executor_, SystemCommandRunner::productionTimeout),
                                    LsofFieldParser(), metadata ? metadata : metadata_,
                                    std::make_shared<ProcOpenFileScanner>(), ::getpid(),
                                    std::move(lsof));
    }
    std::vector<BlockingProcess> diagnose(LsofBlockerDiagnoser& diagnoser,
                                          std::optional<std::int32_t> dissenter = std::nullopt) {
        return testing::runToEnd(executor_, diagnoser.blockers(disk_, dissenter));
    }
    void setMounts(const std::vector<fs::path>& paths) {
        disk_.volumes.clear();
        for (const auto& path : paths) {
            disk_.volumes.push_back(testing::makeVolume(path.filename().string(), path));
        }
    }
    /// A holder started (as nobody when `prefix` says so) and its pid once it holds.
    pid_t start(std::vector<std::string> arguments, const std::string& name,
                std::vector<std::string> prefix = {}) {
        const auto pidFile = pids_.path() / name;
        arguments.push_back(pidFile);
        prefix.insert(prefix.end(), arguments.begin(), arguments.end());
        children_.push_back(std::make_unique<TestChild>(prefix));
        return testing::awaitPidFile(pidFile);
    }

    ManualExecutor executor_;
    testing::TmpfsMount mount_;
    TemporaryFolder pids_;
    std::shared_ptr<SystemProcessMetadataProvider> metadata_ =
        std::make_shared<SystemProcessMetadataProvider>(
            std::make_shared<testing::FakeApplicationRegistry>());
    ExternalDisk disk_ = testing::makeDisk(9, "TOVO");
    std::vector<std::unique_ptr<TestChild>> children_;
};

TEST_F(RealLsofDiagnosis, LeavesTovoOutAndAddsTheDissenterLast) {
    auto lsof = diagnoser();
    EXPECT_TRUE(diagnose(lsof).empty()) << "an idle mount has no blockers";
    const auto writer =
        start({testing::helperProgram("holder_write"), mount_.path() / "draft.txt"}, "writer");
    TestChild bystander({"/bin/sleep", "10"});
    // The test process plays Tovo and holds a file of its own on the mount.
    const int own =
        ::open((mount_.path() / "own.txt").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(own, 0);

    const auto blockers = diagnose(lsof, bystander.pid());
    ::close(own);

    ASSERT_EQ(blockers.size(), 2u);
    EXPECT_EQ(blockers[0].pid, writer);
    EXPECT_EQ(blockers[1].pid, bystander.pid());
    EXPECT_TRUE(blockers[1].isSystemDissent);
    EXPECT_TRUE(blockers[1].openFiles.empty());
    EXPECT_EQ(blockers[1].startTime, metadata_->metadata(bystander.pid())->startTime);
}

TEST_F(RealLsofDiagnosis, VolumesNoLongerMountedAreSkipped) {
    TemporaryFolder folder;
    MountAt unmounted(folder.path() / "idle");
    ASSERT_TRUE(unmounted.isMounted());
    unmounted.unmount();
    setMounts({folder.path() / "idle", folder.path() / "nowhere", mount_.path()});
    const auto writer =
        start({testing::helperProgram("holder_write"), mount_.path() / "draft.txt"}, "writer");

    auto lsof = diagnoser();
    const auto blockers = diagnose(lsof);
    ASSERT_EQ(blockers.size(), 1u);
    EXPECT_EQ(blockers[0].pid, writer);
}

// One lsof run names every volume: it exits 1 while one of them is idle, and its list
// comes back in the order of the volumes, whatever the pids.
TEST_F(RealLsofDiagnosis, OneRunOverSeveralVolumesListsEachVolumesHolders) {
    TemporaryFolder folder;
    MountAt second(folder.path() / "second");
    ASSERT_TRUE(second.isMounted());
    makeOpenToAll(second.path());
    const auto early = start({testing::helperProgram("holder_cwd"), second.path()}, "early");
    setMounts({mount_.path(), second.path()});
    auto lsof = diagnoser();
    auto blockers = diagnose(lsof);
    ASSERT_EQ(blockers.size(), 1u) << "the first volume is idle";
    EXPECT_EQ(blockers[0].pid, early);

    const auto late =
        start({testing::helperProgram("holder_write"), mount_.path() / "draft.txt"}, "late");
    blockers = diagnose(lsof);
    ASSERT_EQ(blockers.size(), 2u);
    EXPECT_EQ(blockers[0].pid, late);
    EXPECT_EQ(blockers[1].pid, early);
}

TEST_F(RealLsofDiagnosis, AMissingOrUnusableLsofNamesItsPackage) {
    TemporaryFolder folder;
    std::ofstream(folder.path() / "not-executable") << "#!/bin/sh\n";
    for (const auto* name : {"missing", "not-executable"}) {
        auto lsof = diagnoser(folder.path() / name);
        try {
            diagnose(lsof);
            ADD_FAILURE() << name << " lsof must not run";
        } catch (const DiagnosisError& error) {
            EXPECT_EQ(error.kind, DiagnosisError::Kind::lsofMissing) << name;
            EXPECT_THAT(error.description(), ::testing::HasSubstr("\u201Clsof\u201D package"));
        }
    }
}

TEST_F(RealLsofDiagnosis, AsAnOrdinaryUserOnlyWarningsAboutThisDiskCount) {
    // lsof run as nobody cannot look into a mount under a folder only root may enter.
    TemporaryFolder tools;
    makeOpenToAll(tools.path());
    const auto wrapper = tools.path() / "lsof-as-nobody";
    std::ofstream(wrapper) << "#!/bin/sh\nexec /usr/bin/setpriv --reuid=nobody --regid=nogroup "
                              "--clear-groups "
                           << LsofBlockerDiagnoser::lsofExecutable().string() << " \"$@\"\n";
    fs::permissions(wrapper, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
    TemporaryFolder rootOnly;
    MountAt hidden(rootOnly.path() / "in side");
    ASSERT_TRUE(hidden.isMounted());

    auto lsof = diagnoser(wrapper);
    EXPECT_TRUE(diagnose(lsof).empty()) << "the hidden mount is not this disk";
    const auto holder =
        start({testing::helperProgram("holder_cwd"), mount_.path()}, "holder", asNobody);
    const auto blockers = diagnose(lsof);
    ASSERT_EQ(blockers.size(), 1u);
    EXPECT_EQ(blockers[0].pid, holder);
    EXPECT_EQ(blockers[0].userID, 65534u);

    setMounts({hidden.path()});
    try {
        diagnose(lsof);
        ADD_FAILURE() << "lsof cannot inspect this disk";
    } catch (const DiagnosisError& error) {
        EXPECT_EQ(error.kind, DiagnosisError::Kind::lsofFailed);
        EXPECT_THAT(error.description(), ::testing::HasSubstr("can't stat() tmpfs file system " +
                                                              hidden.path().string()));
    }
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
    fs::copy_file(testing::helperProgram("holder_cwd"), program);
    start({testing::helperProgram("holder_cwd"), mount_.path()}, "in-folder");
    start({testing::helperProgram("holder_write"), mount_.path() / "draft"}, "writer");
    start({testing::helperProgram("holder_write"), "--map", mount_.path() / "mapped"}, "mapper");
    start({program, "/"}, "program");

    SystemCommandRunner runner(executor_, SystemCommandRunner::productionTimeout);
    const auto listing =
        runner.runSynchronously(LsofBlockerDiagnoser::lsofExecutable(),
                                LsofBlockerDiagnoser::lsofArguments(mount_.path()), {});
    ASSERT_EQ(listing.status, 0) << listing.standardError;
    std::vector<MountEntry> mounts;
    for (const auto& entry : ProcOpenFileScanner().mounts()) {
        if (entry.mountPoint == mount_.path().string()) {
            mounts.push_back(entry);
        }
    }
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
    bool endsBeforeItsIdentityIsRead = false;
    std::size_t pathLength = 0; ///< set: folders nested until the mount path is this long
};

class HostileNames : public RealLsofDiagnosis, public ::testing::WithParamInterface<HostileCase> {};

TEST_P(HostileNames, AreListedCorrectlyOrLeftOutQuietly) {
    const auto& row = GetParam();
    TemporaryFolder base;
    makeOpenToAll(base.path());
    auto mountPath = base.path() / row.mount;
    while (mountPath.native().size() < row.pathLength) {
        const auto left = row.pathLength - mountPath.native().size() - 1;
        mountPath /= std::string(std::min<std::size_t>(left, 250), 'd');
    }
    MountAt mount(mountPath);
    ASSERT_TRUE(mount.isMounted());
    setMounts({mountPath});

    fs::create_directory(base.path() / "bin");
    makeOpenToAll(base.path() / "bin");
    const auto program = base.path() / "bin" / row.command;
    fs::copy_file(testing::helperProgram(row.writes ? "holder_write" : "holder_cwd"), program);
    const auto holder = start({program, row.writes ? mountPath / "draft" : mountPath}, "holder",
                              row.otherUser ? asNobody : std::vector<std::string>{});
    ASSERT_GT(holder, 0);

    auto metadata = std::make_shared<HookedMetadataProvider>([&](std::int32_t pid) {
        if (row.endsBeforeItsIdentityIsRead && pid == holder) {
            children_.back()->end();
        }
    });
    auto lsof = diagnoser(std::nullopt, metadata);
    const auto blockers = diagnose(lsof);

    if (row.endsBeforeItsIdentityIsRead) {
        EXPECT_TRUE(blockers.empty());
        return;
    }
    ASSERT_EQ(blockers.size(), 1u);
    const auto& blocker = blockers[0];
    EXPECT_EQ(blocker.pid, holder);
    EXPECT_EQ(blocker.parentPID, ::getpid());
    EXPECT_EQ(blocker.command, decodeUtf8Lossy(row.command.substr(0, 15)));
    EXPECT_EQ(blocker.userID, row.otherUser ? 65534u : 0u);
    EXPECT_TRUE(blocker.startTime);
    EXPECT_TRUE(row.writes ? blocker.hasWritableFiles() : blocker.holdsCurrentFolder());
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileNames,
    ::testing::Values(HostileCase{"MountWithSpaces", "with some spaces", "holder_cwd"},
                      HostileCase{"MountWithLineFeed", "line\nfeed", "holder_cwd"},
                      HostileCase{"MountWithTab", "tab\there", "holder_write", true},
                      HostileCase{"MountWithBackslash", "back\\slash", "holder_cwd"},
                      HostileCase{"MountWithInvalidUtf8", "bad\xff\xfe", "holder_write", true},
                      HostileCase{"MountPathOf4000Bytes", "deep", "holder_cwd", false, false, false,
                                  4000},
                      HostileCase{"CommandWithClosingParenthesis", "disk", "x) S 1"},
                      HostileCase{"CommandWithOpeningParenthesis", "disk", "(x", true},
                      HostileCase{"CommandWithSpaces", "disk", "a b c"},
                      HostileCase{"CommandWithLineFeed", "disk", "nl\nx", true},
                      HostileCase{"HolderOfAnotherUser", "disk", "holder_cwd", false, true},
                      HostileCase{"HolderEndedBeforeItsIdentityIsRead", "disk", "holder_write",
                                  true, false, true}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
