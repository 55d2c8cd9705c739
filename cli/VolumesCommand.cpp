// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/plan/PlanCoding.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"

namespace varnel::cli {
namespace {

/// The coded volume with what follows from it.
std::string json(const Volume& volume) {
    std::string object = PlanCoding::encode(volume);
    object.pop_back();
    return object + ",\"isTarget\":" + (volume.isTarget() ? "true" : "false") +
           PlanCoding::encodePathBytes(volume.mountPoint) + "}\n";
}

std::string line(const Volume& volume) {
    return std::string(volume.isTarget() ? "* " : "  ") + Output::shown(volume.summary()) + "  " +
           Output::shown(volume.mountPoint) + '\n';
}

}  // namespace

ExitStatus runVolumes(const VolumesArguments& arguments) {
    const std::vector<Volume> volumes = VolumeList::all();
    for (const Volume& volume : volumes)
        Output::result(arguments.json ? json(volume) : line(volume));
    if (volumes.empty() && !arguments.json) Output::message("no volumes are mounted");
    return ExitStatus::done;
}

}  // namespace varnel::cli
