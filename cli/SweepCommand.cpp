// SPDX-License-Identifier: MIT
#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"

namespace varnel::cli {

ExitStatus runSweep(const SweepArguments& arguments) {
    CleanArguments clean;
    clean.selection = arguments.selection;
    clean.yes = arguments.yes;
    clean.dryRun = arguments.dryRun;
    clean.allowLiveForks = arguments.allowLiveForks;
    for (const Volume& volume : VolumeList::targets())
        clean.paths.push_back(volume.mountPoint);
    if (clean.paths.empty()) {
        Output::message("no volumes to sweep");
        return ExitStatus::done;
    }
    return runClean(clean);
}

}  // namespace varnel::cli
