// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace varnel::LogStamp {

/// "yyyy-MM-dd HH:mm:ss" of a moment in the system's current time zone: Western digits, 24 hours, whatever the locale.
/// `secondsSince1970` may be negative. Safe from any thread.
std::string text(std::int64_t secondsSince1970);

}  // namespace varnel::LogStamp
