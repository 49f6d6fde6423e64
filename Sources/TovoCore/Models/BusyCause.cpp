#include "TovoCore/Models/BusyCause.hpp"

namespace tovo {

std::string_view name(BusyCauseKind kind) {
    switch (kind) {
    case BusyCauseKind::nestedMount:
        return "nestedMount";
    case BusyCauseKind::bindMount:
        return "bindMount";
    case BusyCauseKind::swap:
        return "swap";
    case BusyCauseKind::loopDevice:
        return "loopDevice";
    case BusyCauseKind::holderDevice:
        return "holderDevice";
    case BusyCauseKind::networkExport:
        return "networkExport";
    case BusyCauseKind::otherNamespace:
        return "otherNamespace";
    case BusyCauseKind::unseenProcesses:
        break;
    }
    return "unseenProcesses";
}

std::string_view name(HolderKind kind) {
    switch (kind) {
    case HolderKind::encrypted:
        return "encrypted";
    case HolderKind::logicalVolume:
        return "logicalVolume";
    case HolderKind::raid:
        return "raid";
    case HolderKind::deviceMapper:
        break;
    }
    return "deviceMapper";
}

std::string_view name(BusyCauseAction action) {
    switch (action) {
    case BusyCauseAction::none:
        return "none";
    case BusyCauseAction::unmountNested:
        return "unmountNested";
    case BusyCauseAction::detachLoop:
        return "detachLoop";
    case BusyCauseAction::lockEncrypted:
        break;
    }
    return "lockEncrypted";
}

std::string BusyCause::key() const {
    auto text = std::string(name(kind)) + ":" + subject;
    // Namespaces are told apart by the process that holds them.
    if (kind == BusyCauseKind::otherNamespace && processID) {
        text += '@';
        text += std::to_string(*processID);
    }
    return text;
}

} // namespace tovo
