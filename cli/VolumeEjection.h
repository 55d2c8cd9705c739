// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "cli/ExitStatus.h"
#include "core/scan/VolumeIdentity.h"

namespace varnel::cli::VolumeEjection {

/// Where the volume is mounted that a path leads to, all links resolved.
std::expected<std::string, std::error_code> mountPointOf(const std::string& path);

/// Why nobody ejects the volume at a mount point, to be read behind a path on it; none where nothing speaks against it.
std::optional<std::string> whyRefused(const std::string& mountPoint);

/// Gives up the current folder, which keeps its volume in use, and makes the words absolute that were relative to it.
/// Called before Interruption::begin(), for neither process may stay there.
void leaveCurrentFolder(std::vector<std::string>& words);

/// A volume, and where it is mounted.
struct Mounted {
    std::string mountPoint;
    VolumeIdentity volume;

    /// The volume that is mounted there now.
    static Mounted at(const std::string& mountPoint);

    bool operator==(const Mounted&) const = default;
};

/// Ejects the volume, and never another one that took its place, and says what came of it: as one JSON object where
/// that is wanted.
ExitStatus eject(const Mounted& mounted, bool json);

}  // namespace varnel::cli::VolumeEjection
