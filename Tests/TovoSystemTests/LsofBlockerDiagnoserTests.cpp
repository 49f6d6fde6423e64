#include "Support/FakeCommandRunner.hpp"
#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::FakeCommandRunner;
using testing::FakeProcessMetadataProvider;
using testing::runToEnd;

constexpr std::int32_t ownPID = 777;

struct File {
    std::string descriptor;
    std::string access;
    std::string name;
};

/// One process set of `lsof -F0pcuLftanR` output.
std::string lsofSet(std::int32_t pid, const std::string& command, const std::vector<File>& files) {
    using namespace std::string_literals;
    std::string out = "p" + std::to_string(pid) + "\0R1\0c"s + command + "\0u1000\0Luser\0\n"s;
    for (const auto& file : files) {
        out += "f" + file.descriptor + "\0a"s + file.access + "\0tREG\0n"s + file.name + "\0\n"s;
    }
    return out;
}

std::string holder(std::int32_t pid, const std::string& path = "/media/user/DISK/a.txt") {
    return lsofSet(pid, "holder" + std::to_string(pid), {{"3", "r", path}});
}

std::vector<std::int32_t> pids(const std::vector<BlockingProcess>& processes) {
    std::vector<std::int32_t> result;
    for (const auto& process : processes) {
        result.push_back(process.pid);
    }
    return result;
}

