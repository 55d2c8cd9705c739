// SPDX-License-Identifier: MIT
#include "core/watcher/LiveRemover.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/ParentFolders.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"

namespace varnel {

std::optional<LiveRemover::Entry> LiveRemover::find(const Volume& volume, const std::string& path) {
    ParentFolders* const folders = foldersOf(volume);
    const std::string standardized = Path::standardized(path);
    if (folders == nullptr || standardized == volume.mountPoint ||
        !Path::isAtOrBelow(standardized, volume.mountPoint)) {
        return std::nullopt;
    }
    std::string_view below = std::string_view(standardized).substr(volume.mountPoint.size());
    if (below.starts_with('/')) below.remove_prefix(1);
    Entry entry;
    entry.name = Path::lastComponent(below);
    const auto parent = folders->at(Path::withoutLastComponent(below));
    if (!parent) return std::nullopt;
    const auto facts = Directory::facts(parent->folder, entry.name.c_str());
    if (!facts) return std::nullopt;
    entry.folder = parent->folder;
    entry.facts = *facts;
    entry.isMountPoint = facts->isMountedIn(parent->facts);
    return entry;
}

int LiveRemover::remove(const Entry& entry) {
    if (!entry.facts.isDirectory) return Directory::removeEntry(entry.folder, entry.name.c_str());
    if (!remover_) remover_.emplace();
    return remover_->remove(entry.folder, entry.name);
}

ParentFolders* LiveRemover::foldersOf(const Volume& volume) {
    auto [found, isNew] = volumes_.try_emplace(volume.mountPoint);
    if (isNew) {
        const auto known = identities_.find(volume.mountPoint);
        auto root = Directory::openRoot(volume.mountPoint, Directory::Links::follow, Directory::Purpose::lookUp);
        if (root && known != identities_.end() && VolumeIdentity::of(root->get()) == known->second) {
            found->second.emplace(volume.mountPoint, *std::move(root));
        }
    }
    std::optional<ParentFolders>& folders = found->second;
    return folders ? &*folders : nullptr;
}

}  // namespace varnel
