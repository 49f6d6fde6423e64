#include "Tovo/Support/Qt/WindowGlow.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tovo {

double WindowGlow::opacityAt(double distance) const {
    if (distance <= innerRadius) {
        return opacity;
    }
    if (distance >= outerRadius) {
        return 0;
    }
    return opacity * (outerRadius - distance) / (outerRadius - innerRadius);
}

QImage WindowGlow::tile(qreal scale) const {
    const int side = std::max(1, static_cast<int>(std::ceil(outerRadius * scale)));
    QImage image(side, side, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    // The colour depends on the distance alone, so it is tabulated by squared
    // distance: no square root per pixel. Distances are measured from pixel centres
    // in half pixels, so a pixel's key is (2dx + 1)^2 + (2dy + 1)^2, in steps of 256;
    // past the outer radius (the tile's side) every key is the plain window colour.
    constexpr int shift = 8;
    const auto keys = static_cast<std::size_t>(((2 * side) * (2 * side)) >> shift) + 2;
    const double under[] = {window.redF(), window.greenF(), window.blueF()};
    const double over[] = {accent.redF(), accent.greenF(), accent.blueF()};
    std::vector<QRgb> colours(keys);
    for (std::size_t key = 0; key < keys; ++key) {
        const double halfPixels =
            std::sqrt(static_cast<double>((key << shift) + (1 << (shift - 1))));
        const double a = opacityAt(halfPixels / 2 / scale);
        int channel[3];
        for (int c = 0; c < 3; ++c) {
            channel[c] = static_cast<int>((under[c] + (over[c] - under[c]) * a) * 255 + 0.5);
        }
        colours[key] = qRgb(channel[0], channel[1], channel[2]);
    }
    // Per row, from the corner outwards, until the glow has faded out.
    std::vector<int> columnSquares(static_cast<std::size_t>(side));
    for (int k = 0; k < side; ++k) {
        columnSquares[static_cast<std::size_t>(k)] = (2 * k + 1) * (2 * k + 1);
    }
    const auto lastKey = static_cast<int>(keys - 1);
    const QRgb plain = colours.back();
    for (int y = 0; y < side; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const int rowSquare = (2 * y + 1) * (2 * y + 1);
        // The corner is the tile's top right, or its top left when mirrored.
        const int step = mirrored ? 1 : -1;
        QRgb* pixel = mirrored ? line : line + side - 1;
        int k = 0;
        for (; k < side; ++k, pixel += step) {
            const int key = (columnSquares[static_cast<std::size_t>(k)] + rowSquare) >> shift;
            if (key >= lastKey) {
                break;
            }
            *pixel = colours[static_cast<std::size_t>(key)];
        }
        const int rest = side - k;
        std::fill_n(mirrored ? line + k : line, rest, plain);
    }
    return image;
}

} // namespace tovo
