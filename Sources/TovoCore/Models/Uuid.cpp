#include "TovoCore/Models/Uuid.hpp"

#include <mutex>
#include <random>

namespace tovo {

Uuid Uuid::random() {
    static std::mutex mutex;
    static std::mt19937_64 engine{std::random_device{}()};
    Uuid uuid;
    {
        std::lock_guard lock(mutex);
        for (std::size_t i = 0; i < 16; i += 8) {
            const auto word = engine();
            for (std::size_t j = 0; j < 8; ++j) {
                uuid.bytes_[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
            }
        }
    }
    uuid.bytes_[6] = static_cast<std::uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40);
    uuid.bytes_[8] = static_cast<std::uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80);
    return uuid;
}

std::string Uuid::toString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(digits[bytes_[i] >> 4]);
        text.push_back(digits[bytes_[i] & 0x0F]);
    }
    return text;
}

} // namespace tovo

std::size_t std::hash<tovo::Uuid>::operator()(const tovo::Uuid& uuid) const noexcept {
    std::size_t seed = 0;
    for (auto byte : uuid.bytes()) {
        seed = seed * 131 + byte;
    }
    return seed;
}
