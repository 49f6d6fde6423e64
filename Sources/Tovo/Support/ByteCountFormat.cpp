#include "Tovo/Support/ByteCountFormat.hpp"

#include <array>
#include <string_view>

namespace tovo {

namespace {

struct Unit {
    std::string_view symbol;
    int fractionDigits;
};

constexpr std::array<Unit, 6> units{
    {{"kB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2}}};

// value / 10^scale rounded half up to `digits` fraction digits, as an integer
// count of 10^-digits. No overflow: the magnitude is at most 2^63.
std::uint64_t roundedUnits(std::uint64_t magnitude, int scale, int digits) {
    std::uint64_t divisor = 1;
    for (int i = 0; i < scale - digits; ++i) {
        divisor *= 10;
    }
    return (magnitude + divisor / 2) / divisor;
}

std::string decimal(std::uint64_t value, int digits) {
    std::string text;
    do {
        text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value > 0);
    if (digits == 0) {
        return text;
    }
    while (text.size() <= static_cast<std::size_t>(digits)) {
        text.insert(text.begin(), '0');
    }
    auto fraction = text.substr(text.size() - digits);
    text.resize(text.size() - digits);
    while (!fraction.empty() && fraction.back() == '0') {
        fraction.pop_back();
    }
    return fraction.empty() ? text : text + "." + fraction;
}

} // namespace

std::string formatByteCount(std::int64_t bytes) {
    const std::string sign = bytes < 0 ? "-" : "";
    const std::uint64_t magnitude = bytes < 0 ? static_cast<std::uint64_t>(-(bytes + 1)) + 1
                                              : static_cast<std::uint64_t>(bytes);
    if (magnitude < 1000) {
        return sign + std::to_string(magnitude) + (magnitude == 1 ? " byte" : " bytes");
    }
    for (std::size_t index = 0; index < units.size(); ++index) {
        const int scale = 3 * static_cast<int>(index + 1);
        const auto unit = units[index];
        const auto rounded = roundedUnits(magnitude, scale, unit.fractionDigits);
        std::uint64_t limit = 1000;
        for (int i = 0; i < unit.fractionDigits; ++i) {
            limit *= 10;
        }
        // 999,999 bytes round to 1,000 kB: that is "1 MB".
        if (rounded < limit || index + 1 == units.size()) {
            return sign + decimal(rounded, unit.fractionDigits) + " " + std::string(unit.symbol);
        }
    }
    return {};
}

} // namespace tovo
