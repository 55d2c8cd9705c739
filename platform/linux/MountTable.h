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

/// Asks statx() for the number of a mount that is never given out again: STATX_MNT_ID_UNIQUE of Linux 6.8, which older
/// headers lack.
inline constexpr unsigned uniqueMountMask = 0x4000;

struct Mount {
    std::uint64_t id = 0;
    std::string mountPoint;
    std::string root;       ///< Which folder of the file system is mounted; "/" but for bind mounts and subvolumes.
    std::string driver;     ///< The type as the kernel calls it.
    std::string source;     ///< The device, or whatever the driver put there.
    bool isShown = false;   ///< Marked for file managers.
    bool isHidden = false;  ///< Marked as none of their business.
};

/// The type as people know it: the Mac formats by the Mac's names, block devices by what they hold. The device is asked
/// for that where all mounts of its driver bear one name, so only ask this of a mount that matters.
std::string typeOf(const Mount& mount);

/// Every mount, in the kernel's order; none where the table cannot be read.
std::optional<std::vector<Mount>> read();

/// The same of a table that was written to a file, in the kernel's notation and without what mount(8) knows.
std::optional<std::vector<Mount>> readFrom(const std::string& file);

/// What is mounted where, and nothing that has to be asked of a device.
struct Places {
    std::set<std::pair<std::uint64_t, std::string>> all;  ///< Numbers and places.
    bool isExact = false;  ///< A mount that went and came again has another number (6.8); else it may have the same.
};

/// None where the table cannot be read.
std::optional<Places> places();

/// The id of the mount that a path lies on, without asking a server; none where there is no such path.
std::optional<std::uint64_t> mountOf(const std::string& path);

/// What tells the mount that a path lies on from one that takes its place.
struct Occupant {
    std::uint64_t mount = 0;   ///< Never given out again where the kernel has such numbers (6.8).
    std::uint64_t device = 0;  ///< This and the next only where it has none.
    std::uint64_t folder = 0;

    bool operator==(const Occupant&) const = default;
};
std::optional<Occupant> occupantOf(const std::string& path);

/// The mount with that id, or null.
const Mount* find(const std::vector<Mount>& table, std::uint64_t id);

}  // namespace varnel::MountTable
