// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/volumes/Volume.h"

namespace varnel {

/// One planned deletion. Path and name are the bytes that the folder listed, not necessarily UTF-8.
struct MatchItem {
    std::string path;
    std::string name;          ///< Last component of the path: what the rule matched.
    std::string ruleID;        ///< The rule that claimed it.
    bool isDirectory = false;  ///< At the time of the scan. A directory goes with everything in it.
    std::int64_t bytes = 0;    ///< Length at the time of the scan; 0 for a directory, whose contents do not count.

    bool operator==(const MatchItem&) const = default;
};

/// What one rule claimed.
struct RuleTally {
    std::string ruleID;
    std::string label;
    std::int64_t count = 0;
    std::int64_t bytes = 0;
    std::int64_t directories = 0;  ///< How many of the items are directories.

    bool operator==(const RuleTally&) const = default;
};

/// The result of one scan of one folder: a value that refers to nothing on the disk.
struct Plan {
    std::string root;
    Volume volume;                            ///< Made up by the scanner for the root; see Scanner.
    std::vector<MatchItem> items;             ///< What to delete, in the order in which it was found.
    std::vector<std::string> protectedItems;  ///< Claimed, but kept because of their file type.
    std::vector<std::string> errors;          ///< Problems met, one line each.
    std::vector<RuleTally> tallies;           ///< In the order in which the rules first claimed something.

    /// Sum of the items' bytes; traps on overflow.
    std::int64_t totalBytes() const;

    /// Whether there is nothing to delete. Protected items and errors do not count.
    bool isEmpty() const { return items.empty(); }
};

}  // namespace varnel
