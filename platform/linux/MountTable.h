// SPDX-License-Identifier: MIT
//
// The kernel's mount table at one moment. Shared by the sources of this folder, for nobody else.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varnel::MountTable {

struct Mount {
    std::uint64_t id = 0;
    std::string mountPoint;
    std::string root;       ///< Which folder of the file system is mounted; "/" but for bind mounts and subvolumes.
    std::string type;       ///< As people know it: the Mac formats by the Mac's names, block devices by what they hold.
    std::string source;     ///< The device, or whatever the driver put there.
    bool isShown = false;   ///< Marked for file managers.
    bool isHidden = false;  ///< Marked as none of their business.
};

/// Every mount, in the kernel's order; none where the table cannot be read.
std::optional<std::vector<Mount>> read();

/// A mount's number and place, and nothing that has to be asked of a device.
using Place = std::pair<std::uint64_t, std::string>;
std::set<Place> places();

/// The id of the mount that a path lies on, without asking a server; none where there is no such path.
std::optional<std::uint64_t> mountOf(const std::string& path);

/// The same as a number that is never given out again, where the kernel has one (6.8).
std::optional<std::uint64_t> uniqueMountOf(const std::string& path);

/// The mount with that id, or null.
const Mount* find(const std::vector<Mount>& table, std::uint64_t id);

}  // namespace varnel::MountTable
