#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace tovo {

/// Folds the hash of `value` into `seed` (boost-style mixing).
template<class T>
void hashCombine(std::size_t& seed, const T& value) {
    seed ^= std::hash<T>{}(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

template<class T>
void hashCombine(std::size_t& seed, const std::optional<T>& value) {
    hashCombine(seed, value.has_value());
    if (value) {
        hashCombine(seed, *value);
    }
}

template<class T>
void hashCombine(std::size_t& seed, const std::vector<T>& values) {
    hashCombine(seed, values.size());
    for (const auto& value : values) {
        hashCombine(seed, value);
    }
}

} // namespace tovo
