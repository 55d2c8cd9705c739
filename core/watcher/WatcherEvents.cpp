// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/base/Path.h"
#include "core/base/RemovalFailure.h"
#include "core/rules/Rule.h"
#include "core/scan/PathGuard.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/LiveRemover.h"
#include "core/watcher/Watcher.h"

namespace varnel {

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
    LiveRemover remover(identities_);
    for (std::size_t i = 0; i < std::min(singles.size(), most); ++i)
        handleSingle(*singles[i], remover);
    if (singles.size() > most) {
        for (const Volume& volume : volumes_)
            pendingSweep_.insert(volume.mountPoint);
        scheduleRecoverySweep();
    }
}

void Watcher::handleSingle(const std::string& path, LiveRemover& remover) {
    // Most events are about names that no rule claims, whatever they are: those are not looked at on the disk.
    const std::string_view name = Path::lastComponent(path);
    constexpr bool folder = true;
    if (active_.firstMatch(name, !folder) == nullptr && active_.firstMatch(name, folder) == nullptr) return;
    const Volume* const volume = VolumeList::volume(path, volumes_);
    if (volume == nullptr || postponeLocked(volume->mountPoint)) return;
    if (PathGuard::isForbidden(path) || guard_.isSuppressed(path)) return;
    const auto entry = remover.find(*volume, path);
    if (!entry) return;
    const Rule* const rule = active_.firstMatch(name, entry->facts.isDirectory);
    if (rule == nullptr || rules_.isKept(*rule, name)) return;
    if (!guard_.admit(path, ports_.now())) {
        ++loopsSuppressed_;
        write("SUPPRESS loop guard " + path);
        return;
    }
    if (entry->isMountPoint) return;
    if (const int error = remover.remove(*entry); error != 0) {
        write("FAIL  " + rule->id + "  " + path + "  " + removalFailure(path, entry->facts.isDirectory, error));
        return;
    }
    ++deleted_;
    write("WATCH " + rule->id + "  " + path);
    if (onDelete) onDelete(path);
}

}  // namespace varnel