class LsofBlockerDiagnoserTest : public ::testing::Test {
protected:
    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt) {
        return runToEnd(executor_, diagnoser_.blockers(disk_, dissenter));
    }

    ProcessMetadata metadataOf(std::int32_t pid) {
        return ProcessMetadata{
            pid,
            42,
            501,
            "live" + std::to_string(pid),
            "/usr/bin/live" + std::to_string(pid),
            ProcessStartTime{1'700'000'000u + static_cast<std::uint64_t>(pid), 5}};
    }

    void addTwoVolumes() {
        disk_.volumes.push_back(testing::makeVolume("VOL-2", "/media/user/DATA"));
    }

    ManualExecutor executor_;
    std::shared_ptr<FakeCommandRunner> runner_ = std::make_shared<FakeCommandRunner>();
    std::shared_ptr<FakeProcessMetadataProvider> metadata_ =
        std::make_shared<FakeProcessMetadataProvider>();
    LsofBlockerDiagnoser diagnoser_{runner_, LsofFieldParser(), metadata_, ownPID};
    ExternalDisk disk_ = testing::makeDisk(7);
};

TEST_F(LsofBlockerDiagnoserTest, RunsLsofOncePerMountByAbsolutePathWithExactArguments) {
    addTwoVolumes();
    runToEnd(executor_, diagnoser_.blockers(disk_));

    ASSERT_EQ(runner_->calls.size(), 2u);
    for (const auto& call : runner_->calls) {
        EXPECT_TRUE(call.executable.is_absolute());
        EXPECT_EQ(call.executable.filename(), "lsof");
        EXPECT_EQ(call.executable, LsofBlockerDiagnoser::lsofExecutable());
    }
    EXPECT_THAT(runner_->calls[0].arguments, ElementsAre("-S", "2", "-nP", "-F0pcuLftanR", "+c",
                                                         "0", "+f", "--", "/media/user/DISK"));
    EXPECT_EQ(runner_->calls[1].arguments.back(), "/media/user/DATA");
}

struct StatusCase {
    const char* name;
    std::int32_t status;
    std::string output;
    std::string standardError;
    std::optional<DiagnosisError::Kind> error; ///< none: accepted
    std::string description;                   ///< of the error
    std::size_t processCount;                  ///< when accepted
    friend void PrintTo(const StatusCase& c, std::ostream* os) { *os << c.name; }
};

class LsofExitStatus : public LsofBlockerDiagnoserTest,
                       public ::testing::WithParamInterface<StatusCase> {};

TEST_P(LsofExitStatus, DecidesWhetherTheListCanBeTrusted) {
    const auto& row = GetParam();
    runner_->answer({row.status, row.output, row.standardError});
    if (!row.error) {
        EXPECT_EQ(diagnose().size(), row.processCount);
        return;
    }
    try {
        diagnose();
        FAIL() << "expected a diagnosis error";
    } catch (const DiagnosisError& error) {
        EXPECT_EQ(error.kind, *row.error);
        EXPECT_EQ(error.description(), row.description);
    }
}

constexpr auto failed = DiagnosisError::Kind::lsofFailed;
constexpr auto incomplete = DiagnosisError::Kind::incompleteOutput;

INSTANTIATE_TEST_SUITE_P(
    Table, LsofExitStatus,
    ::testing::Values(
        StatusCase{"ZeroWithProcesses", 0, holder(500) + holder(600), "", {}, "", 2},
        StatusCase{"ZeroWithAWarning", 0, holder(500), "lsof: WARNING: can't stat()", {}, "", 1},
        StatusCase{"ZeroWithNothing", 0, "", "", {}, "", 0},
        StatusCase{"OneQuietAndEmptyMeansNothingOpen", 1, "", "", {}, "", 0},
        StatusCase{"OneListingOnlyUs", 1, holder(ownPID), "", {}, "", 0},
        StatusCase{"OneWithAComplaint", 1, "", "\n lsof: status error on /x: not a file system \n",
                   failed, "lsof: status error on /x: not a file system", 0},
        StatusCase{"OtherStatusQuiet", 2, "", "", failed, "macOS could not inspect the disk.", 0},
        StatusCase{"KilledBySignal", 15, "", "", failed, "macOS could not inspect the disk.", 0},
        StatusCase{"PartialQuiet", 1, holder(500), "", incomplete,
                   "macOS returned an incomplete process list.", 0},
        StatusCase{"PartialWithAComplaint", 2, holder(500), "  lsof: can't read kernel  \n",
                   incomplete, "macOS returned an incomplete process list. lsof: can't read kernel",
                   0},
        StatusCase{"GarbageOutput", 1, "garbage\nwithout fields", "", {}, "", 0},
        StatusCase{"GarbageWithStatusTwo", 2, "garbage", "", failed,
                   "macOS could not inspect the disk.", 0}),
    [](const auto& info) { return info.param.name; });

TEST_F(LsofBlockerDiagnoserTest, EnrichesWithTheLiveIdentityOrKeepsTheParsedProcess) {
    const auto output = holder(500) + holder(600);
    runner_->answer({0, output, ""});
    metadata_->add(metadataOf(500));
    metadata_->parents[500] = ParentApplication{42, "Files", "org.example.Files"};

    const auto blockers = diagnose();
    const auto parsed = LsofFieldParser().parse(output);
    ASSERT_EQ(blockers.size(), 2u);
    EXPECT_EQ(blockers[0], parsed[0].withExecutionIdentity(
                               "/usr/bin/live500", ProcessStartTime{1'700'000'500u, 5},
                               ParentApplication{42, "Files", "org.example.Files"}));
    EXPECT_EQ(blockers[0].command, "holder500") << "lsof's command name stays";
    EXPECT_EQ(blockers[1], parsed[1]) << "a process gone before enrichment stays as parsed";
}

TEST_F(LsofBlockerDiagnoserTest, NeverListsTovoItself) {
    runner_->answer({0, holder(ownPID) + holder(500), ""});
    metadata_->add(metadataOf(ownPID));
    EXPECT_THAT(pids(diagnose(ownPID)), ElementsAre(500));
    EXPECT_THAT(metadata_->metadataQueries, ::testing::Not(::testing::Contains(ownPID)));
}

TEST_F(LsofBlockerDiagnoserTest, MergesVolumesByPidInFirstSeenOrder) {
    addTwoVolumes();
    runner_->answer({0, holder(500) + holder(600), ""});
    runner_->answer({0, holder(700, "/media/user/DATA/b") + holder(500, "/media/user/DATA/c"), ""});

    const auto blockers = diagnose();
    EXPECT_THAT(pids(blockers), ElementsAre(500, 600, 700));
    std::vector<std::string> paths;
    for (const auto& file : blockers[0].openFiles) {
        paths.push_back(file.path);
    }
    EXPECT_THAT(paths,
                ::testing::UnorderedElementsAre("/media/user/DISK/a.txt", "/media/user/DATA/c"));
}

TEST_F(LsofBlockerDiagnoserTest, AFailureOnALaterMountDiscardsWhatEarlierOnesFound) {
    addTwoVolumes();
    runner_->answer({0, holder(500), ""});
    runner_->answer({2, "", "boom"});
    EXPECT_THROW(diagnose(), DiagnosisError);
}

TEST_F(LsofBlockerDiagnoserTest, RunnerErrorsPassThroughUnchanged) {
    runner_->fail(CommandRunnerError(CommandRunnerError::Kind::timedOut));
    try {
        diagnose();
        FAIL() << "expected the runner's error";
    } catch (const CommandRunnerError& error) {
        EXPECT_EQ(error.kind, CommandRunnerError::Kind::timedOut);
    }
    runner_->fail(CancellationError());
    EXPECT_THROW(diagnose(), CancellationError);
}

struct DissentCase {
    const char* name;
    std::optional<std::int32_t> dissenter;
    std::vector<std::int32_t> expected;
    friend void PrintTo(const DissentCase& c, std::ostream* os) { *os << c.name; }
};

class LsofDissenter : public LsofBlockerDiagnoserTest,
                      public ::testing::WithParamInterface<DissentCase> {};

TEST_P(LsofDissenter, IsAddedLastOnlyWhenPlausibleAndNew) {
    runner_->answer({0, holder(500), ""});
    for (const auto pid : {0, 1, ownPID, 500, 900}) {
        metadata_->add(metadataOf(pid));
    }
    const auto blockers = diagnose(GetParam().dissenter);
    EXPECT_THAT(pids(blockers), ElementsAreArray(GetParam().expected));
    EXPECT_FALSE(blockers.front().isSystemDissent) << "a listed dissenter stays as lsof saw it";
}

INSTANTIATE_TEST_SUITE_P(
    Ids, LsofDissenter,
    ::testing::Values(DissentCase{"None", std::nullopt, {500}}, DissentCase{"New", 900, {500, 900}},
                      DissentCase{"Kernel", 0, {500}}, DissentCase{"Init", 1, {500}},
                      DissentCase{"Negative", -900, {500}}, DissentCase{"Tovo", ownPID, {500}},
                      DissentCase{"AlreadyListed", 500, {500}},
                      DissentCase{"Vanished", 901, {500}}),
    [](const auto& info) { return info.param.name; });

TEST_F(LsofBlockerDiagnoserTest, TheDissenterIsDescribedFromItsMetadata) {
    disk_.volumes.clear();
    metadata_->add(metadataOf(900));
    metadata_->parents[900] = ParentApplication{42, "Files", std::nullopt};

    const auto blockers = diagnose(900);
    EXPECT_TRUE(runner_->calls.empty()) << "a disk without mounts runs no command";
    ASSERT_EQ(blockers.size(), 1u);
    EXPECT_EQ(blockers[0], (BlockingProcess{900,
                                            42,
                                            "live900",
                                            501u,
                                            std::nullopt,
                                            {},
                                            "/usr/bin/live900",
                                            ProcessStartTime{1'700'000'900u, 5},
                                            true,
                                            ParentApplication{42, "Files", std::nullopt}}));
}

} // namespace
} // namespace tovo
