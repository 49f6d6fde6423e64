#include "Support/ModelBuilders.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"
#include "TovoTerminal/DiskArgument.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

// Two disks: sdb with two partitions and an encrypted volume on the second, sdc.
class DiskArgumentTest : public ::testing::Test {
protected:
    DiskArgumentTest() {
        auto first = makeDisk(1, "BACKUP");
        first.volumes = {makeVolume("A", "/media/user/BACKUP"),
                         makeVolume("B", (folder_.path() / "Photos").string())};
        first.volumes[1].name = "Photos";
        auto second = makeDisk(2, "CAMERA");
        second.wholeDiskIdentifier = "sdc";
        disks_ = {first, second};
        std::filesystem::create_directories(folder_.path() / "Photos");
        std::filesystem::create_directory_symlink(folder_.path() / "Photos",
                                                  folder_.path() / "link");
    }

    std::string resolve(const std::string& argument) const {
        const auto result = resolveDiskArgument(argument, disks_, [](const ExternalDisk& disk) {
            if (disk.wholeDiskIdentifier == "sdb") {
                return std::vector<std::string>{"sdb", "sdb1", "sdb2", "dm-3"};
            }
            return wholeDiskDeviceName(disk);
        });
        if (const auto* error = std::get_if<DiskArgumentError>(&result)) {
            return (error->kind == DiskArgumentError::Kind::ambiguous ? "ambiguous: " : "none: ") +
                   error->message;
        }
        return std::get<ExternalDisk>(result).id;
    }

    TemporaryFolder folder_;
    std::vector<ExternalDisk> disks_;
};

TEST_F(DiskArgumentTest, FindsADiskByEachOfItsNames) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"attachment:2", "attachment:2"},
        {"/dev/sdb", "attachment:1"},
        {"/dev/sdb2", "attachment:1"},
        {"/dev/dm-3", "attachment:1"},
        {"/dev/sdc", "attachment:2"},
        {"sdb1", "attachment:1"},
        {"/media/user/BACKUP", "attachment:1"},
        {"/media/user/BACKUP/", "attachment:1"},
        {"/media/user/./BACKUP", "attachment:1"},
        {(folder_.path() / "link").string(), "attachment:1"},
        {"CAMERA", "attachment:2"},
        {"Photos", "attachment:1"},
    };
    for (const auto& [argument, id] : rows) {
        EXPECT_EQ(resolve(argument), id) << argument;
    }
}

TEST_F(DiskArgumentTest, RefusesWhatNamesNoDiskOrMoreThanOne) {
    EXPECT_EQ(resolve("/dev/sdd"), "none: No external disk matches \u201C/dev/sdd\u201D. Run "
                                   "\u201Ctovo list\u201D to see them.");
    EXPECT_THAT(resolve("/media/user/BACKUP/folder"), ::testing::StartsWith("none: "));
    EXPECT_THAT(resolve("attachment"), ::testing::StartsWith("none: "));
    // Both disks have a volume named "DISK".
    EXPECT_EQ(resolve("DISK"), "ambiguous: \u201CDISK\u201D names more than one disk "
                               "(attachment:1, attachment:2). Name one by its id.");
}

} // namespace
} // namespace tovo
