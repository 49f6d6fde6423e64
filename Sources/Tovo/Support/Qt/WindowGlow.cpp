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
    // in half pixels, so a pixel's key is (2dx + 1)^2 + (2dy + 1)^2, in steps of 64;
    // past the outer radius (the tile's side) every key is the plain window colour.
    constexpr int shift = 6;
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
    const std::size_t lastKey = keys - 1;
    for (int y = 0; y < side; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const int dy = 2 * y + 1;
        for (int x = 0; x < side; ++x) {
            // The corner is the tile's top right, or its top left when mirrored.
            const int dx = 2 * (mirrored ? x : side - 1 - x) + 1;
            const auto key = static_cast<std::size_t>(dx * dx + dy * dy) >> shift;
            line[x] = colours[std::min(key, lastKey)];
        }
    }
    return image;
}

} // namespace tovo
