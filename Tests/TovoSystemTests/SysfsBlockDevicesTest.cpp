#include "TovoSystem/Linux/SysfsBlockDevices.hpp"

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/sysmacros.h>

namespace tovo {
namespace {

void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

// A disk with two partitions; an encrypted volume on the first carries an LVM
// volume whose holder link points back at the disk.
TEST(SysfsBlockDevicesTest, FamilyIsTheDiskItsPartitionsAndWhatIsBuiltOnThem) {
    testing::TemporaryFolder sys;
    const auto block = sys.path() / "class" / "block";
    for (const auto& [name, number] :
         std::vector<std::pair<std::string, std::string>>{{"sdz", "8:16\n"},
                                                          {"sdz1", "8:17\n"},
                                                          {"sdz2", "8:18\n"},
                                                          {"dm-3", "254:3\n"},
                                                          {"dm-4", "254:4\n"},
                                                          {"sdy", "8:0\n"}}) {
        write(block / name / "dev", number);
    }
    write(block / "sdz" / "diskseq", "41\n");
    write(block / "sdz" / "sdz1" / "partition", "1\n");
    write(block / "sdz" / "sdz2" / "partition", "2\n");
    write(block / "sdz" / "queue" / "dev", "0:0\n"); // a subfolder that is no partition
    std::filesystem::create_directories(block / "sdz" / "holders");
    std::filesystem::create_directories(block / "sdz1" / "holders" / "dm-3");
    std::filesystem::create_directories(block / "dm-3" / "holders" / "dm-4");
    std::filesystem::create_directories(block / "dm-4" / "holders" / "sdz");

    const SysfsBlockDevices sysfs(sys.path());
    EXPECT_EQ(sysfs.family("sdz"), (std::vector<BlockDevice>{{"sdz", makedev(8, 16)},
                                                             {"sdz1", makedev(8, 17)},
                                                             {"sdz2", makedev(8, 18)},
                                                             {"dm-3", makedev(254, 3)},
                                                             {"dm-4", makedev(254, 4)}}));
    EXPECT_EQ(sysfs.diskSequence("sdz"), 41u);
    EXPECT_EQ(sysfs.diskSequence("sdy"), std::nullopt);
    for (const auto* missing : {"sdq", "..", "sdz/sdz1"}) {
        EXPECT_EQ(sysfs.deviceNumber(missing), std::nullopt) << missing;
        EXPECT_TRUE(sysfs.family(missing).empty()) << missing;
    }
}

} // namespace
} // namespace tovo
