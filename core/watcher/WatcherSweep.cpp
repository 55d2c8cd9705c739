// SPDX-License-Identifier: MIT
#include <chrono>
#include <string>
#include <utility>

#include "core/base/Checked.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Executor.h"
#include "core/plan/Plan.h"
#include "core/rules/RuleScope.h"
#include "core/scan/Scanner.h"
#include "core/scan/VolumeIdentity.h"
#include "core/watcher/Watcher.h"

namespace varnel {
namespace {

/// From the latest request to the sweep, so that a storm of requests ends in one sweep.
constexpr std::chrono::seconds recoveryDelay{2};

}  // namespace

void Watcher::scheduleRecoverySweep() {
    if (sweepWork_) sweepWork_->cancel();
    sweepWork_ = queue_->after(recoveryDelay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->recoverLocked();
    });
}

void Watcher::recoverLocked() {
    assertOnQueue();
    // What is asked for while the sweep runs waits for the next one.
    const auto roots = std::exchange(pendingSweep_, {});
    for (const std::string& root : roots)
        sweepLocked(root, "RECOVER ");
}

void Watcher::sweepLocked(const std::string& root, const char* tag) {
    // What is no longer there, or is another volume by now, is not worth a line.
    if (postponeLocked(root)) return;
    const auto known = identities_.find(root);
    if (known == identities_.end() || VolumeIdentity::of(root) != known->second) return;
    const VolumeIdentity identity = known->second;
    const Plan plan = Scanner{rules_, RuleScope::watcher}.scan(root);
    if (plan.isEmpty()) return;
    const auto always = [](const ExecResult&) { return true; };
    const ExecResult result = Executor::execute(plan, /*dryRun=*/false, log_.get(), {identity, always});
    deleted_ = addOrTrap(deleted_, result.removed);
    if (result.removed >= 1) write(tag + root + " " + result.summary(/*dryRun=*/false));
}

}  // namespace varnel
