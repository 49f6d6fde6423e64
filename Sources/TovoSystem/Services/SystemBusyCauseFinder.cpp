#include "TovoSystem/Services/SystemBusyCauseFinder.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"
#include "TovoSystem/Services/Unmounter.hpp"

#include <algorithm>

namespace tovo {

namespace {

std::string quoted(const std::string& text) {
    return "“" + text + "”";
}

const UDisks2Block* blockNumbered(const std::vector<UDisks2Block>& blocks, dev_t number) {
    const auto found = std::ranges::find(blocks, number, &UDisks2Block::deviceNumber);
    return found == blocks.end() ? nullptr : &*found;
}

BusyCausePlan manual(std::string message) {
    return {BusyCauseAction::none, std::move(message)};
}

// What the user does when Tovo may not act; plain steps, the command for those who
// want it.
BusyCausePlan userPlan(const BusyCause& cause) {
    const auto& subject = cause.subject;
    switch (cause.kind) {
    case BusyCauseKind::nestedMount:
    case BusyCauseKind::bindMount:
        return manual("Unmount " + quoted(subject) + " (umount), then try again.");
    case BusyCauseKind::swap:
        return manual("Turn this swap off as an administrator (swapoff " + quoted(subject) +
                      "), then try again. Tovo never turns swap off.");
    case BusyCauseKind::loopDevice:
        return manual("Unmount the disk image, then detach it (losetup -d " + subject +
                      "), then try again.");
    case BusyCauseKind::holderDevice:
        switch (cause.holderKind.value_or(HolderKind::deviceMapper)) {
        case HolderKind::encrypted:
            return manual("Close what is open inside " + quoted(subject) +
                          ", then lock it (cryptsetup close), then try again.");
        case HolderKind::logicalVolume:
            return manual("Deactivate the volume group of " + quoted(subject) +
                          " as an administrator (vgchange -an), then try again.");
        case HolderKind::raid:
            return manual("Stop the array " + quoted(subject) +
                          " as an administrator (mdadm --stop), then try again.");
        case HolderKind::deviceMapper:
            break;
        }
        return manual("Remove " + quoted(subject) +
                      " as an administrator (dmsetup remove), then try again.");
    case BusyCauseKind::networkExport:
        return manual("Stop sharing " + quoted(subject) +
                      " over the network: remove it from /etc/exports and run “exportfs -ra” as "
                      "an administrator, then try again.");
    case BusyCauseKind::otherNamespace: {
        auto holder = cause.processName ? quoted(*cause.processName) : std::string("the program");
        if (cause.processID) {
            holder += " (process " + std::to_string(*cause.processID) + ")";
        }
        return manual("Quit " + holder +
                      " or the container or sandbox it runs in, then try again.");
    }
    case BusyCauseKind::unseenProcesses:
        break;
    }
    return manual("Ask the other users to close their files on this disk, or ask an "
                  "administrator, then try again.");
}

BusyCauseAttempt outcome(const BusyCause& cause, ReleaseDisposition disposition,
                         std::string message) {
    return {cause.key(), disposition, std::move(message)};
}

} // namespace

SystemBusyCauseFinder::SystemBusyCauseFinder(Executor& executor,
                                             std::shared_ptr<const CauseActionBus> bus,
                                             BusyCauseScanner scanner, uid_t userID,
                                             std::optional<bool> seesAllProcesses)
    : executor_(executor)
    , bus_(std::move(bus))
    , scanner_(std::move(scanner))
    , userID_(userID)
    , seesAllProcesses_(seesAllProcesses) {}

Task<std::vector<BusyCause>> SystemBusyCauseFinder::causes(ExternalDisk disk, bool processesFound) {
    // Named: GCC 12 keeps the work and its captures alive across the suspension.
    auto work = runInBackground(executor_, [this, disk = std::move(disk), processesFound] {
        return find(disk, processesFound);
    });
    co_return co_await work;
}

Task<BusyCauseAttempt> SystemBusyCauseFinder::resolve(BusyCause cause) {
    auto work =
        runInBackground(executor_, [this, cause = std::move(cause)] { return resolveNow(cause); });
    co_return co_await work;
}

std::vector<BusyCause> SystemBusyCauseFinder::find(const ExternalDisk& disk,
                                                   bool processesFound) const {
    const auto scanned = scanner_.scan(disk);
    // udisks2 is asked only when it could take a cause over.
    const bool asksBus =
        bus_ && std::ranges::any_of(scanned, [](const ScannedCause& found) {
            const auto kind = found.cause.kind;
            return (kind == BusyCauseKind::nestedMount && found.isWholeBlockMount) ||
                   kind == BusyCauseKind::loopDevice ||
                   (kind == BusyCauseKind::holderDevice &&
                    found.cause.holderKind == HolderKind::encrypted);
        });
    const auto blocks = asksBus ? bus_->blocks() : std::vector<UDisks2Block>{};
    std::vector<BusyCause> causes;
    causes.reserve(scanned.size() + 1);
    for (const auto& found : scanned) {
        causes.push_back(found.cause);
        causes.back().plan = plan(found, blocks);
    }
    // Busy, and nothing visible explains it: someone Tovo cannot see may.
    if (!processesFound && causes.empty() &&
        !seesAllProcesses_.value_or(scanner_.seesAllProcesses(userID_))) {
        BusyCause unseen{BusyCauseKind::unseenProcesses,
                         "",
                         "",
                         std::nullopt,
                         std::nullopt,
                         std::nullopt,
                         std::nullopt,
                         {}};
        unseen.plan = userPlan(unseen);
        causes.push_back(std::move(unseen));
    }
    return causes;
}

BusyCausePlan SystemBusyCauseFinder::plan(const ScannedCause& scanned,
                                          const std::vector<UDisks2Block>& blocks) const {
    const auto& cause = scanned.cause;
    const auto* block = scanned.number ? blockNumbered(blocks, *scanned.number) : nullptr;
    if (cause.kind == BusyCauseKind::nestedMount && scanned.isWholeBlockMount && block &&
        block->mountPoints == std::vector<std::string>{cause.subject}) {
        return {BusyCauseAction::unmountNested,
                "Tovo will ask the system to unmount it. Nothing is forced."};
    }
    if (cause.kind == BusyCauseKind::loopDevice && block && block->loopSetupByUID == userID_) {
        return {BusyCauseAction::detachLoop,
                "Tovo will ask the system to unmount the disk image and detach it."};
    }
    if (cause.kind == BusyCauseKind::holderDevice && cause.holderKind == HolderKind::encrypted &&
        !scanned.hasHolders && block && block->cryptoBackingDevice && block->mountPoints.empty()) {
        return {BusyCauseAction::lockEncrypted, "Tovo will ask the system to lock it."};
    }
    return userPlan(cause);
}

BusyCauseAttempt SystemBusyCauseFinder::resolveNow(const BusyCause& cause) const {
    try {
        switch (cause.plan.action) {
        case BusyCauseAction::unmountNested:
            unmountNested(cause);
            return outcome(cause, ReleaseDisposition::requested, "Unmounted.");
        case BusyCauseAction::detachLoop:
            detachLoop(cause);
            return outcome(cause, ReleaseDisposition::requested, "Detached.");
        case BusyCauseAction::lockEncrypted:
            lockEncrypted(cause);
            return outcome(cause, ReleaseDisposition::requested, "Locked.");
        case BusyCauseAction::none:
            break;
        }
        return outcome(cause, ReleaseDisposition::needsManualAction, cause.plan.message);
    } catch (const UnmountError& error) {
        return outcome(cause, ReleaseDisposition::failed,
                       "The system did not allow it: " + error.message);
    } catch (const std::exception& error) {
        return outcome(cause, ReleaseDisposition::failed, error.what());
    }
}

void SystemBusyCauseFinder::unmountNested(const BusyCause& cause) const {
    // Only the file system that shows there now, and only when udisks2 knows it
    // mounted there alone: its Unmount takes no mount point.
    const auto number = scanner_.mountedDevice(cause.subject);
    const auto blocks = bus_ ? bus_->blocks() : std::vector<UDisks2Block>{};
    const auto* block = number ? blockNumbered(blocks, *number) : nullptr;
    if (!block || block->mountPoints != std::vector<std::string>{cause.subject}) {
        throw std::runtime_error("It changed since the review. Check the disk again.");
    }
    bus_->call(block->objectPath, CauseActionBus::filesystemInterface, "Unmount");
}

void SystemBusyCauseFinder::detachLoop(const BusyCause& cause) const {
    const SysfsBlockDevices sysfs(scanner_.roots().sys);
    const auto name = std::filesystem::path(cause.subject).filename().string();
    const auto number = sysfs.deviceNumber(name);
    const auto blocks = bus_ ? bus_->blocks() : std::vector<UDisks2Block>{};
    const auto* loop = number ? blockNumbered(blocks, *number) : nullptr;
    if (!loop || loop->loopSetupByUID != userID_) {
        throw std::runtime_error("It changed since the review. Check the disk again.");
    }
    // Its partitions and itself, innermost first; an unmount that fails ends it here.
    auto family = sysfs.family(name);
    std::reverse(family.begin(), family.end());
    for (const auto& device : family) {
        if (const auto* block = blockNumbered(blocks, device.number);
            block && !block->mountPoints.empty()) {
            bus_->call(block->objectPath, CauseActionBus::filesystemInterface, "Unmount");
        }
    }
    bus_->call(loop->objectPath, CauseActionBus::loopInterface, "Delete");
}

void SystemBusyCauseFinder::lockEncrypted(const BusyCause& cause) const {
    const SysfsBlockDevices sysfs(scanner_.roots().sys);
    const auto container = sysfs.deviceNumber(cause.device);
    const auto blocks = bus_ ? bus_->blocks() : std::vector<UDisks2Block>{};
    const auto* backing = container ? blockNumbered(blocks, *container) : nullptr;
    const bool open =
        backing && std::ranges::any_of(blocks, [&](const UDisks2Block& block) {
            return block.cryptoBackingDevice == backing->objectPath && block.mountPoints.empty();
        });
    if (!backing || !backing->isEncrypted || !open) {
        throw std::runtime_error("It changed since the review. Check the disk again.");
    }
    bus_->call(backing->objectPath, CauseActionBus::encryptedInterface, "Lock");
}

} // namespace tovo
