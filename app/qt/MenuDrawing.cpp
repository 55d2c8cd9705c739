// SPDX-License-Identifier: MIT
#include "app/qt/MenuDrawing.h"

#include <QAction>
#include <QMenu>
#include <string>

#include "app/StatusMenu.h"
#include "app/qt/QtText.h"

namespace varnel::MenuDrawing {
namespace {

QString label(const std::string& title) {
    // Qt would take a single one for the mark of a key.
    return onOneLine(title).replace(QLatin1Char('&'), QLatin1String("&&"));
}

void add(QMenu& menu, const StatusMenu& items, const OnChoice& onChoice) {
    for (const MenuItem& item : items) {
        if (item.isSeparator) {
            menu.addSeparator();
            continue;
        }
        if (!item.submenu.empty()) {
            auto* const submenu = new QMenu(label(item.title), &menu);
            add(*submenu, item.submenu, onChoice);
            menu.addMenu(submenu)->setEnabled(item.isEnabled);
            continue;
        }
        QAction* const action = menu.addAction(label(item.title));
        action->setEnabled(item.isEnabled);
        action->setMenuRole(QAction::NoRole);
        if (item.checkState != MenuItem::CheckState::none) {
            action->setCheckable(true);
            action->setChecked(item.checkState == MenuItem::CheckState::on);
        }
        if (!item.action) continue;
        QObject::connect(
            action, &QAction::triggered, &menu,
            [onChoice, chosen = *item.action, object = item.representedObject] { onChoice(chosen, object); });
    }
}

}  // namespace

void fill(QMenu& menu, const StatusMenu& items, const OnChoice& onChoice) {
    menu.clear();
    // Which leaves the submenus alive; one of them may be the caller.
    for (QMenu* const submenu : menu.findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly))
        submenu->deleteLater();
    add(menu, items, onChoice);
}

QString onOneLine(const std::string& title) {
    QString text = QtText::shown(title);
    for (QChar& character : text) {
        if (character.category() == QChar::Other_Control || character == QChar(QChar::LineSeparator) ||
            character == QChar(QChar::ParagraphSeparator)) {
            character = QLatin1Char(' ');
        }
    }
    return text;
}

}  // namespace varnel::MenuDrawing
