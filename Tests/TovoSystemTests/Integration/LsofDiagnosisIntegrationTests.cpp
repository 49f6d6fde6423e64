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

using testing::awaitPidFile;
using ::testing::ElementsAre;
using testing::helperProgram;
using testing::runToEnd;
using testing::TemporaryFolder;
using testing::TestChild;

class RealLsofDiagnosis : public ::testing::Test {
protected:
    void SetUp() override {
        if (!testing::isRoot()) {
            GTEST_SKIP() << "mounting a tmpfs to hold busy needs root";
        }
        if (!std::filesystem::exists(LsofBlockerDiagnoser::lsofExecutable())) {
            GTEST_SKIP() << "lsof is not installed";
        }
        mount_.emplace();
        ASSERT_TRUE(mount_->isMounted());
        disk_.volumes[0].mountURL = mount_->path();
    }

    void TearDown() override {
        holders_.clear(); // killed and reaped before the tmpfs is unmounted
        mount_.reset();
    }

    /// Starts a helper and waits until it holds the mount.
    pid_t startHolder(const std::string& program, const std::filesystem::path& target) {
        const auto pidFile = pidFiles_.path() / std::to_string(holders_.size());
        holders_.push_back(std::make_unique<TestChild>(
            std::vector<std::string>{helperProgram(program), target, pidFile}));
        return awaitPidFile(pidFile);
    }

    std::vector<BlockingProcess> diagnose(std::optional<std::int32_t> dissenter = std::nullopt) {
        return runToEnd(executor_, diagnoser_.blockers(disk_, dissenter));
    }

    const BlockingProcess& find(const std::vector<BlockingProcess>& processes, pid_t pid) {
        const auto found = std::ranges::find(processes, pid, &BlockingProcess::pid);
        if (found == processes.end()) {
            throw std::runtime_error("pid " + std::to_string(pid) + " not listed");
        }
        return *found;
    }

    ManualExecutor executor_;
    std::optional<testing::TmpfsMount> mount_;
    TemporaryFolder pidFiles_;
    std::vector<std::unique_ptr<TestChild>> holders_;
    std::shared_ptr<SystemProcessMetadataProvider> metadata_ =
        std::make_shared<SystemProcessMetadataProvider>(
            std::make_shared<testing::FakeApplicationRegistry>());
    LsofBlockerDiagnoser diagnoser_{
        std::make_shared<SystemCommandRunner>(executor_, SystemCommandRunner::productionTimeout),
        LsofFieldParser(), metadata_};
    ExternalDisk disk_ = testing::makeDisk(9, "TOVO");
};

TEST_F(RealLsofDiagnosis, FindsAWorkingFolderHolderAndAWriter) {
    EXPECT_TRUE(diagnose().empty()) << "an idle mount has no blockers";
    const auto folder = mount_->path() / "Project Files";
    std::filesystem::create_directory(folder);
    const auto inFolder = startHolder("holder_cwd", folder);
    const auto writer = startHolder("holder_write", mount_->path() / "notes.txt");
    ASSERT_GT(inFolder, 0);
    ASSERT_GT(writer, 0);

    const auto blockers = diagnose();

    ASSERT_EQ(blockers.size(), 2u);
    const auto& cwdHolder = find(blockers, inFolder);
    EXPECT_EQ(cwdHolder.command, "holder_cwd");
    EXPECT_THAT(cwdHolder.openFiles,
                ElementsAre(OpenFileReference{folder.string(), "cwd", "DIR", OpenAccess::unknown}));

    const auto& fileWriter = find(blockers, writer);
    EXPECT_EQ(fileWriter.command, "holder_write");
    ASSERT_EQ(fileWriter.openFiles.size(), 1u);
    const auto& file = fileWriter.openFiles[0];
    EXPECT_THAT(file.descriptor, ::testing::Optional(::testing::MatchesRegex("[0-9]+")));
    EXPECT_EQ(file, (OpenFileReference{(mount_->path() / "notes.txt").string(), file.descriptor,
                                       "REG", OpenAccess::write}));

    for (const auto& process : blockers) {
        EXPECT_EQ(std::tie(process.parentPID, process.userID, process.isSystemDissent),
                  std::make_tuple(::getpid(), ::getuid(), false));
        EXPECT_EQ(process.executablePath,
                  std::filesystem::canonical(helperProgram(process.command)).string());
        EXPECT_EQ(process.startTime, metadata_->metadata(process.pid)->startTime);
    }
}

TEST_F(RealLsofDiagnosis, LeavesTovoOutAndAddsTheDissenterLast) {
    const auto writer = startHolder("holder_write", mount_->path() / "draft.txt");
    ASSERT_GT(writer, 0);
    TestChild bystander({"/bin/sleep", "10"});
    // The test process plays Tovo and holds a file of its own on the mount.
    const int own =
        ::open((mount_->path() / "own.txt").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(own, 0);

    const auto blockers = diagnose(bystander.pid());
    ::close(own);

    ASSERT_EQ(blockers.size(), 2u);
    EXPECT_EQ(blockers[0].pid, writer);
    EXPECT_EQ(blockers[1].pid, bystander.pid());
    EXPECT_TRUE(blockers[1].isSystemDissent);
    EXPECT_TRUE(blockers[1].openFiles.empty());
    EXPECT_EQ(blockers[1].startTime, metadata_->metadata(bystander.pid())->startTime);
}

TEST_F(RealLsofDiagnosis, AnUnusablePathIsAnLsofFailureWithItsComplaint) {
    TemporaryFolder plain;
    disk_.volumes[0].mountURL = plain.path() / "nowhere";
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
