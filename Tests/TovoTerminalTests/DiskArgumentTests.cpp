#include "Support/ModelBuilders.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"
#include "TovoTerminal/DiskArgument.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

// Two disks: sdb with two partitions and an encrypted volume on the second, sdc. Each
// row is an argument and the disk it names, or the refusal.
TEST(DiskArgumentTest, FindsADiskByEachOfItsNamesAndRefusesWhatNamesNoneOrMoreThanOne) {
    TemporaryFolder folder;
    std::filesystem::create_directories(folder.path() / "Photos");
    std::filesystem::create_directory_symlink(folder.path() / "Photos", folder.path() / "link");
    auto first = makeDisk(1, "BACKUP");
    first.volumes = {makeVolume("A", "/media/user/BACKUP"),
                     makeVolume("B", (folder.path() / "Photos").string())};
    first.volumes[1].name = "Photos";
    auto second = makeDisk(2, "CAMERA");
    second.wholeDiskIdentifier = "sdc";
    const auto resolve = [&](const std::string& argument) -> std::string {
        const auto result = resolveDiskArgument(argument, {first, second}, [](const auto& disk) {
            return disk.wholeDiskIdentifier == "sdb"
                       ? std::vector<std::string>{"sdb", "sdb1", "sdb2", "dm-3"}
                       : wholeDiskDeviceName(disk);
        });
        if (const auto* error = std::get_if<DiskArgumentError>(&result)) {
            return (error->kind == DiskArgumentError::Kind::ambiguous ? "ambiguous: " : "none: ") +
                   error->message;
        }
        return std::get<ExternalDisk>(result).id;
    };
    const std::string one = "attachment:1", two = "attachment:2", none = "none: No external disk";
    using Row = std::pair<std::string, std::string>;
    for (const auto& [argument, expected] :
         {Row{two, two}, Row{"/dev/sdb", one}, Row{"/dev/sdb2", one}, Row{"/dev/dm-3", one},
          Row{"sdb1", one}, Row{"/media/user/./BACKUP/", one},
          Row{(folder.path() / "link").string(), one}, Row{"CAMERA", two}, Row{"Photos", one},
          Row{"/dev/sdd",
              none + " matches \u201C/dev/sdd\u201D. Run \u201Ctovo list\u201D to see them."},
          Row{"/media/user/BACKUP/folder", none}, Row{"attachment", none},
          // Both disks have a volume named "DISK".
          Row{"DISK", "ambiguous: \u201CDISK\u201D names more than one disk (attachment:1, "
                      "attachment:2). Name one by its id."}}) {
        EXPECT_EQ(resolve(argument).substr(0, expected.size()), expected) << argument;
    }
}

} // namespace
} // namespace tovo
