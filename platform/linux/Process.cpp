// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <expected>
#include <string>
#include <system_error>

#include "core/base/FileDescriptor.h"

namespace varnel {

std::string launchFailure(const std::string& /*program*/, int error) {
    return std::generic_category().message(error);
}

bool canWorkAfterFork() {
    return true;
}

std::expected<Pipe, int> openPipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return std::unexpected(errno);
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

}  // namespace varnel
