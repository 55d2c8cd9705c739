// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varnel {

/// What one execution of a plan did.
struct ExecResult {
    /// An entry that was refused or could not be removed, and a one-line reason for people.
    struct Failure {
        std::string path;
        std::string reason;

        bool operator==(const Failure&) const = default;
    };

    std::int64_t removed = 0;  ///< Files and directories together; in a dry run what would have been removed.
    std::int64_t removedDirectories = 0;
    std::int64_t bytes = 0;            ///< By the plan's figures.
    std::vector<Failure> failures;     ///< In the order in which the items were worked on.
    std::vector<std::string> skipped;  ///< Paths that no longer existed when their turn came.

    /// Whether nothing failed. Skipped paths do not count.
    bool ok() const { return failures.empty(); }

    /// One line, without a line feed.
    std::string summary(bool dryRun) const;
};

}  // namespace varnel
