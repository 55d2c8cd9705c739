// SPDX-License-Identifier: MIT
#include "app/StatusMenu.h"

#include <string>
#include <utility>

#include "core/base/Text.h"
#include "core/volumes/Volume.h"

namespace varnel {
namespace {

using CheckState = MenuItem::CheckState;

CheckState checkState(bool isOn) {
    return isOn ? CheckState::on : CheckState::off;
}

MenuItem toggle(std::string title, MenuAction action, bool isOn) {
    MenuItem item = MenuItem::command(std::move(title), action);
    item.checkState = checkState(isOn);
    return item;
}

MenuItem commandOn(const Volume& volume, std::string title, MenuAction action) {
    MenuItem item = MenuItem::command(std::move(title), action);
    item.representedObject = volume.mountPoint;
    return item;
}

MenuItem entry(const Volume& volume) {
    MenuItem item;
    item.title = Text::repaired(volume.summary());
    item.submenu = {commandOn(volume, "Scan…", MenuAction::scanVolume),
                    commandOn(volume, "Clean…", MenuAction::cleanVolume)};
    if (volume.isRemovable || !volume.isLocal) {
        item.submenu.push_back(commandOn(volume, "Clean & Eject", MenuAction::cleanAndEject));
    }
    return item;
}

}  // namespace

MenuItem MenuItem::separator() {
    MenuItem item;
    item.isEnabled = false;
    item.isSeparator = true;
    return item;
}

MenuItem MenuItem::heading(std::string title) {
    MenuItem item;
    item.title = std::move(title);
    item.isEnabled = false;
    return item;
}

MenuItem MenuItem::command(std::string title, MenuAction action) {
    MenuItem item;
    item.title = std::move(title);
    item.action = action;
    return item;
}

StatusMenu statusMenu(const StatusMenuFacts& facts) {
    StatusMenu menu;
    menu.push_back(MenuItem::heading("Varnel"));
    menu.push_back(MenuItem::heading("Watcher removed " + std::to_string(facts.deleted) + " items this session"));
    menu.push_back(MenuItem::separator());
    if (facts.targets.empty()) menu.push_back(MenuItem::heading("No non-Mac volumes mounted"));
    for (const Volume& volume : facts.targets)
        menu.push_back(entry(volume));
    menu.push_back(MenuItem::separator());
    menu.push_back(MenuItem::command("Clean Folder…", MenuAction::chooseFolder));
    menu.push_back(MenuItem::command("Sweep All Volumes…", MenuAction::sweepAll));
    menu.push_back(MenuItem::separator());
    std::string title = facts.watcherEnabled() ? "Watcher: On" : "Watcher: Off";
    menu.push_back(toggle(std::move(title), MenuAction::toggleWatcher, facts.watcherEnabled()));
    menu.push_back(toggle("Open at Login", MenuAction::toggleLoginItem, facts.opensAtLogin()));
    menu.push_back(MenuItem::command("Show Log", MenuAction::showLog));
    menu.push_back(MenuItem::separator());
    MenuItem quit = MenuItem::command("Quit Varnel", MenuAction::quit);
    quit.representedObject = "q";
    menu.push_back(std::move(quit));
    return menu;
}

}  // namespace varnel
