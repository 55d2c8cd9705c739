// SPDX-License-Identifier: MIT
#pragma once

namespace varnel::tests {

/// Whether this build watches its threads. Such a process has one more thread, which wakes up now and then.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool hasThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool hasThreadSanitizer = true;
#else
inline constexpr bool hasThreadSanitizer = false;
#endif
#else
inline constexpr bool hasThreadSanitizer = false;
#endif

/// Whether this build watches its memory. Such a process looks for leaks when it ends.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool hasAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool hasAddressSanitizer = true;
#else
inline constexpr bool hasAddressSanitizer = false;
#endif
#else
inline constexpr bool hasAddressSanitizer = false;
#endif

}  // namespace varnel::tests
