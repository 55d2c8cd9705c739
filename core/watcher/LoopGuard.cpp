// SPDX-License-Identifier: MIT
#include "core/watcher/LoopGuard.h"

#include <string>

#include "core/base/Checked.h"

namespace varnel {

bool LoopGuard::admit(const std::string& path, double now) {
    const auto [entry, isNew] = recentDeletes_.try_emplace(path, Attempts{1, now});
    Attempts& attempts = entry->second;
    if (!isNew) {
        const bool isWithinInterval = now - attempts.firstSeen <= interval;
        attempts = isWithinInterval ? Attempts{addOrTrap(attempts.count, 1), attempts.firstSeen} : Attempts{1, now};
    }
    if (attempts.count < limit) return true;
    suppressed_.insert(path);
    return false;
}

}  // namespace varnel
