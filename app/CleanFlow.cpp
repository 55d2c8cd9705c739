// SPDX-License-Identifier: MIT
//
// The cleaning of one folder or volume, from the request to the report; see AppDelegate.h for its road.
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "app/AppDelegate.h"
#include "app/CleanAlerts.h"
#include "core/base/Path.h"
#include "core/disk/DiskError.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Executor.h"
#include "core/rules/RuleScope.h"
#include "core/scan/PathGuard.h"
#include "core/scan/Scanner.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"

namespace varnel {

void AppDelegate::previewVolume(const std::optional<std::string>& mountPoint, PreviewOptions options) {
    if (mountPoint) preview(*mountPoint, options);
}

void AppDelegate::preview(const std::string& path, PreviewOptions options) {
    if (isBusy_) return;
    Flow flow = {.path = Path::standardized(path),
                 .options = options,
                 .fileSystemType = {},
                 .rules = nullptr,
                 .plan = {},
                 .volume = {}};
    if (PathGuard::isForbidden(flow.path)) {
        desktop_->ask(CleanAlerts::refused(flow.path));
        return;
    }
    // Where it cannot be learned now, it is after the scan.
    flow.fileSystemType = fileSystemType(flow.path).value_or(Volume::unknownType);
    if (!mayTouch(flow.path, flow.fileSystemType)) return;
    flow.rules = &rules();
    begin([weak = weak_from_this(), flow = std::move(flow)]() mutable {
        if (const auto self = weak.lock()) self->scan(std::move(flow));
    });
}

void AppDelegate::begin(std::function<void()> work) {
    if (desktop_->inBackground(std::move(work))) {
        isBusy_ = true;
    } else {
        desktop_->ask(CleanAlerts::notBegun());
    }
}

bool AppDelegate::mayTouch(const std::string& path, const std::string& fileSystemType) {
    return !Volume::isMacFormat(fileSystemType) || desktop_->ask(CleanAlerts::macFormat(path, fileSystemType));
}

void AppDelegate::scan(Flow flow) {
    // Resolving links waits for the disk, which the main thread must not.
    if (PathGuard::leadsToForbidden(flow.path)) {
        desktop_->onMain([self = shared_from_this(), path = std::move(flow.path)] { self->refuse(path); });
        return;
    }
    // Without knowing which volume this is, nobody could tell another one that takes its place; nothing matches this.
    flow.volume = VolumeIdentity::of(flow.path).value_or(VolumeIdentity());
    flow.plan = Scanner{*flow.rules, RuleScope::adhoc}.scan(flow.path);
    desktop_->onMain([self = shared_from_this(), flow = std::move(flow)]() mutable { self->confirm(std::move(flow)); });
}

void AppDelegate::refuse(const std::string& path) {
    assertOnMain();
    isBusy_ = false;
    desktop_->ask(CleanAlerts::refused(path));
}

void AppDelegate::confirm(Flow flow) {
    assertOnMain();
    isBusy_ = false;
    if (flow.plan.isEmpty()) {
        desktop_->ask(CleanAlerts::nothingToClean(flow.plan));
        return;
    }
    // A volume that is mounted only when it is used had another type before the scan.
    const std::string& scannedType = flow.plan.volume.fsType;
    if (scannedType != flow.fileSystemType && !mayTouch(flow.path, scannedType)) return;
    if (!flow.options.alreadyConfirmed && !desktop_->ask(CleanAlerts::confirmation(flow.plan))) return;
    begin([self = shared_from_this(), flow = std::move(flow)] { self->remove(flow); });
}

void AppDelegate::remove(const Flow& flow) {
    ++removals_;
    const auto mayGoOn = [this](const ExecResult&) { return !isEnding_; };
    const ExecResult result = Executor::execute(flow.plan, /*dryRun=*/false, ports_.log.get(), {flow.volume, mayGoOn});
    --removals_;
    removals_.notify_all();
    std::optional<CleanAlerts::Ejected> ejected;
    if (flow.options.ejectAfter && !isEnding_) ejected = eject(flow);
    desktop_->onMain(
        [self = shared_from_this(), report = CleanAlerts::report(result, ejected)] { self->finish(report); });
}

std::expected<void, DiskError> AppDelegate::eject(const Flow& flow) const {
    if (VolumeIdentity::of(flow.path) != flow.volume) {
        return std::unexpected(DiskError{"The volume that was scanned is not mounted there any more."});
    }
    return ports_.eject(flow.path, /*force=*/false);
}

void AppDelegate::finish(const std::string& report) {
    assertOnMain();
    isBusy_ = false;
    desktop_->ask(CleanAlerts::finished(report));
}

void AppDelegate::waitForRemovals() const {
    for (int running = removals_; running > 0; running = removals_)
        removals_.wait(running);
}

}  // namespace varnel
