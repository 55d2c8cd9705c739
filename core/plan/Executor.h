// SPDX-License-Identifier: MIT
//
// Carries out a plan and trusts nothing that it says about the disk. The root is opened once; each item's folder is
// opened beneath it, through no link and into no mount, and the item is examined and removed by its name in that open
// folder. So a tree that changes meanwhile can make an item fail, never something else go.
#pragma once

#include <optional>

#include "core/base/FunctionRef.h"
#include "core/log/Log.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Plan.h"
#include "core/scan/VolumeIdentity.h"

namespace varnel::Executor {

/// Removes the plan's items, files first, then folders, the longest path first; in a dry run only counts them.
///
/// `log` may be null. Never fails as a whole: every problem is in the result. Runs on the caller's thread.
ExecResult execute(const Plan& plan, bool dryRun, Log* log);

/// The same under supervision.
struct Supervision {
    /// The volume that was scanned: where the root lies on another one by now, every item fails.
    std::optional<VolumeIdentity> volume;
    /// Asked before each item with the result so far; false ends the run there.
    FunctionRef<bool(const ExecResult&)> mayGoOn;
};
ExecResult execute(const Plan& plan, bool dryRun, Log* log, const Supervision& supervision);

}  // namespace varnel::Executor
