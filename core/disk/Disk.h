// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>

#include "core/disk/DiskError.h"
#include "core/disk/DiskTools.h"

namespace varnel::Disk {

/// Ejects the volume that holds `path`, its mount point or anything on it; what will not be ejected at once is
/// unmounted first. Blocks until everything it starts has ended, without a time limit: call it off the main thread. The
/// error is what the system had to say, if anything.
[[nodiscard]] std::expected<void, DiskError> eject(const std::string& path, bool force);
[[nodiscard]] std::expected<void, DiskError> eject(const std::string& path, bool force, DiskTools& tools);

/// Unmounts the volume at `path`; the same holds.
[[nodiscard]] std::expected<void, DiskError> unmount(const std::string& path, bool force);
[[nodiscard]] std::expected<void, DiskError> unmount(const std::string& path, bool force, DiskTools& tools);

}  // namespace varnel::Disk
