#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "Foundation/Check.h"

/// Arithmetic on 64-bit counters that never wraps.
///
/// Two kinds of it, never mixed: numbers of our own are checked, and a result out of range is a fault of this
/// program; numbers that a log, a database or a settings file holds may be anything, so an operation that
/// would leave 64 bits is not made.
namespace ledgerfern {

/// `a` + `b`; a fault where that leaves 64 bits. For counts of this program's own.
inline std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    check(!__builtin_add_overflow(a, b, &sum), "a counter left 64 bits");
    return sum;
}

/// Adds `value` to `sum` unless that would leave 64 bits; then `sum` stays. For numbers from outside.
inline void addFromOutside(std::int64_t& sum, std::int64_t value) {
    std::int64_t result = 0;
    if (!__builtin_add_overflow(sum, value, &result)) [[likely]]
        sum = result;
}

/// `a` − `b`, or absent where that leaves 64 bits.
inline std::optional<std::int64_t> differenceWithin64Bits(std::int64_t a, std::int64_t b) {
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) return std::nullopt;
    return difference;
}

/// `a` × `b`, or absent where that leaves 64 bits.
inline std::optional<std::int64_t> productWithin64Bits(std::int64_t a, std::int64_t b) {
    std::int64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) return std::nullopt;
    return product;
}

/// True where `value`, cut toward zero, is a 64-bit signed integer. False for NaN and the infinities.
inline bool fits64Bits(double value) {
    // Both bounds are exact doubles; -2^63 is in range, 2^63 is the first that isn't.
    return value >= -9223372036854775808.0 && value < 9223372036854775808.0;
}

/// `value` cut toward zero; absent where the result isn't a 64-bit signed integer.
inline std::optional<std::int64_t> truncated(double value) {
    if (!fits64Bits(value)) return std::nullopt;
    return static_cast<std::int64_t>(value);
}

/// `value` rounded to the nearest integer, halves away from zero; absent where that isn't a 64-bit signed
/// integer.
inline std::optional<std::int64_t> rounded(double value) {
    return truncated(std::round(value));
}

}  // namespace ledgerfern
