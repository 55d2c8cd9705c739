// SPDX-License-Identifier: MIT
#include "app/qt/MenuDrawing.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QMenu>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varnel {
namespace {

using Chosen = std::vector<std::pair<MenuAction, std::optional<std::string>>>;

StatusMenu sample() {
    MenuItem scan = MenuItem::command("Scan…", MenuAction::scanVolume);
    scan.representedObject = "/media/\xff";
    MenuItem volume;
    volume.title = "R&D_1\t\n";
    volume.submenu = {scan};
    MenuItem toggle = MenuItem::command("Watcher: On", MenuAction::toggleWatcher);
    toggle.checkState = MenuItem::CheckState::on;
    MenuItem login = MenuItem::command("Open at Login", MenuAction::toggleLoginItem);
    login.checkState = MenuItem::CheckState::off;
    return {MenuItem::heading("Varnel"), MenuItem::separator(), volume, toggle, login};
}

TEST(MenuDrawing, DrawsEveryKindOfEntry) {
    QMenu menu;
    MenuDrawing::fill(menu, sample(), [](MenuAction, const auto&) {});
    const QList<QAction*> drawn = menu.actions();
    ASSERT_EQ(drawn.size(), 5);
    EXPECT_EQ(drawn[0]->text(), "Varnel");
    EXPECT_FALSE(drawn[0]->isEnabled());
    EXPECT_TRUE(drawn[1]->isSeparator());
    EXPECT_EQ(drawn[2]->text(), "R&&D_1  ");
    ASSERT_NE(drawn[2]->menu(), nullptr);
    EXPECT_EQ(drawn[2]->menu()->actions().value(0)->text(), "Scan…");
    EXPECT_TRUE(drawn[3]->isCheckable());
    EXPECT_TRUE(drawn[3]->isChecked());
    EXPECT_TRUE(drawn[4]->isCheckable());
    EXPECT_FALSE(drawn[4]->isChecked());
    for (const QAction* const action : drawn)
        EXPECT_TRUE(action->shortcut().isEmpty());
}

TEST(MenuDrawing, HandsOverWhatTheEntryStandsFor) {
    QMenu menu;
    Chosen chosen;
    MenuDrawing::fill(menu, sample(),
                      [&chosen](MenuAction action, const auto& object) { chosen.emplace_back(action, object); });
    menu.actions()[2]->menu()->actions()[0]->trigger();
    menu.actions()[3]->trigger();
    menu.actions()[0]->trigger();
    EXPECT_EQ(chosen, (Chosen{{MenuAction::scanVolume, "/media/\xff"}, {MenuAction::toggleWatcher, std::nullopt}}));
}

TEST(MenuDrawing, LeavesNothingOfTheMenuBefore) {
    QMenu menu;
    for (int i = 0; i < 3; ++i) {
        MenuDrawing::fill(menu, sample(), [](MenuAction, const auto&) {});
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_EQ(menu.actions().size(), 5);
    EXPECT_EQ(menu.findChildren<QMenu*>().size(), 1);
}

}  // namespace
}  // namespace varnel
