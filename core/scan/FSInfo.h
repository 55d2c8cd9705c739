// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace varnel::FSInfo {

/// What lstat() tells of one path.
struct Entry {
    bool isDirectory = false;
    bool isSymlink = false;
    std::int32_t device = 0;
    std::int64_t size = 0;  ///< Bytes, whatever the kind: a directory's own size too.
};

/// The path itself, never what a link points to; none where it cannot be asked.
std::optional<Entry> entry(const std::string& path);

/// The device of what the path leads to, links followed; none where it cannot be asked.
std::optional<std::int32_t> device(const std::string& path);

/// The device of the path itself; none where it cannot be asked.
std::optional<std::int32_t> linkDevice(const std::string& path);

/// Whether the path is where a volume is mounted: "/", a folder on another device than its parent, or one that the
/// kernel marks as the root of a mount. False for a path that does not exist. Never waits for a server where the
/// system can tell without.
bool isMountPoint(const std::string& path);

/// The name of the type of the file system that holds the path; none where the path does not exist.
/// The Mac formats read "hfs" and "apfs" whatever driver mounts them. Never waits for a server.
std::optional<std::string> type(const std::string& path);

}  // namespace varnel::FSInfo
