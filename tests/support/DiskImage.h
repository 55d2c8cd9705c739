// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace varnel::tests {

/// A file system that this test program can make in a file and mount.
struct DiskKind {
    std::string name;          ///< As FSInfo::type reports it.
    std::string make;          ///< Makes the file system in the file $IMAGE.
    std::string mount;         ///< Mounts $IMAGE on $PLACE.
    bool holdsAnyName = true;  ///< Links, line feeds, and names that are not UTF-8.
    bool ignoresCase = false;
    bool isUserSpace = false;  ///< Driven by a program.

    /// The program without which there is no such volume; empty where none is missing.
    std::string missing() const;
};

inline void PrintTo(const DiskKind& kind, std::ostream* out) {
    *out << kind.name;
}

const std::vector<DiskKind>& diskKinds();
const DiskKind& diskKind(const std::string& name);

/// Makes a fresh image in `image` and mounts it on `place`. Only in a mount namespace of the test's own.
void mountDisk(const DiskKind& kind, const std::string& image, const std::string& place);

/// Mounts an image that was made before.
void mountAgain(const DiskKind& kind, const std::string& image, const std::string& place);

/// Unmounts, waiting for a user-space driver to let go.
void unmountDisk(const std::string& place);

}  // namespace varnel::tests
