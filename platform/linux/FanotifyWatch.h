// SPDX-License-Identifier: MIT
//
// Watching a whole file system at once, which needs the rights of root: no folder costs anything, and nothing has to
// be found before it can be watched.
#pragma once

#include <cstdint>

#include "platform/linux/WatchJob.h"

namespace varnel::FanotifyWatch {

enum class Outcome : std::uint8_t {
    ended,    ///< Asked to stop, or the volume is gone.
    refused,  ///< The system, or this file system, does not grant it, or no longer. What was missed is told as lost.
};

/// Reports until the job's signal is raised. Only for the root of a mount.
Outcome run(const WatchJob& job);

}  // namespace varnel::FanotifyWatch
