// SPDX-License-Identifier: MIT
//
// Folders opened one component at a time, each held against the one above: the road that every POSIX kernel has.
#pragma once

#include <dirent.h>  // IWYU pragma: keep

#include <expected>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/scan/Directory.h"

namespace varnel::Directory::Stepwise {

/// One openat(), its error as a value.
std::expected<FileDescriptor, int> openFolder(int folder, const char* name, int flags);

/// Opens the subfolder `name`: EXDEV where it does not share the mount of the folder above. `flags` must refuse links.
std::expected<FileDescriptor, int> openChild(int folder, const std::string& name, int flags);

/// Opens the folder at the relative path `below`, of any length: as openChild() for each component; EXDEV for "..".
std::expected<FileDescriptor, int> openBeneath(int folder, std::string_view below, int flags);

/// "." and "..", and the empty name that no sound file system gives.
inline bool isSelfOrParent(const char* name) {
    if (name[0] != '.') return name[0] == '\0';
    return name[1] == '\0' || (name[1] == '.' && name[2] == '\0');
}

/// What a listing says of an entry by its DT_ number.
inline ListedKind listedKind(unsigned char type) {
    switch (type) {
        case DT_UNKNOWN:
            return ListedKind::unknown;
        case DT_DIR:
            return ListedKind::directory;
        case DT_LNK:
            return ListedKind::symlink;
        default:
            return ListedKind::other;
    }
}

}  // namespace varnel::Directory::Stepwise
