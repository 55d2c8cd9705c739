// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/Target.h"
#include "cli/VolumeEjection.h"

namespace varnel::cli {

ExitStatus runEject(const EjectArguments& arguments) {
    std::vector<std::string> words = {arguments.path};
    VolumeEjection::leaveCurrentFolder(words);
    Interruption::begin();
    const auto path = Target::path(words.front());
    if (!path) {
        Output::message(Output::shownInMessage(words.front()) + ' ' + path.error());
        return ExitStatus::refused;
    }
    const auto mountPoint = VolumeEjection::mountPointOf(*path);
    if (!mountPoint) {
        Output::message(Output::shownInMessage(*path) + ": " + mountPoint.error().message());
        return ExitStatus::failed;
    }
    if (const auto refusal = VolumeEjection::whyRefused(*mountPoint)) {
        Output::message(Output::shownInMessage(*path) + ' ' + *refusal);
        return ExitStatus::refused;
    }
    return VolumeEjection::eject(VolumeEjection::Mounted::at(*mountPoint), /*json=*/false);
}

}  // namespace varnel::cli
