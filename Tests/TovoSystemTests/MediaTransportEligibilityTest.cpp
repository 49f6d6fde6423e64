#include "TovoSystem/Services/MediaTransportEligibility.hpp"

#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

struct TransportCase {
    const char* label;
    std::optional<std::string> deviceProtocol;
    std::optional<std::string> interconnect;
    std::optional<std::string> location;
    bool hasDiskImage;
    bool expectedVirtual;
};

class MediaTransportEligibilityTest : public ::testing::TestWithParam<TransportCase> {};

TEST_P(MediaTransportEligibilityTest, JudgesVirtualTransport) {
    const auto& c = GetParam();
    EXPECT_EQ(MediaTransportEligibility::isVirtual(c.deviceProtocol, c.interconnect, c.location,
                                                   c.hasDiskImage),
              c.expectedVirtual);
}

INSTANTIATE_TEST_SUITE_P(
    Transports, MediaTransportEligibilityTest,
    ::testing::Values(
        TransportCase{"nothing_known", std::nullopt, std::nullopt, std::nullopt, false, false},
        TransportCase{"disk_image_flag_alone", std::nullopt, std::nullopt, std::nullopt, true,
                      true},
        TransportCase{"usb_external", "USB", "USB", "External", false, false},
        TransportCase{"virtual_protocol_any_case", " Virtual Interface\n", std::nullopt,
                      std::nullopt, false, true},
        TransportCase{"virtual_interconnect", std::nullopt, "Virtual", "Internal", false, true},
        TransportCase{"disk_image_words", std::nullopt, "Apple Disk Image", std::nullopt, false,
                      true},
        TransportCase{"file_location_trimmed_case", std::nullopt, "SATA", "  FILE ", false, true},
        TransportCase{"file_is_not_a_substring_match", std::nullopt, std::nullopt, "Filesystem",
                      false, false},
        TransportCase{"location_not_searched_for_virtual", std::nullopt, std::nullopt, "virtual",
                      false, false}),
    [](const auto& info) { return std::string(info.param.label); });

struct PoolCase {
    const char* label;
    std::optional<std::string> type;
    std::optional<std::string> logicalDisk;
    std::optional<std::string> expected;
};

class CapacityPoolIdentifierTest : public ::testing::TestWithParam<PoolCase> {};

TEST_P(CapacityPoolIdentifierTest, PoolsOnlyApfsVolumes) {
    const auto& c = GetParam();
    EXPECT_EQ(CapacityPoolIdentifier::make(c.type, c.logicalDisk, "io:77"), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Types, CapacityPoolIdentifierTest,
    ::testing::Values(PoolCase{"no_type", std::nullopt, "disk4", std::nullopt},
                      PoolCase{"exfat", "exfat", "disk4", std::nullopt},
                      PoolCase{"ext4", "ext4", "sdb", std::nullopt},
                      PoolCase{"apfs_container", "apfs", "disk4", "apfs:disk4"},
                      PoolCase{"apfs_odd_case_and_space", " APFS\n", "disk4", "apfs:disk4"},
                      PoolCase{"apfs_without_logical_disk", "apfs", std::nullopt, "apfs:io:77"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(CapacityPoolIdentifierTest, TwoApfsVolumesOfOneContainerShareAPool) {
    EXPECT_EQ(CapacityPoolIdentifier::make("apfs", "disk5", "io:1"),
              CapacityPoolIdentifier::make("apfs", "disk5", "io:2"));
}

} // namespace
} // namespace tovo
