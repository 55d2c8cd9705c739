// SPDX-License-Identifier: MIT
#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"

namespace varnel::cli {

/// Prints the plan of each path; deletes nothing.
ExitStatus runScan(const ScanArguments& arguments);

/// Scans, shows, asks and removes, one path after the other.
ExitStatus runClean(const CleanArguments& arguments);

/// Cleans every visible volume that is not Mac-formatted, with the rules of the live watcher.
ExitStatus runSweep(const SweepArguments& arguments);

/// Removes litter as it appears, until SIGINT or SIGTERM.
ExitStatus runWatch(const WatchArguments& arguments);

/// Ejects the volume that holds a path.
ExitStatus runEject(const EjectArguments& arguments);

/// Prints the rules and the protected file types.
ExitStatus runRules(const RulesArguments& arguments);

/// Prints the visible volumes, targets marked.
ExitStatus runVolumes(const VolumesArguments& arguments);

/// Prints the log's path or its lines.
ExitStatus runLog(const LogArguments& arguments);

}  // namespace varnel::cli
