#include "Support/FakeCommandRunner.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <ranges>

namespace tovo {
namespace {

using ::testing::ElementsAre;
using ::testing::Ne;

constexpr std::int32_t ownPID = 777;
const std::string diskPath = "/media/user/DISK";
const std::string dataPath = "/media/user/DATA";

/// One process set of `lsof -F0pcuLftanR` output holding each of `paths` read-only.
std::string holder(std::int32_t pid, std::vector<std::string> paths = {diskPath + "/a.txt"}) {
    using namespace std::string_literals;
    auto set =
        "p" + std::to_string(pid) + "\0R1\0cholder"s + std::to_string(pid) + "\0u1000\0Luser\0\n"s;
    for (const auto& path : paths) {
        set += "f3\0ar\0tREG\0n"s + path + "\0\n"s;
    }
    return set;
}

std::vector<std::int32_t> pids(const std::vector<BlockingProcess>& processes) {
    const auto view = processes | std::views::transform(&BlockingProcess::pid);
    return {view.begin(), view.end()};
}

ProcessMetadata metadataOf(std::int32_t pid) {
    const auto n = std::to_string(pid);
    const ProcessStartTime start{1'700'000'000u + static_cast<std::uint64_t>(pid), 5};
    return {pid, 42, 501, "live" + n, "/usr/bin/live" + n, start};
}

MountEntry mountAt(const std::string& path, int id) {
    return {id, 1, 8, static_cast<unsigned>(id), "/", path, "rw", "ext4", "/dev/sdb", "rw"};
}

/// The kernel's view as a test scripts it. `tables` are answered in turn, the last
/// one for good.
class FakeOpenFileScanner final : public OpenFileScanning {
public:
    mutable std::deque<std::vector<MountEntry>> tables{
        {mountAt(diskPath, 100), mountAt(dataPath, 101)}};
    std::map<std::int32_t, std::string> commands;
    std::vector<BlockingProcess> found;
    mutable std::vector<std::vector<MountEntry>> scans;
    mutable std::vector<std::thread::id> threads;

    std::vector<MountEntry> mounts() const override {
        threads.push_back(std::this_thread::get_id());
        auto table = tables.front();
        if (tables.size() > 1) {
            tables.pop_front();
        }
        return table;
    }
    std::optional<std::string> commandName(std::int32_t pid) const override {
        threads.push_back(std::this_thread::get_id());
        const auto command = commands.find(pid);
        return command == commands.end() ? std::nullopt : std::optional(command->second);
    }
    std::vector<BlockingProcess> holders(const std::vector<MountEntry>& mounts) const override {
        threads.push_back(std::this_thread::get_id());
        scans.push_back(mounts);
        return found;
    }
};

class LsofBlockerDiagnoserTest : public ::testing::Test {
protected:
    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt) {
        return testing::runToEnd(executor_, diagnoser_.blockers(disk_, dissenter));
    }
    /// "pids: ..." of an accepted list, or the kind and description of the refusal.
    std::string outcome() {
        try {
            std::string text = "pids:";
            for (const auto pid : pids(diagnose())) {
                text += " " + std::to_string(pid);
            }
            return text;
        } catch (const DiagnosisError& error) {
            const char* kinds[] = {"failed: ", "incomplete: ", "missing: "};
            return kinds[static_cast<int>(error.kind)] + error.description();
        }
    }
    void addSecondVolume() { disk_.volumes.push_back(testing::makeVolume("VOL-2", dataPath)); }
    void addLive(std::vector<std::int32_t> pids) {
        for (const auto pid : pids) {
            metadata_->add(metadataOf(pid));
        }
    }

    ManualExecutor executor_;
    std::shared_ptr<testing::FakeCommandRunner> runner_ =
        std::make_shared<testing::FakeCommandRunner>();
    std::shared_ptr<testing::FakeProcessMetadataProvider> metadata_ =
        std::make_shared<testing::FakeProcessMetadataProvider>();
    std::shared_ptr<FakeOpenFileScanner> scanner_ = std::make_shared<FakeOpenFileScanner>();
    LsofBlockerDiagnoser diagnoser_{executor_, runner_,  LsofFieldParser(),
                                    metadata_, scanner_, ownPID};
    ExternalDisk disk_ = testing::makeDisk(7);
};

// lsof walks every open file of the system once for all volumes, and lists by pid;
// the volumes' order still decides the order of the list.
TEST_F(LsofBlockerDiagnoserTest, RunsLsofOnceOverEveryVolumeAndMergesInVolumeOrder) {
    addSecondVolume();
    runner_->answer({0,
                     holder(400, {dataPath + "/b"}) +
                         holder(500, {dataPath + "/c", diskPath + "/a"}) + holder(600),
                     ""});
    addLive({400, 500, 600});
    const auto blockers = diagnose();
    EXPECT_THAT(pids(blockers), ElementsAre(500, 600, 400));
    EXPECT_EQ(blockers[0].openFiles.size(), 2u);
    EXPECT_EQ(runner_->calls.size(), 1u);
}

// A volume mounted inside another's folder takes the files under it, whatever the order;
// a file no volume holds by name (lsof printed it otherwise) still counts, with the first.
TEST_F(LsofBlockerDiagnoserTest, AFileGoesWithTheInnermostVolumeHoldingIt) {
    const auto inner = diskPath + "/inner";
    disk_.volumes.insert(disk_.volumes.begin(), testing::makeVolume("VOL-0", inner));
    scanner_->tables = {{mountAt(diskPath, 100), mountAt(inner, 101)}};
    runner_->answer({0, holder(600) + holder(500, {inner + "/x"}) + holder(700, {"/x/f"}), ""});
    addLive({500, 600, 700});
    EXPECT_THAT(pids(diagnose()), ElementsAre(500, 700, 600));
}

struct StatusCase {
    const char* name;
    CommandResult answer;
    std::string expected; ///< as `outcome` tells it
    bool twoVolumes = false;
    std::string mountPath = diskPath;
    bool unmountedWhileLsofRan = false; ///< the second mount table lacks the first volume
};

using Answer = CommandResult;

class LsofExitStatus : public LsofBlockerDiagnoserTest,
                       public ::testing::WithParamInterface<StatusCase> {};

TEST_P(LsofExitStatus, DecidesWhetherTheListCanBeTrusted) {
    const auto& row = GetParam();
    disk_.volumes[0].mountURL = row.mountPath;
    scanner_->tables = {{mountAt(row.mountPath, 100), mountAt(dataPath, 101)}};
    if (row.unmountedWhileLsofRan) {
        scanner_->tables.push_back({mountAt(dataPath, 101)});
    }
    if (row.twoVolumes) {
        addSecondVolume();
    }
    runner_->answer(row.answer);
    addLive({500, 600, 700});
    EXPECT_EQ(outcome(), row.expected);
}

const std::string couldNotInspect = "failed: The system could not inspect the disk.";
const std::string partialList = "incomplete: The system returned an incomplete process list.";
const std::string mayBeIncomplete = "      Output information may be incomplete.\n";
const std::string gvfsWarning =
    "lsof: WARNING: can't stat() fuse.gvfsd-fuse file system /run/user/1000/gvfs\n" +
    mayBeIncomplete;
const std::string ownWarning =
    "lsof: WARNING: can't stat() ext4 file system " + diskPath + "\n" + mayBeIncomplete;
const std::string notAFileSystem = "lsof: not a file system: " + diskPath + "\n";
const std::string dataHolder = holder(700, {dataPath + "/b"});
const std::string escapedWarning =
    "lsof: WARNING: can't stat() ext4 file system /media/A\\nB\\\\C\\xff\n" + mayBeIncomplete;

// Over several volumes lsof exits 1 when one of them has nobody on it; only that
// explains a 1 with a list, as a quiet 1 with an empty list always did.
INSTANTIATE_TEST_SUITE_P(
    Table, LsofExitStatus,
    ::testing::Values(
        StatusCase{"OneListingOnlyUs", Answer(1, holder(ownPID), ""), "pids:"},
        StatusCase{"OtherStatusQuiet", Answer(2, "garbage", ""), couldNotInspect},
        StatusCase{"PartialQuiet", Answer(1, holder(500), ""), partialList},
        StatusCase{"PartialWithAComplaint", Answer(2, holder(500), "  lsof: can't read kernel  \n"),
                   partialList + " lsof: can't read kernel"},
        StatusCase{"WarningsAboutOtherMountsMeanNothingOpen",
                   Answer(1, "",
                          gvfsWarning +
                              "lsof: WARNING: can't stat() tmpfs file system /run/user/1001\n" +
                              mayBeIncomplete + "lsof: assuming dev=0x2b for /run/user/1001 from " +
                              "/proc/self/mountinfo\n"),
                   "pids:"},
        StatusCase{"AWarningAboutThisDiskStays", Answer(1, "", ownWarning + notAFileSystem),
                   "failed: " + ownWarning + "lsof: not a file system: " + diskPath},
        StatusCase{"ThisDiskAsLsofEscapesItsPath", Answer(1, "", escapedWarning),
                   "failed: " + escapedWarning.substr(0, escapedWarning.size() - 1), false,
                   "/media/A\nB\\C\xff"},
        StatusCase{"AnIdleVolumeAndAWarning", Answer(1, holder(500), gvfsWarning), partialList,
                   true},
        // Only volumes still mounted count, before lsof runs or while it runs.
        StatusCase{"UnmountedWhileLsofRan", Answer(1, dataHolder, notAFileSystem), "pids: 700",
                   true, diskPath, true}),
    [](const auto& info) { return info.param.name; });

TEST_F(LsofBlockerDiagnoserTest, TakesParentAndCommandFromTheKernelAndLeavesOutTheGone) {
    runner_->answer({0, holder(500) + holder(600) + holder(650), ""});
    addLive({500, 600}); // 650 ended before its identity was read
    const ParentApplication files{42, "Files", "org.example.Files"};
    metadata_->parents[500] = files;
    scanner_->commands[500] = "x) S 1"; // lsof cut the name and read "1" as the parent
    const auto blockers = diagnose();
    ASSERT_THAT(pids(blockers), ElementsAre(500, 600));
    const auto& b = blockers[0];
    EXPECT_EQ(std::tie(b.command, b.parentPID, b.executablePath, b.startTime, b.parentApplication),
              std::make_tuple("x) S 1", 42, "/usr/bin/live500", metadataOf(500).startTime, files));

    // The kernel's name wins unless it is lsof's name cut to 15 bytes.
    const auto reconciled = &LsofBlockerDiagnoser::reconciledCommand;
    EXPECT_EQ(reconciled("tracker-miner-fs-3", "tracker-miner-f"), "tracker-miner-fs-3");
    EXPECT_EQ(reconciled("editor-2", "editor"), "editor");
}

TEST_F(LsofBlockerDiagnoserTest, AsksTheKernelForHoldersWhenLsofListsNobody) {
    addSecondVolume();
    scanner_->tables = {{mountAt(diskPath, 100)}};
    auto lost = testing::makeProcess(800, "(x");
    lost.openFiles = {{diskPath, "cwd", "DIR", OpenAccess::unknown}};
    scanner_->found = {testing::makeProcess(ownPID), lost, testing::makeProcess(801)};
    addLive({800, ownPID}); // 801 is gone

    const auto blockers = diagnose();
    EXPECT_EQ(scanner_->scans, std::vector<std::vector<MountEntry>>{{mountAt(diskPath, 100)}})
        << "only the mounts lsof inspected";
    ASSERT_THAT(pids(blockers), ElementsAre(800));
    EXPECT_EQ(blockers[0].startTime, metadataOf(800).startTime) << "enriched like the others";
    EXPECT_EQ(blockers[0].openFiles, lost.openFiles);
    const auto main = std::this_thread::get_id();
    EXPECT_THAT(scanner_->threads, ElementsAre(Ne(main), Ne(main), Ne(main)))
        << "the system is read off the main thread";
}

TEST_F(LsofBlockerDiagnoserTest, ACancelledDiagnosisAsksTheKernelForNothing) {
    std::optional<testing::StartedTask<std::vector<BlockingProcess>>> run;
    runner_->answers.emplace_back([&run] {
        run->cancel();
        return CommandResult{1, "", ""};
    });
    run.emplace(executor_, diagnoser_.blockers(disk_, std::nullopt));
    ASSERT_TRUE(run->finish(executor_));
    EXPECT_TRUE(isCancellation(run->error()));
    EXPECT_TRUE(scanner_->scans.empty());
}

TEST_F(LsofBlockerDiagnoserTest, RunnerErrorsPassThroughAndAMissingLsofIsNamed) {
    runner_->fail(CommandLaunchError(EAGAIN));
    EXPECT_THROW(diagnose(), CommandLaunchError) << "a busy system is no missing program";
    for (const int error : {ENOENT, EACCES, ENOEXEC}) {
        runner_->fail(CommandLaunchError(error));
        EXPECT_EQ(outcome(), "missing: Tovo needs the lsof program to see which apps use the "
                             "disk. Install the \u201Clsof\u201D package, then try again.");
    }
}

// Init, Tovo itself, a pid already listed and one gone are never added.
TEST_F(LsofBlockerDiagnoserTest, TheDissenterIsAddedLastOnlyWhenPlausibleAndNew) {
    addLive({0, 1, ownPID, 500, 900});
    for (const auto dissenter : {900, 1, ownPID, 500, 901}) {
        runner_->answer({0, holder(500), ""});
        const auto blockers = diagnose(dissenter);
        EXPECT_EQ(pids(blockers), (dissenter == 900 ? std::vector{500, 900} : std::vector{500}))
            << dissenter;
        EXPECT_FALSE(blockers.front().isSystemDissent) << "a listed dissenter stays as lsof saw it";
    }

    // Unlisted, it is described from its metadata.
    disk_.volumes.clear();
    metadata_->parents[900] = ParentApplication{42, "Files", std::nullopt};
    const auto runs = runner_->calls.size();
    const std::vector<OpenFileReference> none;
    EXPECT_EQ(diagnose(900),
              std::vector{BlockingProcess(900, 42, "live900", 501u, std::nullopt, none,
                                          "/usr/bin/live900", metadataOf(900).startTime, true,
                                          ParentApplication(42, "Files", std::nullopt))});
    EXPECT_EQ(runner_->calls.size(), runs) << "a disk without mounts runs no command";
}

} // namespace
} // namespace tovo
