// SPDX-License-Identifier: MIT
#include "platform/posix/Stepwise.h"

#if !defined(__linux__) && !defined(__APPLE__)
#error "This source is for Linux and macOS."
#endif

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/scan/Directory.h"

namespace varnel::Directory::Stepwise {

std::expected<FileDescriptor, int> openFolder(int folder, const char* name, int flags) {
    const int descriptor = ::openat(folder, name, flags);
    if (descriptor < 0) return std::unexpected(errno);
    return FileDescriptor(descriptor);
}

std::expected<FileDescriptor, int> openChild(int folder, const std::string& name, int flags) {
    const auto above = factsOf(folder);
    if (!above) return std::unexpected(above.error());
    auto opened = openFolder(folder, name.c_str(), flags);
    if (!opened) return opened;
    const auto here = factsOf(opened->get());
    if (!here) return std::unexpected(here.error());
    if (!here->isOnSameMount(*above)) return std::unexpected(EXDEV);
    return opened;
}

std::expected<FileDescriptor, int> openBeneath(int folder, std::string_view below, int flags) {
    auto opened = openFolder(folder, ".", flags);
    while (opened && !below.empty()) {
        const std::size_t slash = std::min(below.find('/'), below.size());
        const std::string part(below.substr(0, slash));
        below.remove_prefix(std::min(slash + 1, below.size()));
        if (part == "..") return std::unexpected(EXDEV);
        if (!part.empty() && part != ".") opened = openChild(opened->get(), part, flags);
    }
    return opened;
}

}  // namespace varnel::Directory::Stepwise
