// SPDX-License-Identifier: MIT
//
// What the entries of the menu do, and the service.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/Alert.h"
#include "app/AppDelegate.h"
#include "app/CleanAlerts.h"
#include "app/Desktop.h"
#include "app/Pasteboard.h"
#include "app/StatusMenu.h"
#include "core/watcher/Watcher.h"

namespace varnel {

void AppDelegate::perform(MenuAction action, const std::optional<std::string>& representedObject) {
    assertOnMain();
    switch (action) {
        // "Scan…" removes what it finds without asking.
        case MenuAction::scanVolume:
            return previewVolume(representedObject, {.ejectAfter = false, .alreadyConfirmed = true});
        case MenuAction::cleanVolume:
            return previewVolume(representedObject, {.ejectAfter = false, .alreadyConfirmed = false});
        case MenuAction::cleanAndEject:
            return previewVolume(representedObject, {.ejectAfter = true, .alreadyConfirmed = false});
        case MenuAction::chooseFolder:
            return chooseFolder();
        case MenuAction::sweepAll:
            return sweepAll();
        case MenuAction::toggleWatcher:
            return toggleWatcher();
        case MenuAction::toggleLoginItem:
            return toggleLoginItem();
        case MenuAction::showLog:
            return showLog();
        case MenuAction::quit:
            return desktop_->terminate();
    }
}

void AppDelegate::chooseFolder() {
    const auto path = desktop_->choose({.canChooseDirectories = true,
                                        .canChooseFiles = true,
                                        .allowsMultipleSelection = false,
                                        .prompt = "Clean",
                                        .message = "Choose a folder or volume to clean"});
    if (path) preview(*path, {.ejectAfter = false, .alreadyConfirmed = false});
}

void AppDelegate::sweepAll() {
    const Alert question = {.message = "Sweep all non-Mac volumes?",
                            .informativeText =
                                "Scans every mounted non-Mac volume with the live rule set. This can take a while on "
                                "network shares.",
                            .buttons = {"Sweep", "Cancel"}};
    if (!desktop_->ask(question)) return;
    if (Watcher* const watcher = this->watcher()) {
        watcher->sweepNow();
    } else {
        desktop_->ask(CleanAlerts::notBegun());
    }
}

void AppDelegate::toggleWatcher() {
    desktop_->setPreference(watcherPreference, !watcherEnabled());
    if (!watcherEnabled()) {
        stopWatcher(ports_.menuPatience);
    } else if (Watcher* const watcher = this->watcher()) {
        watcher->start();
    } else {
        desktop_->ask(CleanAlerts::notBegun());
    }
    // What the person wants; the watcher has lines of its own for when it began or ended.
    write(std::string("APP   watcher ") + (watcherEnabled() ? "on" : "off"));
}

void AppDelegate::toggleLoginItem() {
    const auto switched = desktop_->setOpensAtLogin(!desktop_->opensAtLogin());
    if (switched) return;
    std::string text = switched.error().reason;
    if (!switched.error().advice.empty()) text += "\n\n" + switched.error().advice;
    desktop_->ask(CleanAlerts::notice("Could not change login item", std::move(text)));
}

void AppDelegate::showLog() {
    if (ports_.log) desktop_->openFile(ports_.log->path());
}

void AppDelegate::cleanUsingVarnel(const Pasteboard& pasteboard) {
    assertOnMain();
    for (const std::string& path : paths(pasteboard))
        preview(path, {.ejectAfter = false, .alreadyConfirmed = false});
}

std::vector<std::string> AppDelegate::paths(const Pasteboard& pasteboard) const {
    std::vector<std::string> paths;
    for (const auto& url : pasteboard.fileURLs) {
        if (!url) continue;
        if (auto path = desktop_->pathOfURL(*url)) paths.push_back(*std::move(path));
    }
    return paths.empty() ? pasteboard.fileNames.value_or(paths) : paths;
}

}  // namespace varnel
