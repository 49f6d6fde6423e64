#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"

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

struct Appearance {
    const char* name;
    QPalette palette;
};

class ThemeContrast : public ::testing::TestWithParam<Appearance> {};

// Every text colour of the theme reads at 4.5:1 or better on every surface it is
// drawn on, where the glow behind makes it hardest.
TEST_P(ThemeContrast, EveryTextReadsOnEverySurface) {
    const QPalette& palette = GetParam().palette;
    for (const TextColor text : {TextColor::primary, TextColor::secondary, TextColor::caution}) {
        for (const TovoTheme::Surface surface : TovoTheme::allSurfaces) {
            EXPECT_GE(ratioOn(TovoTheme::textColor(text, palette),
                              TovoTheme::surfaceColor(surface, palette)),
                      Contrast::minimumTextRatio)
                << "text " << static_cast<int>(text) << " on surface " << static_cast<int>(surface);
        }
    }
}

TEST_P(ThemeContrast, ButtonLabelsReadOnTheirFills) {
    const QPalette& palette = GetParam().palette;
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
                         ::testing::Values(Appearance{"Light", TovoTheme::lightPalette()},
                                           Appearance{"Dark", TovoTheme::darkPalette()}),
                         [](const ::testing::TestParamInfo<Appearance>& info) {
                             return info.param.name;
                         });

} // namespace
} // namespace tovo::testing
