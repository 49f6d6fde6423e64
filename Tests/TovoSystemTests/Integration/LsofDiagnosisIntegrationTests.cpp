#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

namespace tovo {
namespace {

using testing::TemporaryFolder;
using testing::TestChild;

// Real lsof over a tmpfs; what it finds on a real disk is covered end to end.
class RealLsofDiagnosis : public ::testing::Test {
protected:
    void SetUp() override {
        if (!testing::isRoot()) {
            GTEST_SKIP() << "mounting a tmpfs to hold busy needs root";
        }
        ASSERT_TRUE(mount_.isMounted());
        disk_.volumes[0].mountURL = mount_.path();
    }

    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt) {
        return testing::runToEnd(executor_, diagnoser_.blockers(disk_, dissenter));
    }

    ManualExecutor executor_;
    testing::TmpfsMount mount_;
    std::shared_ptr<SystemProcessMetadataProvider> metadata_ =
        std::make_shared<SystemProcessMetadataProvider>(
            std::make_shared<testing::FakeApplicationRegistry>());
    LsofBlockerDiagnoser diagnoser_{
        std::make_shared<SystemCommandRunner>(executor_, SystemCommandRunner::productionTimeout),
        LsofFieldParser(), metadata_};
    ExternalDisk disk_ = testing::makeDisk(9, "TOVO");
};

TEST_F(RealLsofDiagnosis, LeavesTovoOutAndAddsTheDissenterLast) {
    EXPECT_TRUE(diagnose().empty()) << "an idle mount has no blockers";
    TemporaryFolder pids;
    TestChild writer({testing::helperProgram("holder_write"), mount_.path() / "draft.txt",
                      pids.path() / "writer"});
    const auto writerPID = testing::awaitPidFile(pids.path() / "writer");
    ASSERT_EQ(writerPID, writer.pid());
    TestChild bystander({"/bin/sleep", "10"});
    // The test process plays Tovo and holds a file of its own on the mount.
    const int own =
        ::open((mount_.path() / "own.txt").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(own, 0);

    const auto blockers = diagnose(bystander.pid());
    ::close(own);

    ASSERT_EQ(blockers.size(), 2u);
    EXPECT_EQ(blockers[0].pid, writerPID);
    EXPECT_EQ(blockers[1].pid, bystander.pid());
    EXPECT_TRUE(blockers[1].isSystemDissent);
    EXPECT_TRUE(blockers[1].openFiles.empty());
    EXPECT_EQ(blockers[1].startTime, metadata_->metadata(bystander.pid())->startTime);
}

TEST_F(RealLsofDiagnosis, AnUnusablePathIsAnLsofFailureWithItsComplaint) {
    disk_.volumes[0].mountURL = mount_.path() / "nowhere";
    try {
        diagnose();
        FAIL() << "lsof must refuse a path that does not exist";
    } catch (const DiagnosisError& error) {
        EXPECT_EQ(error.kind, DiagnosisError::Kind::lsofFailed);
        EXPECT_THAT(error.description(), ::testing::HasSubstr("nowhere"));
    }
}

} // namespace
} // namespace tovo
