// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace varnel {

/// Stops the process because an invariant of ours is broken, in release builds too. `message` goes to standard error.
[[noreturn]] void trap(const char* message);

/// The sum; traps where it does not fit, because a wrapped counter would be a lie that nobody notices.
inline std::int64_t addOrTrap(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) trap("arithmetic overflow in a counter");
    return sum;
}

}  // namespace varnel
