#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/WindowGlow.hpp"

#include <QPainter>
#include <QPalette>
#include <gtest/gtest.h>

#include <cmath>

namespace tovo::testing {
namespace {

const WindowGlow glow{QColor(246, 245, 244), QColor(245, 99, 31), 0.14, 20, 360, false};

// The window colour with the accent mixed in at `opacity`, as one 8-bit channel each.
QRgb mixed(double opacity) {
    auto mix = [opacity](int under, int over) {
        return static_cast<int>(std::lround(under + (over - under) * opacity));
    };
    return qRgb(mix(246, 245), mix(245, 99), mix(244, 31));
}

bool near(QRgb actual, QRgb expected) {
    return std::abs(qRed(actual) - qRed(expected)) <= 1 &&
           std::abs(qGreen(actual) - qGreen(expected)) <= 1 &&
           std::abs(qBlue(actual) - qBlue(expected)) <= 1;
}

struct OpacityCase {
    double distance;
    double opacity;
    friend void PrintTo(const OpacityCase& c, std::ostream* os) { *os << c.distance << " px"; }
};

class WindowGlowOpacityTest : public ::testing::TestWithParam<OpacityCase> {};

TEST_P(WindowGlowOpacityTest, IsFullInsideFadesLinearlyAndEndsAtTheOuterRadius) {
    EXPECT_NEAR(glow.opacityAt(GetParam().distance), GetParam().opacity, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Distances, WindowGlowOpacityTest,
                         ::testing::Values(OpacityCase{0, 0.14}, OpacityCase{20, 0.14},
                                           OpacityCase{190, 0.07}, OpacityCase{360, 0},
                                           OpacityCase{900, 0}));

class WindowGlowTileTest : public ::testing::TestWithParam<bool> {};

TEST_P(WindowGlowTileTest, GlowsFromTheTrailingCornerAndFadesToThePlainWindow) {
    WindowGlow sided = glow;
    sided.mirrored = GetParam();
    const QImage tile = sided.tile(1.0);
    ASSERT_EQ(tile.size(), QSize(360, 360));
    const int corner = sided.mirrored ? 0 : 359;
    const int far = 359 - corner;

    EXPECT_TRUE(near(tile.pixel(corner, 0), mixed(0.14)));
    // 100 px along the top edge from the corner.
    const int along = sided.mirrored ? 100 : 259;
    EXPECT_TRUE(near(tile.pixel(along, 0), mixed(glow.opacityAt(100.5))));
    EXPECT_EQ(tile.pixel(far, 0), glow.window.rgb());
    EXPECT_EQ(tile.pixel(far, 359), glow.window.rgb());
    EXPECT_EQ(tile.pixel(corner, 359), glow.window.rgb());
}

INSTANTIATE_TEST_SUITE_P(Directions, WindowGlowTileTest, ::testing::Values(false, true),
                         [](const auto& info) {
                             return std::string(info.param ? "rightToLeft" : "leftToRight");
                         });

TEST(WindowGlowTile, CoversTheSameLogicalSquareAtEveryScale) {
    const QImage tile = glow.tile(2.0);
    EXPECT_EQ(tile.size(), QSize(720, 720));
    EXPECT_EQ(tile.devicePixelRatio(), 2.0);
    EXPECT_TRUE(near(tile.pixel(519, 0), mixed(glow.opacityAt(100.25))));
}

struct BackgroundCase {
    const char* name;
    Qt::LayoutDirection direction;
    qreal scale;
    friend void PrintTo(const BackgroundCase& c, std::ostream* os) { *os << c.name; }
};

class WindowBackgroundTest : public ::testing::TestWithParam<BackgroundCase> {};

TEST_P(WindowBackgroundTest, GlowSitsInTheTopTrailingCornerOfTheWholeWindow) {
    QImage window(QSize(440, 500) * GetParam().scale, QImage::Format_ARGB32_Premultiplied);
    window.setDevicePixelRatio(GetParam().scale);
    QPalette palette;
    palette.setColor(QPalette::Window, glow.window);
    {
        QPainter painter(&window);
        TovoTheme::paintWindowBackground(painter, QRectF(0, 0, 440, 500), palette,
                                         GetParam().direction);
    }
    const bool rightToLeft = GetParam().direction == Qt::RightToLeft;
    const auto at = [&](int x, int y) {
        const int column = rightToLeft ? 439 - x : x;
        return window.pixel(static_cast<int>(column * GetParam().scale),
                            static_cast<int>(y * GetParam().scale));
    };
    EXPECT_TRUE(near(at(439, 0), mixed(0.14)));
    EXPECT_TRUE(near(at(339, 0), mixed(glow.opacityAt(100))));
    EXPECT_TRUE(near(at(439, 100), mixed(glow.opacityAt(100))));
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
