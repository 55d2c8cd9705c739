// SPDX-License-Identifier: MIT
#include "core/log/LogStamp.h"

#include <time.h>  // NOLINT(modernize-deprecated-headers): tzset() and localtime_r() are POSIX

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace varnel::LogStamp {

std::string text(std::int64_t secondsSince1970) {
    // localtime_r() need not look at TZ by itself.
    static const bool zoneIsSet = (::tzset(), true);
    static_cast<void>(zoneIsSet);
    const auto moment = static_cast<std::time_t>(secondsSince1970);
    std::tm local{};
    if (::localtime_r(&moment, &local) == nullptr) return "0000-00-00 00:00:00";
    std::array<char, 64> buffer{};
    const int length =
        std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return std::string(buffer.data(), static_cast<std::string::size_type>(length));
}

}  // namespace varnel::LogStamp
