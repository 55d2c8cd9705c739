// SPDX-License-Identifier: MIT
#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <expected>

#include "core/base/FileDescriptor.h"
#include "core/base/Process.h"

namespace varnel {

// The frameworks refuse to work in a process that was forked.
bool canWorkAfterFork() {
    return false;
}

std::expected<Pipe, int> openPipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return std::unexpected(errno);
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return pipe;
}

}  // namespace varnel
