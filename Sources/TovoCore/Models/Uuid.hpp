#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

namespace tovo {

/// A random (version 4) UUID; its text is the standard upper-case form.
class Uuid {
public:
    static Uuid random();
    std::string toString() const;
    bool operator==(const Uuid&) const = default;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

private:
    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace tovo

template<>
struct std::hash<tovo::Uuid> {
    std::size_t operator()(const tovo::Uuid& uuid) const noexcept;
};
