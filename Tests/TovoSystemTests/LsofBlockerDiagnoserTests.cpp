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
using testing::runToEnd;

constexpr std::int32_t ownPID = 777;

/// One process set of `lsof -F0pcuLftanR` output holding one file read-only.
std::string holder(std::int32_t pid, const std::string& path = "/media/user/DISK/a.txt") {
    using namespace std::string_literals;
    return "p" + std::to_string(pid) + "\0R1\0cholder"s + std::to_string(pid) +
           "\0u1000\0Luser\0\nf3\0ar\0tREG\0n"s + path + "\0\n"s;
}

std::vector<std::int32_t> pids(const std::vector<BlockingProcess>& processes) {
    std::vector<std::int32_t> result;
    for (const auto& process : processes) {
        result.push_back(process.pid);
    }
    return result;
}

ProcessMetadata metadataOf(std::int32_t pid) {
    const auto n = std::to_string(pid);
    const ProcessStartTime start{1'700'000'000u + static_cast<std::uint64_t>(pid), 5};
    return {pid, 42, 501, "live" + n, "/usr/bin/live" + n, start};
}

class LsofBlockerDiagnoserTest : public ::testing::Test {
protected:
    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt) {
        return runToEnd(executor_, diagnoser_.blockers(disk_, dissenter));
    }
    void addSecondVolume() {
        disk_.volumes.push_back(testing::makeVolume("VOL-2", "/media/user/DATA"));
    }

    ManualExecutor executor_;
    std::shared_ptr<testing::FakeCommandRunner> runner_ =
        std::make_shared<testing::FakeCommandRunner>();
    std::shared_ptr<testing::FakeProcessMetadataProvider> metadata_ =
        std::make_shared<testing::FakeProcessMetadataProvider>();
    LsofBlockerDiagnoser diagnoser_{runner_, LsofFieldParser(), metadata_, ownPID};
    ExternalDisk disk_ = testing::makeDisk(7);
};

TEST_F(LsofBlockerDiagnoserTest, RunsLsofPerMountAndMergesByPidInFirstSeenOrder) {
    addSecondVolume();
    runner_->answer({0, holder(500) + holder(600), ""});
    runner_->answer({0, holder(700, "/media/user/DATA/b") + holder(500, "/media/user/DATA/c"), ""});
    const auto blockers = diagnose();
    EXPECT_THAT(pids(blockers), ElementsAre(500, 600, 700));
    EXPECT_EQ(blockers[0].openFiles.size(), 2u);

    ASSERT_EQ(runner_->calls.size(), 2u);
    EXPECT_TRUE(runner_->calls[0].executable.is_absolute());
    EXPECT_EQ(runner_->calls[0].executable.filename(), "lsof");
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
};

class LsofExitStatus : public LsofBlockerDiagnoserTest,
                       public ::testing::WithParamInterface<StatusCase> {};

TEST_P(LsofExitStatus, DecidesWhetherTheListCanBeTrusted) {
    const auto& row = GetParam();
    runner_->answer({row.status, row.output, row.standardError});
    try {
        EXPECT_EQ(diagnose().size(), row.processCount);
        EXPECT_FALSE(row.error) << "expected a diagnosis error";
    } catch (const DiagnosisError& error) {
        EXPECT_EQ(error.kind, row.error);
        EXPECT_EQ(error.description(), row.description);
    }
}

constexpr auto failed = DiagnosisError::Kind::lsofFailed;
constexpr auto incomplete = DiagnosisError::Kind::incompleteOutput;
const std::string couldNotInspect = "macOS could not inspect the disk.";

INSTANTIATE_TEST_SUITE_P(
    Table, LsofExitStatus,
    ::testing::Values(
        StatusCase{"ZeroWithAWarning", 0, holder(500) + holder(600), "lsof: WARNING", {}, "", 2},
        StatusCase{"OneQuietAndEmptyMeansNothingOpen", 1, "", "", {}, "", 0},
        StatusCase{"OneListingOnlyUs", 1, holder(ownPID), "", {}, "", 0},
        StatusCase{"GarbageOutput", 1, "garbage\nwithout fields", "", {}, "", 0},
        StatusCase{"OneWithAComplaint", 1, "", "\n lsof: status error on /x \n", failed,
                   "lsof: status error on /x", 0},
        StatusCase{"OtherStatusQuiet", 2, "garbage", "", failed, couldNotInspect, 0},
        StatusCase{"PartialQuiet", 1, holder(500), "", incomplete,
                   "macOS returned an incomplete process list.", 0},
        StatusCase{"PartialWithAComplaint", 2, holder(500), "  lsof: can't read kernel  \n",
                   incomplete, "macOS returned an incomplete process list. lsof: can't read kernel",
                   0}),
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
    EXPECT_EQ(blockers[1], parsed[1]) << "a process gone before enrichment stays as parsed";
}

TEST_F(LsofBlockerDiagnoserTest, NeverListsTovoItself) {
    runner_->answer({0, holder(ownPID) + holder(500), ""});
    metadata_->add(metadataOf(ownPID));
    EXPECT_THAT(pids(diagnose(ownPID)), ElementsAre(500));
    EXPECT_THAT(metadata_->metadataQueries, ::testing::Not(::testing::Contains(ownPID)));
}

TEST_F(LsofBlockerDiagnoserTest, FailuresOnAnyMountAndRunnerErrorsPassThrough) {
    addSecondVolume();
    runner_->answer({0, holder(500), ""});
    runner_->answer({2, "", "boom"});
    EXPECT_THROW(diagnose(), DiagnosisError) << "what earlier mounts found is discarded";
    runner_->fail(CommandRunnerError(CommandRunnerError::Kind::timedOut));
    EXPECT_THROW(diagnose(), CommandRunnerError);
    runner_->fail(CancellationError());
    EXPECT_THROW(diagnose(), CancellationError);
}

struct DissentCase {
    const char* name;
    std::optional<std::int32_t> dissenter;
    std::vector<std::int32_t> expected;
};

class LsofDissenter : public LsofBlockerDiagnoserTest,
                      public ::testing::WithParamInterface<DissentCase> {};

TEST_P(LsofDissenter, IsAddedLastOnlyWhenPlausibleAndNew) {
    runner_->answer({0, holder(500), ""});
    for (const auto pid : {0, 1, ownPID, 500, 900}) {
        metadata_->add(metadataOf(pid));
    }
    const auto blockers = diagnose(GetParam().dissenter);
    EXPECT_THAT(pids(blockers), ::testing::ElementsAreArray(GetParam().expected));
    EXPECT_FALSE(blockers.front().isSystemDissent) << "a listed dissenter stays as lsof saw it";
}

INSTANTIATE_TEST_SUITE_P(Ids, LsofDissenter,
                         ::testing::Values(DissentCase{"New", 900, {500, 900}},
                                           DissentCase{"Init", 1, {500}},
                                           DissentCase{"Tovo", ownPID, {500}},
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
    const BlockingProcess expected{900,
                                   42,
                                   "live900",
                                   501u,
                                   std::nullopt,
                                   {},
                                   "/usr/bin/live900",
                                   ProcessStartTime{1'700'000'900u, 5},
                                   true,
                                   ParentApplication{42, "Files", std::nullopt}};
    EXPECT_EQ(blockers[0], expected);
}

} // namespace
} // namespace tovo
