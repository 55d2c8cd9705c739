// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace varnel {

/// What tells the volume below a folder from another one that is mounted in its place later.
///
/// Port: `of` is the platform's. Device numbers and mount ids are given out again at once, so neither is enough.
struct VolumeIdentity {
    std::int32_t device = 0;
    std::uint64_t uniqueMount = 0;  ///< Never given out twice; where the kernel has such a number, it says it all.
    std::uint64_t mount = 0;
    std::uint64_t rootInode = 0;  ///< Of the volume's own root; 0 where it is not known or not needed.
    std::uint64_t medium = 0;     ///< Counts what was put into the drive; 0 where unknown.
    std::uint64_t fileSystem = 0;
    std::uint64_t blocks = 0;  ///< Its size, where that is fixed.
    std::int64_t born = 0;     ///< When that root or the volume was made, seconds since 1970; 0 where unknown.
    std::uint32_t bornNanoseconds = 0;

    /// The identity of the volume that holds `folder`, links followed; none where it cannot be asked. What becomes of
    /// the folder itself does not matter.
    static std::optional<VolumeIdentity> of(const std::string& folder);
    /// The same for an open folder.
    static std::optional<VolumeIdentity> of(int descriptor);

    bool operator==(const VolumeIdentity&) const = default;
};

}  // namespace varnel
