// SPDX-License-Identifier: MIT
//
// The part of the port that is the same on every POSIX kernel. The rest is the platform's own.
#include "core/scan/Directory.h"

#if !defined(__linux__) && !defined(__APPLE__)
#error "This source is for Linux and macOS."
#endif

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <expected>

#include "core/base/FileDescriptor.h"
#include "platform/posix/Stepwise.h"

namespace varnel::Directory {

std::expected<FileDescriptor, int> openParent(int folder) {
    return Stepwise::openFolder(folder, "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
}

int removeEntry(int folder, const char* name) {
    return ::unlinkat(folder, name, 0) == 0 ? 0 : errno;
}

int removeFolder(int folder, const char* name) {
    return ::unlinkat(folder, name, AT_REMOVEDIR) == 0 ? 0 : errno;
}

bool isGone(int error, int folder, const char* name) {
    if (error != ENOENT && error != ESTALE) return false;
    const auto now = facts(folder, name);
    return !now && now.error() == ENOENT;
}

}  // namespace varnel::Directory
