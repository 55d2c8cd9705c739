// SPDX-License-Identifier: MIT
//
// Watching folder by folder, which anybody may do.
//
// Each folder is watched first and listed afterwards, so nothing slips between: what appears before its folder is
// watched is found in the listing, what appears later is an event. Folders that existed before the job are listed only
// where they changed since it began.
#pragma once

#include "platform/linux/WatchJob.h"

namespace varnel::InotifyWatch {

/// Reports until the job's signal is raised or the folder is gone.
WatchEnd run(const WatchJob& job);

}  // namespace varnel::InotifyWatch
