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

const auto none = std::nullopt;

INSTANTIATE_TEST_SUITE_P(
    Transports, MediaTransportEligibilityTest,
    ::testing::Values(
        TransportCase{"nothing_known", none, none, none, false, false},
        TransportCase{"disk_image_flag_alone", none, none, none, true, true},
        TransportCase{"usb_external", "USB", "USB", "External", false, false},
        TransportCase{"virtual_protocol_any_case", " Virtual Interface\n", none, none, false, true},
        TransportCase{"virtual_interconnect", none, "Virtual", "Internal", false, true},
        TransportCase{"disk_image_words", none, "Apple Disk Image", none, false, true},
        TransportCase{"file_location_trimmed_case", none, "SATA", "  FILE ", false, true},
        TransportCase{"file_is_not_a_substring_match", none, none, "Filesystem", false, false},
        TransportCase{"location_not_searched_for_virtual", none, none, "virtual", false, false}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(CapacityPoolIdentifierTest, PoolsOnlyApfsVolumesByContainer) {
    EXPECT_EQ(CapacityPoolIdentifier::make(std::nullopt, "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make("exfat", "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make(" APFS\n", "disk4", "io:77"), "apfs:disk4");
    EXPECT_EQ(CapacityPoolIdentifier::make("apfs", std::nullopt, "io:77"), "apfs:io:77");
}

} // namespace
} // namespace tovo
