// SPDX-License-Identifier: MIT
//
// Watching a whole file system at once, which needs the rights of root: no folder costs anything, and nothing has to
// be found before it can be watched.
#pragma once

#include "platform/linux/WatchJob.h"

namespace varnel::FanotifyWatch {

/// Reports until the job's signal is raised or the volume is gone. Only for the root of a mount.
WatchEnd run(const WatchJob& job);

}  // namespace varnel::FanotifyWatch
