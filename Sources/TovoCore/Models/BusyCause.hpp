#pragma once

#include "TovoCore/Models/EjectionState.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// Why a disk stays busy when no process explains it, or not alone.
enum class BusyCauseKind {
    nestedMount,     ///< another file system mounted inside one of the disk's mount points
    bindMount,       ///< a folder of the disk mounted a second time elsewhere
    swap,            ///< a swap partition of the disk, or a swap file on it
    loopDevice,      ///< a loop device whose backing file lives on the disk
    holderDevice,    ///< a device-mapper, LVM, md or dm-crypt device built on a partition
    networkExport,   ///< a folder of the disk shared by the kernel's NFS server
    otherNamespace,  ///< the disk mounted in another mount namespace (a container, a sandbox)
    unseenProcesses, ///< processes Tovo is not allowed to see may hold it
};
std::string_view name(BusyCauseKind kind);

/// What kind of device a holder is.
enum class HolderKind { encrypted, logicalVolume, raid, deviceMapper };
std::string_view name(HolderKind kind);

/// What Tovo can do about a cause through udisks2, with the user's consent. Nothing
/// here is forced: no lazy unmount, no swapoff.
enum class BusyCauseAction {
    none,          ///< the user must act
    unmountNested, ///< Filesystem.Unmount of the nested file system
    detachLoop,    ///< unmount the image's file systems, then Loop.Delete
    lockEncrypted, ///< Encrypted.Lock of the container
};
std::string_view name(BusyCauseAction action);

struct BusyCausePlan {
    BusyCauseAction action;
    std::string message; ///< what Tovo will do, or what the user must do

    bool operator==(const BusyCausePlan&) const = default;
};

/// One reason the disk stays busy besides the processes that hold it.
struct BusyCause {
    BusyCauseKind kind;
    /// The disk's own device it rests on ("sdb1"); empty when not known.
    std::string device;
    /// What it is: the nested or second mount point, the swap file or partition, the
    /// loop or holder device ("/dev/loop3"), the exported folder, the mount point as
    /// the other namespace sees it; empty for unseen processes.
    std::string subject;
    std::optional<std::string> backingFile; ///< a loop device's backing file
    std::optional<HolderKind> holderKind;   ///< a holder device's kind
    std::optional<std::int32_t> processID;  ///< a process holding the other namespace
    std::optional<std::string> processName; ///< its command name
    BusyCausePlan plan;

    /// The same cause across diagnoses: its kind and what it is.
    std::string key() const;
    bool operator==(const BusyCause&) const = default;
};

/// What came of one approved cause action.
struct BusyCauseAttempt {
    std::string causeKey;
    ReleaseDisposition disposition; ///< requested: done; failed: the system refused
    std::string message;

    bool operator==(const BusyCauseAttempt&) const = default;
};

} // namespace tovo
