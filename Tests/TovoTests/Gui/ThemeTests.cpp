#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/WindowGlow.hpp"

#include <QPainter>
#include <QPalette>
#include <gtest/gtest.h>

#include <cmath>

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

const WindowGlow glow{QColor(246, 245, 244), QColor(245, 99, 31), 0.14, 20, 360, false};

TEST(WindowGlow, IsFullInsideFadesLinearlyAndEndsAtTheOuterRadius) {
    for (const auto& [distance, opacity] :
         {std::pair{0.0, 0.14}, {20.0, 0.14}, {190.0, 0.07}, {360.0, 0.0}, {900.0, 0.0}}) {
        EXPECT_NEAR(glow.opacityAt(distance), opacity, 1e-9) << distance;
    }
}

// The window colour with the accent mixed in at `opacity`, within one step a channel.
bool mixedAt(QRgb actual, double opacity) {
    const auto near = [opacity](int channel, int under, int over) {
        return std::abs(channel -
                        static_cast<int>(std::lround(under + (over - under) * opacity))) <= 1;
    };
    return near(qRed(actual), 246, 245) && near(qGreen(actual), 245, 99) &&
           near(qBlue(actual), 244, 31);
}

struct BackgroundCase {
    const char* name;
    Qt::LayoutDirection direction;
    qreal scale;
};

class WindowBackgroundTest : public ::testing::TestWithParam<BackgroundCase> {};

TEST_P(WindowBackgroundTest, GlowSitsInTheTopTrailingCornerOfTheWholeWindow) {
    const auto [name, direction, scale] = GetParam();
    QImage window(QSize(440, 500) * scale, QImage::Format_ARGB32_Premultiplied);
    window.setDevicePixelRatio(scale);
    QPalette palette;
    palette.setColor(QPalette::Window, glow.window);
    {
        QPainter painter(&window);
        TovoTheme::paintWindowBackground(painter, QRectF(0, 0, 440, 500), palette, direction);
    }
    const auto at = [&](int x, int y) {
        const int column = direction == Qt::RightToLeft ? 439 - x : x;
        return window.pixel(static_cast<int>(column * scale), static_cast<int>(y * scale));
    };
    EXPECT_TRUE(mixedAt(at(439, 0), 0.14));
    EXPECT_TRUE(mixedAt(at(339, 0), glow.opacityAt(100)));
    EXPECT_TRUE(mixedAt(at(439, 100), glow.opacityAt(100)));
    EXPECT_EQ(at(0, 0) | 0xff000000, glow.window.rgb());
    EXPECT_EQ(at(439, 499) | 0xff000000, glow.window.rgb());
}

INSTANTIATE_TEST_SUITE_P(Windows, WindowBackgroundTest,
                         ::testing::Values(BackgroundCase{"leftToRight", Qt::LeftToRight, 1},
                                           BackgroundCase{"rightToLeft", Qt::RightToLeft, 1},
                                           BackgroundCase{"doubleDensity", Qt::LeftToRight, 2}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace tovo::testing
