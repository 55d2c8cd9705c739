// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace varnel {

/// Remembers how often each path was removed lately, and gives up on a path that some program keeps making again.
///
/// Counts attempts, not successes. An interval begins with a path's first attempt and does not slide. What was given
/// up on stays so for good; nothing is ever forgotten.
class LoopGuard {
public:
    static constexpr double interval = 60.0;  ///< Seconds.
    static constexpr std::int64_t limit = 6;  ///< The attempt within one interval that is refused.

    bool isSuppressed(const std::string& path) const { return suppressed_.contains(path); }

    /// Counts an attempt at `now`, seconds since 1970. False where this is the attempt too many: then the path is
    /// suppressed from here on.
    bool admit(const std::string& path, double now);

private:
    struct Attempts {
        std::int64_t count = 0;
        double firstSeen = 0;
    };

    std::unordered_map<std::string, Attempts> recentDeletes_;
    std::unordered_set<std::string> suppressed_;
};

}  // namespace varnel
