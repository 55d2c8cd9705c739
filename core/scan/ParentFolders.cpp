// SPDX-License-Identifier: MIT
#include "core/scan/ParentFolders.h"

#include <cerrno>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"

namespace varnel {

ParentFolders::ParentFolders(std::string rootPath, FileDescriptor root)
    : rootPath_(std::move(rootPath)), root_(std::move(root)) {
    if (const auto facts = Directory::factsOf(root_.get())) rootFacts_ = *facts;
}

std::expected<ParentFolders::Parent, ParentFolders::Refusal> ParentFolders::at(std::string_view below) {
    if (!root_.isOpen()) {
        const auto instead = Directory::factsFollowingLinks(rootPath_);
        const bool isNoFolder = below.empty() && instead && !instead->isDirectory;
        return std::unexpected(isNoFolder ? Refusal::noFolder : Refusal::otherVolume);
    }
    auto opened = Directory::openBeneath(root_.get(), below, Directory::Purpose::lookUp);
    if (!opened) return std::unexpected(refusal(opened.error(), below));
    const auto facts = Directory::factsOf(opened->get());
    if (!facts || !facts->isOnSameMount(rootFacts_)) return std::unexpected(Refusal::otherVolume);
    folder_ = *std::move(opened);
    return Parent{folder_.get(), *facts};
}

ParentFolders::Refusal ParentFolders::refusal(int error, std::string_view below) const {
    // A link answers ELOOP or ENOTDIR, depending on where on the way it stands and on how the way was opened.
    if (error != ELOOP && error != ENOTDIR) return Refusal::otherVolume;
    const auto behind = Directory::factsFollowingLinks(Path::joined(rootPath_, below));
    if (!behind || behind->device != rootFacts_.device) return Refusal::otherVolume;
    return behind->isDirectory ? Refusal::link : Refusal::noFolder;
}

}  // namespace varnel
