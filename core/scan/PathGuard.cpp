// SPDX-License-Identifier: MIT
#include "core/scan/PathGuard.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "core/base/HomeFolder.h"
#include "core/base/Path.h"
#include "core/scan/ProtectedPaths.h"

namespace varnel::PathGuard {

bool isForbidden(std::string_view path) {
    const std::string standardized = Path::standardized(path);
    if (standardized == "/") return true;
    const std::vector<std::string> homes = HomeFolder::all();
    const bool isHome = std::any_of(homes.begin(), homes.end(),
                                    [&](const std::string& home) { return standardized == Path::standardized(home); });
    if (isHome) return true;
    const bool isSystem = std::any_of(forbidden.begin(), forbidden.end(),
                                      [&](std::string_view folder) { return Path::isAtOrBelow(standardized, folder); });
    return isSystem || ProtectedPaths::contain(standardized);
}

bool isForbiddenPlace(std::string_view physicalPath) {
    if (isForbidden(physicalPath)) return true;
    const std::vector<std::string> homes = HomeFolder::all();
    return std::any_of(homes.begin(), homes.end(), [&](const std::string& home) {
        std::error_code error;
        return std::filesystem::canonical(home, error).native() == physicalPath && !error;
    });
}

bool leadsToForbidden(const std::string& path) {
    if (isForbidden(path)) return true;
    std::error_code error;
    const std::filesystem::path physical = std::filesystem::canonical(path, error);
    return !error && isForbiddenPlace(physical.native());
}

}  // namespace varnel::PathGuard
