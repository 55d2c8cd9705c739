// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/scan/Directory.h"

namespace varnel {

/// Opens, one after the other, the folders that hold the entries to be removed below one root: through no link and
/// into no other volume.
///
/// The way is gone anew for each entry, although entries of one folder mostly follow each other: a folder that is
/// merely held may have been moved elsewhere meanwhile, and what is in it is nobody's litter there.
class ParentFolders {
public:
    /// `root` is open, or not: then no folder is found. `rootPath` only serves to tell refusals apart.
    ParentFolders(std::string rootPath, FileDescriptor root);

    struct Parent {
        int folder = -1;  ///< Open until the next call; stays this object's.
        Directory::Facts facts;
    };

    enum class Refusal : std::uint8_t {
        otherVolume,  ///< It is not there, cannot be reached, or lies on another volume.
        link,         ///< The way to it leads through a link, to the same volume.
        noFolder,     ///< Something else stands there, on the same volume: nothing can be in it any more.
    };

    /// The folder at a path below the root; empty for the root itself.
    std::expected<Parent, Refusal> at(std::string_view below);

private:
    Refusal refusal(int error, std::string_view below) const;

    std::string rootPath_;
    FileDescriptor root_;
    Directory::Facts rootFacts_;
    FileDescriptor folder_;  // the latest
};

}  // namespace varnel
