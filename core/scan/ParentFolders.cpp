// SPDX-License-Identifier: MIT
#include "core/scan/ParentFolders.h"

#include <cerrno>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"

namespace varnel {

ParentFolders::ParentFolders(std::string rootPath, std::int32_t device, FileDescriptor root)
    : rootPath_(std::move(rootPath)), device_(device), root_(std::move(root)) {
    if (const auto facts = Directory::factsOf(root_.get())) rootFacts_ = *facts;
}

std::expected<ParentFolders::Parent, ParentFolders::Refusal> ParentFolders::at(std::string_view below) {
    if (isHeld_ && below == below_) return Parent{folder_.get(), facts_};
    const bool isDeeper =
        isHeld_ && !below_.empty() && below.size() > below_.size() && Path::isAtOrBelow(below, below_);
    const int start = isDeeper ? folder_.get() : root_.get();
    const std::string_view rest = isDeeper ? below.substr(below_.size() + 1) : below;
    auto opened = Directory::openBeneath(start, rest, Directory::Purpose::lookUp);
    if (!opened) return std::unexpected(refusal(opened.error(), below));
    const auto facts = Directory::factsOf(opened->get());
    if (!facts || facts->device != device_ || !facts->isOnSameMount(rootFacts_)) {
        return std::unexpected(Refusal::otherVolume);
    }
    folder_ = *std::move(opened);
    facts_ = *facts;
    below_ = below;
    isHeld_ = true;
    return Parent{folder_.get(), facts_};
}

ParentFolders::Refusal ParentFolders::refusal(int error, std::string_view below) const {
    // A link answers ELOOP or ENOTDIR, depending on where on the way it stands and on how the way was opened.
    if (error != ELOOP && error != ENOTDIR) return Refusal::otherVolume;
    const auto behind = Directory::factsFollowingLinks(Path::joined(rootPath_, below));
    if (!behind || behind->device != device_) return Refusal::otherVolume;
    return behind->isDirectory ? Refusal::link : Refusal::noFolder;
}

}  // namespace varnel
