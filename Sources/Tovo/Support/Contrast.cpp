#include "Tovo/Support/Contrast.hpp"

#include <algorithm>
#include <cmath>

namespace tovo::Contrast {

namespace {

double linear(double channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double worstRatio(Rgb text, std::span<const Rgb> backgrounds, double opacity) {
    double worst = 21;
    for (const Rgb& background : backgrounds) {
        worst = std::min(worst, ratio(over(text, opacity, background), background));
    }
    return worst;
}

} // namespace

double relativeLuminance(Rgb colour) {
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) +
           0.0722 * linear(colour.blue);
}

double ratio(Rgb first, Rgb second) {
    const double a = relativeLuminance(first);
    const double b = relativeLuminance(second);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

Rgb over(Rgb top, double opacity, Rgb bottom) {
    const auto mix = [opacity](double t, double b) { return t * opacity + b * (1 - opacity); };
    return {mix(top.red, bottom.red), mix(top.green, bottom.green), mix(top.blue, bottom.blue)};
}

double readableOpacity(Rgb text, std::span<const Rgb> backgrounds, double preferred,
                       double minimum) {
    // Contrast grows with opacity on each background: step up in whole percents.
    for (int percent = static_cast<int>(std::ceil(preferred * 100)); percent < 100; ++percent) {
        if (worstRatio(text, backgrounds, percent / 100.0) >= minimum) {
            return percent / 100.0;
        }
    }
    return 1;
}

Rgb readableTint(Rgb tint, Rgb ink, std::span<const Rgb> backgrounds, double minimum) {
    for (int percent = 0; percent <= 100; percent += 5) {
        const Rgb mixed = over(ink, percent / 100.0, tint);
        if (worstRatio(mixed, backgrounds, 1) >= minimum) {
            return mixed;
        }
    }
    return ink;
}

Label betterLabel(Label first, Label second, Rgb fill) {
    const double a = ratio(over(first.colour, first.opacity, fill), fill);
    const double b = ratio(over(second.colour, second.opacity, fill), fill);
    return a >= b ? first : second;
}

} // namespace tovo::Contrast
