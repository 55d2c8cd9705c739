// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "core/plan/TreeRemover.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/scan/Directory.h"
#include "core/scan/FSInfo.h"
#include "core/scan/ParentFolders.h"
#include "core/scan/PathGuard.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/Watcher.h"

namespace varnel {
namespace {

/// The one rule that consults the protected extensions.
constexpr std::string_view companionRule = "appledouble";

}  // namespace

void Watcher::handle(std::span<const std::string> paths, std::span<const std::uint32_t> flags, std::int64_t count) {
    assertOnQueue();
    ++batches_;
    const std::size_t events = std::min({paths.size(), flags.size(), static_cast<std::size_t>(count)});
    bool hasLostEvents = false;
    std::unordered_set<std::string_view> seen;
    std::vector<const std::string*> singles;
    for (std::size_t i = 0; i < events; ++i) {
        if ((flags[i] & EventFlags::lostEvents) != 0) {
            hasLostEvents = true;
            if (const Volume* const volume = VolumeList::volume(paths[i], volumes_))
                pendingSweep_.insert(volume->mountPoint);
        } else if (seen.insert(paths[i]).second) {
            singles.push_back(&paths[i]);
        }
    }
    if (hasLostEvents) {
        ++dropRecoveries_;
        scheduleRecoverySweep();
    }
    const auto most = static_cast<std::size_t>(maxDeletesPerBatch);
    for (std::size_t i = 0; i < std::min(singles.size(), most); ++i)
        handleSingle(*singles[i]);
    if (singles.size() > most) {
        for (const Volume& volume : volumes_)
            pendingSweep_.insert(volume.mountPoint);
        scheduleRecoverySweep();
    }
}

void Watcher::handleSingle(const std::string& path) {
    const Volume* const volume = VolumeList::volume(path, volumes_);
    if (volume == nullptr || PathGuard::isForbidden(path) || guard_.isSuppressed(path)) return;
    const std::string_view name = Path::lastComponent(path);
    const auto entry = FSInfo::entry(path);
    if (!entry) return;
    const Rule* const rule = rules_.firstMatch(name, entry->isDirectory, RuleScope::watcher);
    if (rule == nullptr || (rule->id == companionRule && rules_.isProtected(name))) return;
    if (!guard_.admit(path, ports_.now())) {
        ++loopsSuppressed_;
        write("SUPPRESS loop guard " + path);
        return;
    }
    if (!removeLocked(path, rule->id, *volume, entry->isDirectory)) return;
    ++deleted_;
    write("WATCH " + rule->id + "  " + path);
    if (onDelete) onDelete(path);
}

bool Watcher::removeLocked(const std::string& path, const std::string& ruleID, const Volume& volume, bool isDirectory) {
    const auto fail = [&](int error) {
        write("FAIL  " + ruleID + "  " + path + "  " + std::generic_category().message(error));
        return false;
    };
    // The way to the entry is gone once more, this time by descriptor and through no link: what was looked at by its
    // path may have been swapped since.
    auto root = Directory::openRoot(volume.mountPoint, Directory::Links::follow, Directory::Purpose::lookUp);
    if (!root) return fail(root.error());
    const auto rootFacts = Directory::factsOf(root->get());
    if (!rootFacts) return fail(rootFacts.error());
    const std::string standardized = Path::standardized(path);
    if (standardized == volume.mountPoint) return false;
    ParentFolders parents(volume.mountPoint, rootFacts->device, *std::move(root));
    const std::string_view below = std::string_view(standardized).substr(volume.mountPoint.size() + 1);
    const std::string name(Path::lastComponent(below));
    const auto parent = parents.at(Path::withoutLastComponent(below));
    if (!parent) return false;
    if (!isDirectory) {
        const int error = Directory::removeEntry(parent->folder, name.c_str());
        return error == 0 || fail(error);
    }
    const auto facts = Directory::facts(parent->folder, name.c_str());
    if (facts && (facts->isMountRoot || facts->device != parent->facts.device)) return false;
    const int error = TreeRemover().remove(parent->folder, name);
    return error == 0 || fail(error);
}

}  // namespace varnel
