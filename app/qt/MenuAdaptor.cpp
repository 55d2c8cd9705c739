// SPDX-License-Identifier: MIT
#include "app/qt/MenuAdaptor.h"

#include <QGuiApplication>
#include <QVariantMap>

#include "app/qt/MenuExport.h"

namespace varnel {

MenuAdaptor::MenuAdaptor(MenuExport* menu) : QDBusAbstractAdaptor(menu), menu_(menu) {}

QString MenuAdaptor::textDirection() const {
    return QGuiApplication::isRightToLeft() ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

uint MenuAdaptor::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, MenuNode& layout) {
    if (menu_->menu().revision() == 0) menu_->refresh();
    layout = menu_->layout(parentId, recursionDepth, propertyNames);
    return menu_->menu().revision();
}

QList<MenuProperties> MenuAdaptor::GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames) {
    return menu_->properties(ids, propertyNames);
}

QDBusVariant MenuAdaptor::GetProperty(int id, const QString& name) {
    const QList<MenuProperties> found = menu_->properties({id}, {name});
    return QDBusVariant(found.isEmpty() ? QVariant(QString()) : found.first().properties.value(name, QString()));
}

void MenuAdaptor::Event(int id, const QString& eventId, const QDBusVariant& /*data*/, uint /*timestamp*/) {
    if (eventId == QLatin1String("clicked")) menu_->choose(id);
}

QList<int> MenuAdaptor::EventGroup(const QList<MenuEvent>& events) {
    QList<int> unknown;
    for (const MenuEvent& event : events) {
        if (menu_->menu().findToChoose(event.number) == nullptr) {
            unknown.append(event.number);
        } else {
            Event(event.number, event.kind, event.data, event.time);
        }
    }
    return unknown;
}

bool MenuAdaptor::AboutToShow(int id) {
    // A submenu is part of the menu that was opened before it.
    return id == 0 && menu_->refresh();
}

QList<int> MenuAdaptor::AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors) {
    QList<int> changed;
    for (const int id : ids) {
        if (menu_->menu().find(id) == nullptr) {
            idErrors.append(id);
        } else if (AboutToShow(id)) {
            changed.append(id);
        }
    }
    return changed;
}

}  // namespace varnel
