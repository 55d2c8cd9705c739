// SPDX-License-Identifier: MIT
//
// What a person should know about a plan before saying yes: litter by name that is dear by content.
#pragma once

#include <string>
#include <vector>

#include "core/plan/Plan.h"

namespace varnel::cli::Notes {

/// One line for each thing in the plan that is dear: `._` files with a real resource fork, trash folders with what they
/// hold, folders of documents being saved, the owner's own switch in `.fseventsd`. Reads the disk, changes nothing.
std::vector<std::string> about(const Plan& plan);

/// Takes every System Volume Information folder out of the plan that holds deduplicated data or the keys of an
/// encrypted volume, and gives the paths that were taken out.
std::vector<std::string> keepSystemVolumes(Plan& plan);

}  // namespace varnel::cli::Notes
