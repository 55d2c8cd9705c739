// SPDX-License-Identifier: MIT
#include "core/scan/FSInfo.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <sys/mount.h>

#include <optional>
#include <string>

namespace varnel::FSInfo {

std::optional<std::string> type(const std::string& path) {
    struct statfs system {};
    if (::statfs(path.c_str(), &system) != 0) return std::nullopt;
    return std::string(system.f_fstypename);
}

}  // namespace varnel::FSInfo
