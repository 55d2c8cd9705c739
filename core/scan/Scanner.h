// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "core/base/FunctionRef.h"
#include "core/plan/Plan.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel {

/// How far a scan has come.
struct ScanProgress {
    std::int64_t entries = 0;  ///< Entries seen, folders included.
    std::int64_t items = 0;    ///< Of these, claimed by a rule.
};

/// Turns one folder into a plan. Deletes nothing; holds no lock; runs on the caller's thread.
struct Scanner {
    RuleSet rules;
    RuleScope scope;

    /// The plan of everything below `root` that the rules of the scope claim. Never fails: every problem is a line
    /// of the plan's errors. A duplicate rule id stops the process. `root` is a file system path, standardised here.
    Plan scan(const std::string& root) const;

    /// The same, telling `onProgress` every few thousand entries.
    Plan scan(const std::string& root, FunctionRef<void(const ScanProgress&)> onProgress) const;
};

}  // namespace varnel
