// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <vector>

#include "core/volumes/MountedVolumes.h"
#include "core/volumes/Volume.h"

namespace varnel::VolumeList {

/// Every mounted, visible volume, in the order of a file browser. Looks afresh; reports no error.
///
/// What lies in "/Volumes" is listed too, also where it is only a folder or a link, with the type of the file system
/// that holds it.
std::vector<Volume> all();
std::vector<Volume> all(const MountedVolumes& system);

/// The volumes to clean: those of all() that are not Mac-formatted.
std::vector<Volume> targets();
std::vector<Volume> targets(const MountedVolumes& system);

/// The volume of the list with the longest mount point that is `path` or holds it; null when none does. The volume "/"
/// holds nothing but the path "/", so that nothing on the start-up disk is ever taken for a target's.
/// Points into `volumes`.
const Volume* volume(const std::string& path, std::span<const Volume> volumes);

}  // namespace varnel::VolumeList
