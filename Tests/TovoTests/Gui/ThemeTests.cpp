#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QPalette>
#include <gtest/gtest.h>

namespace tovo::testing {
namespace {

Rgb rgb(const QColor& color) {
    return {color.redF(), color.greenF(), color.blueF()};
}

// The ratio of `text` (perhaps translucent) drawn on the opaque `background`.
double ratioOn(const QColor& text, const QColor& background) {
    const Rgb drawn = Contrast::over(rgb(text), text.alphaF(), rgb(background));
    return Contrast::ratio(drawn, rgb(background));
}

class ThemeContrast : public ::testing::TestWithParam<std::pair<const char*, QPalette>> {};

// Every text colour reads at 4.5:1 or better on every surface it is drawn on, where
// the glow behind makes it hardest, and every button label on its fill.
TEST_P(ThemeContrast, EveryTextReadsOnEverySurfaceAndEveryLabelOnItsFill) {
    const QPalette& palette = GetParam().second;
    for (const TextColor text : {TextColor::primary, TextColor::secondary, TextColor::caution}) {
        for (const TovoTheme::Surface surface : TovoTheme::allSurfaces) {
            EXPECT_GE(ratioOn(TovoTheme::textColor(text, palette),
                              TovoTheme::surfaceColor(surface, palette)),
                      Contrast::minimumTextRatio)
                << "text " << static_cast<int>(text) << " on surface " << static_cast<int>(surface);
        }
    }
    for (const QColor& fill :
         {TovoTheme::accent(), TovoTheme::accentEnd(), TovoTheme::prominentAccent(),
          TovoTheme::destructiveFill(), TovoTheme::destructivePressedFill()}) {
        EXPECT_GE(ratioOn(TovoTheme::labelOn(fill), fill), Contrast::minimumTextRatio)
            << fill.name().toStdString();
    }
    EXPECT_GE(ratioOn(palette.color(QPalette::ButtonText), palette.color(QPalette::Button)),
              Contrast::minimumTextRatio);
}

INSTANTIATE_TEST_SUITE_P(Appearances, ThemeContrast,
                         ::testing::Values(std::pair{"Light", TovoTheme::lightPalette()},
                                           std::pair{"Dark", TovoTheme::darkPalette()}),
                         [](const auto& info) { return std::string(info.param.first); });

} // namespace
} // namespace tovo::testing
