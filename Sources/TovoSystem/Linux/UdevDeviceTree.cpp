#include "TovoSystem/Linux/UdevDeviceTree.hpp"

#include <libudev.h>

#include <array>
#include <charconv>
#include <filesystem>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <system_error>

namespace tovo {

namespace {

struct DeviceRelease {
    void operator()(udev_device* device) const { udev_device_unref(device); }
};
using DevicePointer = std::unique_ptr<udev_device, DeviceRelease>;

constexpr std::array<const char*, 12> wantedProperties{
    "ID_FS_UUID",         "ID_FS_LABEL", "ID_FS_LABEL_ENC",    "ID_FS_TYPE",
    "ID_PART_TABLE_UUID", "ID_VENDOR",   "ID_VENDOR_ENC",      "ID_MODEL",
    "ID_MODEL_ENC",       "ID_BUS",      "ID_DRIVE_EJECTABLE", "DM_UUID"};

std::string text(const char* value) {
    return value == nullptr ? std::string() : value;
}

template<class Number>
std::optional<Number> number(const char* value) {
    if (value == nullptr) {
        return std::nullopt;
    }
    std::string_view digits(value);
    while (!digits.empty() && (digits.back() == '\n' || digits.back() == ' ')) {
        digits.remove_suffix(1);
    }
    Number result{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), result);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return result;
}

std::size_t countSlaves(const std::string& sysPath) {
    std::error_code error;
    std::size_t count = 0;
    for (std::filesystem::directory_iterator it(sysPath + "/slaves", error), end;
         !error && it != end; it.increment(error)) {
        ++count;
    }
    return count;
}

DeviceNode toNode(udev_device* device) {
    DeviceNode node;
    node.devPath = text(udev_device_get_devpath(device));
    node.kernelName = text(udev_device_get_sysname(device));
    node.subsystem = text(udev_device_get_subsystem(device));
    node.devType = text(udev_device_get_devtype(device));
    const dev_t devnum = udev_device_get_devnum(device);
    node.major = major(devnum);
    node.minor = minor(devnum);
    for (const char* key : wantedProperties) {
        if (const char* value = udev_device_get_property_value(device, key)) {
            node.properties.emplace(key, value);
        }
    }
    node.initializedMicroseconds =
        number<std::uint64_t>(udev_device_get_property_value(device, "USEC_INITIALIZED"));
    if (node.isBlock()) {
        node.diskSequence = number<std::uint64_t>(udev_device_get_sysattr_value(device, "diskseq"));
        node.sizeInSectors = number<std::int64_t>(udev_device_get_sysattr_value(device, "size"));
        node.isRemovable = number<int>(udev_device_get_sysattr_value(device, "removable")) == 1;
        const auto backing = text(udev_device_get_sysattr_value(device, "loop/backing_file"));
        node.hasBackingFile = !backing.empty() && backing != "\n";
        node.slaveCount = countSlaves(text(udev_device_get_syspath(device)));
    }
    return node;
}

} // namespace

UdevDeviceTree::UdevDeviceTree()
    : udev_(udev_new()) {}

UdevDeviceTree::~UdevDeviceTree() {
    if (udev_ != nullptr) {
        udev_unref(udev_);
    }
}

std::optional<DeviceNode> UdevDeviceTree::blockDevice(unsigned major, unsigned minor) const {
    if (udev_ == nullptr || major == 0) {
        return std::nullopt;
    }
    DevicePointer device(udev_device_new_from_devnum(udev_, 'b', makedev(major, minor)));
    if (!device) {
        return std::nullopt;
    }
    return toNode(device.get());
}

std::optional<DeviceNode>
UdevDeviceTree::blockDeviceOfSource(const std::string& mountSource) const {
    struct stat status {};
    if (mountSource.empty() || mountSource.front() != '/' ||
        ::stat(mountSource.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) {
        return std::nullopt;
    }
    return blockDevice(major(status.st_rdev), minor(status.st_rdev));
}

std::optional<DeviceNode> UdevDeviceTree::node(const std::string& sysPath) const {
    if (udev_ == nullptr) {
        return std::nullopt;
    }
    DevicePointer device(udev_device_new_from_syspath(udev_, sysPath.c_str()));
    if (!device) {
        return std::nullopt;
    }
    return toNode(device.get());
}

std::optional<DeviceNode> UdevDeviceTree::parent(const DeviceNode& child) const {
    if (udev_ == nullptr) {
        return std::nullopt;
    }
    DevicePointer device(udev_device_new_from_syspath(udev_, ("/sys" + child.devPath).c_str()));
    if (!device) {
        return std::nullopt;
    }
    // The parent belongs to the child and is released with it.
    udev_device* up = udev_device_get_parent(device.get());
    if (up == nullptr) {
        return std::nullopt;
    }
    return toNode(up);
}

std::vector<DeviceNode> UdevDeviceTree::slaves(const DeviceNode& upper) const {
    std::vector<DeviceNode> result;
    std::error_code error;
    for (std::filesystem::directory_iterator it("/sys" + upper.devPath + "/slaves", error), end;
         !error && it != end; it.increment(error)) {
        const auto target = std::filesystem::canonical(it->path(), error);
        if (error) {
            error.clear();
            continue;
        }
        if (auto found = node(target.string())) {
            result.push_back(std::move(*found));
        }
    }
    return result;
}

} // namespace tovo
