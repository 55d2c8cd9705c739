// SPDX-License-Identifier: MIT
#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <fcntl.h>
#include <sys/param.h>

#include <array>
#include <cerrno>
#include <expected>
#include <string>

#include "core/scan/Directory.h"

namespace varnel::Directory {

std::expected<std::string, int> physicalPath(int folder) {
    std::array<char, MAXPATHLEN> path{};
    if (::fcntl(folder, F_GETPATH, path.data()) != 0) return std::unexpected(errno);
    return std::string(path.data());
}

}  // namespace varnel::Directory
