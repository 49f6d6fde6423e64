#pragma once

#include <cstdlib>
#include <type_traits>

namespace tovo {

/// Sums and counters that must never wrap: an overflow is a program fault, so it
/// stops the process rather than continue with a wrong number.
template<class T>
requires std::is_integral_v<T> T checkedAdd(T a, T b) {
    T result{};
    if (__builtin_add_overflow(a, b, &result)) {
        std::abort();
    }
    return result;
}

template<class T>
requires std::is_integral_v<T> T checkedSubtract(T a, T b) {
    T result{};
    if (__builtin_sub_overflow(a, b, &result)) {
        std::abort();
    }
    return result;
}

} // namespace tovo
