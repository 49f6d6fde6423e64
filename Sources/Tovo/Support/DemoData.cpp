#include "Tovo/Support/DemoData.hpp"

namespace tovo::DemoData {

const ExternalDisk& disk() {
    static const ExternalDisk value{
        "demo-disk",
        "345-BACKUP",
        "External SSD",
        std::nullopt,
        std::nullopt,
        "disk9",
        {DiskVolume{"demo-volume", std::nullopt, std::nullopt, "345-BACKUP", "/Volumes/345-BACKUP",
                    1'000'000'000'000, 428'000'000'000, "APFS", false}},
        1'000'000'000'000};
    return value;
}

const std::vector<BlockingProcess>& tovoableBlockers() {
    static const std::vector<BlockingProcess> value{
        BlockingProcess{63120,
                        1,
                        "Preview",
                        501u,
                        "user",
                        {OpenFileReference{"/Volumes/345-BACKUP/Reference/cover-art.png", "18",
                                           "REG", OpenAccess::read}},
                        "/System/Applications/Preview.app/Contents/MacOS/Preview",
                        ProcessStartTime{1787089200, 0},
                        false,
                        std::nullopt}};
    return value;
}

const std::vector<BlockingProcess>& protectedBlockers() {
    static const std::vector<BlockingProcess> value{BlockingProcess{
        90294,
        1,
        "com.apple.Virtualization.VirtualMachine",
        501u,
        "user",
        {OpenFileReference{"/Volumes/345-BACKUP/Virtual Machines/Studio.bundle/Disk.img", "32",
                           "REG", OpenAccess::read},
         OpenFileReference{"/Volumes/345-BACKUP/Virtual Machines/Studio.bundle/Config.json", "35",
                           "REG", OpenAccess::read}},
        std::nullopt,
        std::nullopt,
        false,
        std::nullopt}};
    return value;
}

const std::vector<BusyCause>& layeredCauses() {
    static const std::vector<BusyCause> value{
        BusyCause{BusyCauseKind::nestedMount,
                  "disk9s1",
                  "/Volumes/345-BACKUP/Projects/build-cache",
                  std::nullopt,
                  std::nullopt,
                  std::nullopt,
                  std::nullopt,
                  {BusyCauseAction::unmountNested,
                   "Tovo will ask the system to unmount it. Nothing is forced."}},
        BusyCause{BusyCauseKind::loopDevice,
                  "disk9s1",
                  "/dev/loop3",
                  "/Volumes/345-BACKUP/Images/Installer.img",
                  std::nullopt,
                  std::nullopt,
                  std::nullopt,
                  {BusyCauseAction::detachLoop,
                   "Tovo will ask the system to unmount the disk image and detach it."}}};
    return value;
}

} // namespace tovo::DemoData
