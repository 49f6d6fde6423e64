#pragma once

#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"

#include <filesystem>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace tovo {

/// One cause as the kernel shows it, before any plan, with the facts a plan needs.
struct ScannedCause {
    BusyCause cause;                ///< its plan still empty
    std::optional<dev_t> number;    ///< the nested file system's, loop's or holder's device
    bool isWholeBlockMount = false; ///< a nested mount of a block device's whole file system
    bool hasHolders = false;        ///< a holder that is itself held by another device
};

/// Where the scanner reads the kernel's tables.
struct BusyCauseRoots {
    std::filesystem::path proc = "/proc";
    std::filesystem::path sys = "/sys";
    std::filesystem::path dev = "/dev";
    /// The kernel's export table and exportfs's; the first that can be read wins.
    /// Empty: /proc/fs/nfsd/exports, else /var/lib/nfs/etab while nfsd is loaded.
    std::vector<std::filesystem::path> exportTables;
};

/// Reads what keeps a disk busy besides processes from the kernel's tables under
/// `proc` and `sys` (fixture folders in tests): mounts inside or of the disk, swap,
/// loop devices backed by files on it, holders of its partitions, NFS exports and
/// mounts in other mount namespaces. Blocking; never on the main thread.
class BusyCauseScanner {
public:
    explicit BusyCauseScanner(BusyCauseRoots roots = {})
        : roots_(std::move(roots)) {}

    /// Every cause found, grouped by kind in the order of `BusyCauseKind`.
    std::vector<ScannedCause> scan(const ExternalDisk& disk) const;
    /// Whether this process may see every process: root, and /proc without hidepid.
    bool seesAllProcesses(uid_t effectiveUserID) const;

    const BusyCauseRoots& roots() const { return roots_; }
    /// The device number of the file system at `mountPoint` in our namespace.
    std::optional<dev_t> mountedDevice(const std::string& mountPoint) const;

private:
    struct Context;
    void nestedAndBindMounts(Context& context) const;
    void swapAreas(Context& context) const;
    void loopDevices(Context& context) const;
    void holders(Context& context) const;
    void exports(Context& context) const;
    void otherNamespaces(Context& context) const;
    std::vector<std::filesystem::path> exportTables() const;

    BusyCauseRoots roots_;
};

} // namespace tovo
