#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

namespace tovo::testing {

/// Small, complete values for tests; adjust the fields a test is about.
inline DiskVolume makeVolume(std::string id, std::string mountPath = "/media/user/DISK") {
    return DiskVolume{id,        id,      std::nullopt, "DISK", std::move(mountPath),
                      1'000'000, 400'000, "ext4",       false};
}

inline ExternalDisk makeDisk(std::uint64_t attachment, std::string name = "DISK") {
    const auto number = std::to_string(attachment);
    auto volume = makeVolume("VOL-" + number, "/media/user/" + name);
    return {
        "attachment:" + number, name, "USB Disk", std::nullopt, attachment, "sdb", {volume}, {}};
}

inline BlockingProcess makeProcess(std::int32_t pid, std::string command = "editor") {
    const OpenFileReference file{"/media/user/DISK/a.txt", "12r", "REG", OpenAccess::read};
    const ProcessStartTime started{1'700'000'000, 250'000};
    return BlockingProcess{
        pid,     1000,  std::move(command), 1000u, "user", std::vector{file}, "/usr/bin/editor",
        started, false, std::nullopt};
}

} // namespace tovo::testing
