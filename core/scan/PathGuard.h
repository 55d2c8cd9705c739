// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace varnel::PathGuard {

/// The system's own folders, refused with everything below them, on every platform.
inline constexpr std::array<std::string_view, 12> forbidden = {
    "/System",       "/usr", "/bin",   "/sbin", "/private", "/Library",
    "/Applications", "/opt", "/cores", "/dev",  "/etc",     "/var",
};

/// Whether a path must never be cleaned: "/", the home folder itself (folders inside it are allowed), the folders
/// above and those that the platform adds, with all below them. Standardises the path first; compares bytes.
bool isForbidden(std::string_view path);

/// The same of a place, a path whose links were all followed: the home folder's own path may lead through links, so
/// what is compared is the place that it leads to as well.
bool isForbiddenPlace(std::string_view physicalPath);

/// Whether a path is forbidden as it is written, or leads through links to a place that is. Asks the disk, and waits
/// for its answer.
bool leadsToForbidden(const std::string& path);

}  // namespace varnel::PathGuard
