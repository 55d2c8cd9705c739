// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>

namespace varnel::cli {

/// What the tool tells the shell.
enum class ExitStatus : std::uint8_t {
    done = 0,          ///< Nothing failed, also when there was nothing to do.
    failed = 1,        ///< Something failed, or was declined.
    wrongUsage = 2,    ///< The command line made no sense.
    refused = 3,       ///< A protected path, or a target that needs a consent that was not given.
    interrupted = 130  ///< Ctrl-C.
};

/// The graver of two: what several paths together come to.
constexpr ExitStatus graver(ExitStatus a, ExitStatus b) {
    return std::max(a, b);
}

}  // namespace varnel::cli
