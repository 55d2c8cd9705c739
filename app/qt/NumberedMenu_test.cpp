// SPDX-License-Identifier: MIT
#include "app/qt/NumberedMenu.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

using Change = NumberedMenu::Change;

MenuItem volume(const std::string& mountPoint) {
    MenuItem scan = MenuItem::command("Scan…", MenuAction::scanVolume);
    scan.representedObject = mountPoint;
    MenuItem item;
    item.title = mountPoint;
    item.submenu = {scan};
    return item;
}

MenuItem toggle(bool isOn) {
    MenuItem item = MenuItem::command(isOn ? "On" : "Off", MenuAction::toggleWatcher);
    item.checkState = isOn ? MenuItem::CheckState::on : MenuItem::CheckState::off;
    return item;
}

StatusMenu menu(const std::string& mountPoint, bool isOn) {
    return {MenuItem::heading("Varnel"), MenuItem::separator(), volume(mountPoint), toggle(isOn)};
}

std::vector<std::int32_t> numbers(const NumberedMenu& menu) {
    std::vector<std::int32_t> all;
    for (const auto& entry : menu.root().entries)
        all.push_back(entry.number);
    return all;
}

TEST(NumberedMenu, NumbersEveryEntryOnce) {
    NumberedMenu numbered;
    EXPECT_EQ(numbered.revision(), 0U);
    EXPECT_EQ(numbered.update(menu("/a", true)), Change::shape);
    EXPECT_EQ(numbered.revision(), 1U);
    EXPECT_EQ(numbers(numbered), (std::vector<std::int32_t>{1, 2, 3, 5}));
    ASSERT_NE(numbered.find(4), nullptr);
    EXPECT_EQ(numbered.find(4)->item.representedObject, "/a");
    EXPECT_EQ(numbered.find(0), &numbered.root());
    EXPECT_EQ(numbered.find(6), nullptr);
    EXPECT_EQ(numbered.find(-1), nullptr);
}

TEST(NumberedMenu, KeepsTheNumbersWhileOnlyTheLookChanges) {
    NumberedMenu numbered;
    numbered.update(menu("/a", true));
    EXPECT_EQ(numbered.update(menu("/a", true)), Change::none);
    EXPECT_TRUE(numbered.changed().empty());
    EXPECT_EQ(numbered.update(menu("/a", false)), Change::appearance);
    EXPECT_EQ(numbered.revision(), 1U);
    ASSERT_EQ(numbered.changed().size(), 1U);
    EXPECT_EQ(numbered.changed().front()->number, 5);
    EXPECT_EQ(numbered.changed().front()->item.title, "Off");
}

TEST(NumberedMenu, TakesANewTitleOfAVolumeForALook) {
    NumberedMenu numbered;
    numbered.update({volume("/a")});
    StatusMenu renamed = {volume("/a")};
    renamed.front().title = "other";
    EXPECT_EQ(numbered.update(renamed), Change::appearance);
    EXPECT_EQ(numbered.find(1)->item.title, "other");
    EXPECT_EQ(numbered.find(2)->item.title, "Scan…");
}

TEST(NumberedMenu, NumbersAnewWhereAnEntryStandsForSomethingElse) {
    const StatusMenu others[] = {
        menu("/b", true),
        {MenuItem::heading("Varnel"), volume("/a"), toggle(true)},
        {MenuItem::heading("Varnel"), MenuItem::separator(), volume("/a"),
         MenuItem::command("On", MenuAction::toggleWatcher)},
        {MenuItem::heading("Varnel"), MenuItem::separator(), volume("/a"), MenuItem::command("On", MenuAction::quit)},
        {},
    };
    for (const StatusMenu& other : others) {
        NumberedMenu numbered;
        numbered.update(menu("/a", true));
        EXPECT_EQ(numbered.update(other), Change::shape);
        EXPECT_EQ(numbered.revision(), 2U);
        for (const std::int32_t number : numbers(numbered))
            EXPECT_GT(number, 5);
    }
}

TEST(NumberedMenu, StillKnowsWhatTheMenuBeforeMeant) {
    NumberedMenu numbered;
    numbered.update(menu("/a", true));
    numbered.update(menu("/b", true));
    ASSERT_NE(numbered.findToChoose(4), nullptr);
    EXPECT_EQ(numbered.findToChoose(4)->item.representedObject, "/a");
    EXPECT_EQ(numbered.find(4), nullptr);
    ASSERT_NE(numbered.findToChoose(9), nullptr);
    EXPECT_EQ(numbered.findToChoose(9)->item.representedObject, "/b");
    numbered.update(menu("/c", true));
    EXPECT_EQ(numbered.findToChoose(4), nullptr);
}

}  // namespace
}  // namespace varnel
