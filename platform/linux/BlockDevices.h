// SPDX-License-Identifier: MIT
//
// How block devices are made of one another, as sysfs has it: a partition of a disk, an unlocked device of a locked
// one, a logical volume or an array of several. Shared by the sources of this folder, for nobody else.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace varnel::BlockDevices {

/// The folder of a device in sysfs, through a link; there may be none. `number` as st_rdev has it.
std::string folderOf(std::uint64_t number);

/// What tells a disk from the next one with its number, a partition's from that of its disk; none before Linux 5.15.
std::optional<std::uint64_t> diskSequence(std::uint64_t number);

/// The device's number, and those of everything that is made of it, directly or not.
std::set<std::uint64_t> madeOf(std::uint64_t number);

/// The folders of the devices that a device is made of in the end, and so their places in the machine: its own where it
/// is made of no other. `folder` is its folder, links resolved.
std::vector<std::string> foundations(const std::string& folder);

}  // namespace varnel::BlockDevices
