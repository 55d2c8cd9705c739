// SPDX-License-Identifier: MIT
#include "app/AppDelegate.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/AppPorts.h"
#include "app/Desktop.h"
#include "app/StatusMenu.h"
#include "core/base/BoundedWait.h"
#include "core/base/Checked.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "core/watcher/Watcher.h"

namespace varnel {
namespace {

/// Seconds for which the watcher gathers events that follow closely on others.
constexpr double latency = 0.25;

/// For the last removal and the last lines of the log, once the watcher has had its time.
constexpr std::chrono::seconds lastWords{1};

}  // namespace

std::shared_ptr<AppDelegate> AppDelegate::create(std::shared_ptr<Desktop> desktop, AppPorts ports) {
    return std::shared_ptr<AppDelegate>(new AppDelegate(std::move(desktop), std::move(ports)));
}

AppDelegate::AppDelegate(std::shared_ptr<Desktop> desktop, AppPorts ports)
    : desktop_(std::move(desktop)), ports_(std::move(ports)) {}

void AppDelegate::applicationDidFinishLaunching() {
    assertOnMain();
    desktop_->provideServices();
    desktop_->showStatusItem(
        {.symbol = "sparkles", .accessibilityDescription = "Varnel", .isTemplate = true, .toolTip = "Varnel"});
    if (!ports_.log) {
        desktop_->writeToConsole("Varnel: log unavailable");
        return;
    }
    logsDeletions_ = true;
    if (Watcher* const watcher = this->watcher()) {
        logDeletions(*watcher);
        if (watcherEnabled()) watcher->start();
    } else {
        desktop_->writeToConsole("Varnel: no watcher: the system has no thread for it");
    }
    write(std::string("APP   launched (watcher ") + (watcherEnabled() ? "on" : "off") + ")");
}

void AppDelegate::applicationWillTerminate() {
    assertOnMain();
    isEnding_ = true;
    stopWatcher(ports_.patience);
    BoundedWait::run(
        [self = shared_from_this()] {
            self->waitForRemovals();
            if (self->ports_.log) self->ports_.log->flush();
        },
        lastWords);
}

StatusMenu AppDelegate::menuNeedsUpdate() {
    assertOnMain();
    const Watcher* const watcher = this->watcher();
    return statusMenu({.deleted = watcher != nullptr ? watcher->stats().deleted : 0,
                       .targets = targets(),
                       .watcherEnabled = [this] { return watcherEnabled(); },
                       .opensAtLogin = [this] { return desktop_->opensAtLogin(); }});
}

void AppDelegate::assertOnMain() const {
    if (!desktop_->isMainThread()) trap("the application was touched off the main thread");
}

void AppDelegate::write(const std::string& message) const {
    if (ports_.log) ports_.log->write(message);
}

Watcher* AppDelegate::watcher() {
    if (!watcher_) {
        watcher_ = ports_.createWatcher(RuleSet::standard(), latency, ports_.log);
        if (watcher_ && logsDeletions_) logDeletions(*watcher_);
    }
    return watcher_.get();
}

void AppDelegate::logDeletions(Watcher& watcher) const {
    watcher.onDelete = [log = ports_.log](const std::string& path) { log->write("APP   deleted " + path); };
}

const RuleSet& AppDelegate::rules() {
    assertOnMain();
    if (!rules_) rules_ = RuleSet::standard();
    return *rules_;
}

bool AppDelegate::watcherEnabled() const {
    return desktop_->preference(watcherPreference).value_or(true);
}

// A dead share would hold the main thread, and with it the menu, for ever: by a sweep that is at work on it, or by the
// kernel's asking its server for the road to a path.

void AppDelegate::stopWatcher(std::chrono::milliseconds limit) {
    if (watcher() == nullptr) return;
    BoundedWait::run([watcher = watcher_] { watcher->stop(); }, limit);
}

std::vector<Volume> AppDelegate::targets() {
    const auto found = std::make_shared<std::vector<Volume>>();
    const auto look = [found, targets = ports_.targets] { *found = targets(); };
    if (BoundedWait::run(look, targets_ ? ports_.menuPatience : ports_.firstPatience)) targets_ = *found;
    return targets_.value_or(std::vector<Volume>());
}

std::optional<std::string> AppDelegate::fileSystemType(const std::string& path) const {
    const auto found = std::make_shared<std::optional<std::string>>();
    const auto look = [found, path, type = ports_.fileSystemType] { *found = type(path); };
    return BoundedWait::run(look, ports_.menuPatience) ? *found : std::nullopt;
}

}  // namespace varnel
