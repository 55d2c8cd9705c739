// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace varnel {

/// One mounted volume: where it is mounted, what file system it carries and how it is attached.
struct Volume {
    std::string mountPoint;  ///< Absolute, for example "/Volumes/USB".
    std::string fsType;      ///< As the system reports it, for example "exfat".
    bool isLocal = true;     ///< False for a network file system.
    bool isRemovable = false;
    bool isInternal = false;

    /// Stands for the type of a file system that cannot be learned.
    static constexpr const char* unknownType = "unknown";

    /// Whether a file system type, in any letter case, is one of the Mac's own: "apfs", "hfs", "hfsx".
    static bool isMacFormat(std::string_view fsType);
    bool isMacFormat() const { return isMacFormat(fsType); }

    /// Whether the volume is one to clean: every volume that is not Mac-formatted, however it is attached.
    bool isTarget() const { return !isMacFormat(); }

    /// "Macintosh HD" for "/", else the last component of the mount point.
    std::string name() const;

    /// One line for menus and lists: name, file system, local or network.
    std::string summary() const;

    bool operator==(const Volume&) const = default;
};

}  // namespace varnel
