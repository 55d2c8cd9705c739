// SPDX-License-Identifier: MIT
#ifndef __linux__
#error "This source is for Linux."
#endif

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <expected>
#include <string>

#include "core/scan/Directory.h"

namespace varnel::Directory {

std::expected<std::string, int> physicalPath(int folder) {
    const std::string link = "/proc/self/fd/" + std::to_string(folder);
    std::string path(PATH_MAX, '\0');
    const ssize_t length = ::readlink(link.c_str(), path.data(), path.size());
    if (length < 0) return std::unexpected(errno);
    path.resize(static_cast<std::size_t>(length));
    return path;
}

}  // namespace varnel::Directory
