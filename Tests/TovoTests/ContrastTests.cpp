#include "Tovo/Support/Contrast.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tovo {
namespace {

constexpr Rgb black{0, 0, 0};
constexpr Rgb white{1, 1, 1};

TEST(Contrast, MeasuresAsTheGuidelinesDo) {
    EXPECT_NEAR(Contrast::ratio(black, white), 21.0, 1e-9);
    EXPECT_NEAR(Contrast::ratio(white, white), 1.0, 1e-9);
    // #767676 on white is the classic grey that just passes.
    const double grey = 0x76 / 255.0;
    EXPECT_NEAR(Contrast::ratio({grey, grey, grey}, white), 4.54, 0.01);
}

TEST(Contrast, FaintTextIsStrengthenedUntilItReadsOnEveryBackground) {
    const std::vector<Rgb> backgrounds{white, {0.9, 0.85, 0.8}};
    const double opacity = Contrast::readableOpacity(black, backgrounds, 0.4);
    EXPECT_GT(opacity, 0.4);
    bool weakerFails = false;
    for (const Rgb& background : backgrounds) {
        EXPECT_GE(Contrast::ratio(Contrast::over(black, opacity, background), background), 4.5);
        weakerFails =
            weakerFails ||
            Contrast::ratio(Contrast::over(black, opacity - 0.01, background), background) < 4.5;
    }
    EXPECT_TRUE(weakerFails) << "no stronger than it must be";
    EXPECT_EQ(Contrast::readableOpacity({0.5, 0.5, 0.5}, backgrounds, 0.4), 1.0)
        << "grey on near-white never reads: full strength";
}

TEST(Contrast, ATintIsMixedWithTheInkUntilItReads) {
    const Rgb orange{230 / 255.0, 126 / 255.0, 0};
    const std::vector<Rgb> backgrounds{white};
    const Rgb tint = Contrast::readableTint(orange, black, backgrounds);
    EXPECT_GE(Contrast::ratio(tint, white), 4.5);
    EXPECT_GT(tint.red, tint.blue) << "still orange";
}

TEST(Contrast, TheBetterLabelIsChosenForAFill) {
    const Contrast::Label dark{black, 0.84};
    const Contrast::Label light{white, 1};
    EXPECT_EQ(Contrast::betterLabel(dark, light, {192 / 255.0, 28 / 255.0, 40 / 255.0}).colour,
              white);
    EXPECT_EQ(Contrast::betterLabel(dark, light, {1.0, 0.58, 0.16}).colour, black);
}

} // namespace
} // namespace tovo
