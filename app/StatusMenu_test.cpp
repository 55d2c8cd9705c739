// SPDX-License-Identifier: MIT
#include "app/StatusMenu.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/volumes/Volume.h"

namespace varnel {
namespace {

using CheckState = MenuItem::CheckState;
using Texts = std::vector<std::string>;

struct Facts {
    std::int64_t deleted = 0;
    std::vector<Volume> targets = {};
    std::vector<bool> watcherEnabled = {true};  // one answer after the other, the last again and again
    bool opensAtLogin = false;
};

StatusMenu menu(const Facts& facts = {}) {
    std::size_t asked = 0;
    return statusMenu({.deleted = facts.deleted,
                       .targets = facts.targets,
                       .watcherEnabled = [&]() -> bool {
                           const bool answer = facts.watcherEnabled[asked];
                           if (asked + 1 < facts.watcherEnabled.size()) ++asked;
                           return answer;
                       },
                       .opensAtLogin = [&] { return facts.opensAtLogin; }});
}

Texts titles(const StatusMenu& items) {
    Texts titles;
    for (const MenuItem& item : items)
        titles.push_back(item.isSeparator ? "---" : item.title);
    return titles;
}

const MenuItem& entry(const StatusMenu& items, const std::string& title) {
    for (const MenuItem& item : items) {
        if (item.title == title) return item;
    }
    static const MenuItem none;
    ADD_FAILURE() << "no entry " << title;
    return none;
}

TEST(StatusMenu, ReadsFromTopToBottom) {
    const Volume usb = {"/Volumes/USB", "exfat", true, true, false};
    const Volume share = {"/Volumes/Share", "smbfs", false, false, false};
    EXPECT_EQ(titles(menu({.deleted = 12, .targets = {usb, share}})),
              (Texts{"Varnel", "Watcher removed 12 items this session", "---", "USB — exfat, local",
                     "Share — smbfs, network", "---", "Clean Folder…", "Sweep All Volumes…", "---", "Watcher: On",
                     "Open at Login", "Show Log", "---", "Quit Varnel"}));
}

TEST(StatusMenu, SaysSoWhereThereIsNoVolume) {
    const StatusMenu items = menu();
    EXPECT_EQ(titles(items), (Texts{"Varnel", "Watcher removed 0 items this session", "---",
                                    "No non-Mac volumes mounted", "---", "Clean Folder…", "Sweep All Volumes…", "---",
                                    "Watcher: On", "Open at Login", "Show Log", "---", "Quit Varnel"}));
    EXPECT_EQ(entry(items, "No non-Mac volumes mounted"), MenuItem::heading("No non-Mac volumes mounted"));
}

TEST(StatusMenu, CountsInPlainDecimalsAndWithoutASingular) {
    constexpr struct {
        std::int64_t deleted;
        const char* title;
    } cases[] = {{0, "Watcher removed 0 items this session"},
                 {1, "Watcher removed 1 items this session"},
                 {1234567, "Watcher removed 1234567 items this session"}};
    for (const auto& c : cases)
        EXPECT_EQ(menu({.deleted = c.deleted})[1].title, c.title);
}

TEST(StatusMenu, HasOnlyHeadingsSeparatorsAndTheEmptyListDisabled) {
    for (const MenuItem& item : menu({.targets = {{"/Volumes/USB", "exfat", true, true, false}}})) {
        const bool isRead = item.title == "Varnel" || item.title.starts_with("Watcher removed");
        EXPECT_EQ(item.isEnabled, !isRead && !item.isSeparator) << item.title;
        for (const MenuItem& inner : item.submenu)
            EXPECT_TRUE(inner.isEnabled) << inner.title;
    }
}

TEST(StatusMenu, GivesEachCommandItsActionAndOnlyQuitARepresentedObject) {
    const StatusMenu items = menu();
    const struct {
        const char* title;
        MenuAction action;
        std::optional<std::string> representedObject;
        CheckState state;
    } cases[] = {
        {"Clean Folder…", MenuAction::chooseFolder, std::nullopt, CheckState::none},
        {"Sweep All Volumes…", MenuAction::sweepAll, std::nullopt, CheckState::none},
        {"Watcher: On", MenuAction::toggleWatcher, std::nullopt, CheckState::on},
        {"Open at Login", MenuAction::toggleLoginItem, std::nullopt, CheckState::off},
        {"Show Log", MenuAction::showLog, std::nullopt, CheckState::none},
        {"Quit Varnel", MenuAction::quit, "q", CheckState::none},
    };
    for (const auto& c : cases) {
        const MenuItem& item = entry(items, c.title);
        EXPECT_EQ(item.action, c.action) << c.title;
        EXPECT_EQ(item.representedObject, c.representedObject) << c.title;
        EXPECT_EQ(item.checkState, c.state) << c.title;
        EXPECT_TRUE(item.submenu.empty()) << c.title;
    }
}

TEST(StatusMenu, OffersEjectingOnRemovableAndNetworkVolumesOnly) {
    constexpr struct {
        const char* name;
        bool isLocal, isRemovable, isInternal, canEject;
    } cases[] = {
        {"an internal disk", true, false, true, false}, {"a fixed disk outside", true, false, false, false},
        {"a stick", true, true, false, true},           {"a card in a slot", true, true, true, true},
        {"a share", false, false, false, true},         {"a removable share", false, true, false, true},
    };
    for (const auto& c : cases) {
        const StatusMenu items = menu({.targets = {{"/Volumes/D", "exfat", c.isLocal, c.isRemovable, c.isInternal}}});
        const MenuItem& volume = items[3];
        EXPECT_EQ(volume.action, std::nullopt) << c.name;
        EXPECT_EQ(volume.representedObject, std::nullopt) << c.name;
        StatusMenu expected = {MenuItem::command("Scan…", MenuAction::scanVolume),
                               MenuItem::command("Clean…", MenuAction::cleanVolume)};
        if (c.canEject) expected.push_back(MenuItem::command("Clean & Eject", MenuAction::cleanAndEject));
        for (MenuItem& item : expected)
            item.representedObject = "/Volumes/D";
        EXPECT_EQ(volume.submenu, expected) << c.name;
    }
}

TEST(StatusMenu, KeepsTheVolumesInTheirOrder) {
    std::vector<Volume> volumes;
    for (const char* name : {"zz", "a", "10", "9"})
        volumes.push_back({std::string("/Volumes/") + name, "vfat", true, true, false});
    const StatusMenu items = menu({.targets = volumes});
    EXPECT_EQ((Texts{items[3].title, items[4].title, items[5].title, items[6].title}),
              (Texts{"zz — vfat, local", "a — vfat, local", "10 — vfat, local", "9 — vfat, local"}));
    EXPECT_TRUE(items[7].isSeparator);
}

TEST(StatusMenu, ShowsWhetherTheWatcherIsOn) {
    EXPECT_EQ(entry(menu({.watcherEnabled = {false}}), "Watcher: Off").checkState, CheckState::off);
    EXPECT_EQ(entry(menu({.watcherEnabled = {true}}), "Watcher: On").checkState, CheckState::on);
}

TEST(StatusMenu, AsksForTheTitleAndForTheCheckMark) {
    EXPECT_EQ(entry(menu({.watcherEnabled = {true, false}}), "Watcher: On").checkState, CheckState::off);
    EXPECT_EQ(entry(menu({.watcherEnabled = {false, true}}), "Watcher: Off").checkState, CheckState::on);
}

TEST(StatusMenu, ChecksOpenAtLoginWhereTheSystemSaysSo) {
    EXPECT_EQ(entry(menu({.opensAtLogin = true}), "Open at Login").checkState, CheckState::on);
    EXPECT_EQ(entry(menu({.opensAtLogin = false}), "Open at Login").checkState, CheckState::off);
}

TEST(StatusMenu, ShowsBrokenNamesRepairedAndHandsOnTheirBytes) {
    const std::string mountPoint = "/Volumes/\xff&x";
    const StatusMenu items = menu({.targets = {{mountPoint, "exfat", true, true, false}}});
    EXPECT_EQ(items[3].title, "\uFFFD&x — exfat, local");
    for (const MenuItem& item : items[3].submenu)
        EXPECT_EQ(item.representedObject, mountPoint) << item.title;
}

}  // namespace
}  // namespace varnel
