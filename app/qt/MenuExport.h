// SPDX-License-Identifier: MIT
//
// The status menu as the bar of a desktop reads it over D-Bus: the interface "com.canonical.dbusmenu". The bar draws
// it; before it does, it says so, and the menu is made anew.
#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>

#include "app/StatusMenu.h"
#include "app/qt/MenuDrawing.h"
#include "app/qt/MenuTypes.h"
#include "app/qt/NumberedMenu.h"

namespace varnel {

class MenuAdaptor;

class MenuExport final : public QObject {
public:
    using Source = std::function<StatusMenu()>;

    /// `source` gives the menu as it should be now; `onChoice` is called when the event loop is back, never from within
    /// the call of the bar, which waits for its answer.
    MenuExport(Source source, OnChoice onChoice);

    /// Makes the object reachable; false where that is impossible.
    bool exportOn(QDBusConnection bus, const QString& path);

    /// Makes the menu anew and tells whoever shows it what changed. True where anything did.
    bool refresh();

    const NumberedMenu& menu() const { return menu_; }

    /// Has the entry of that number carried out; nothing happens where there is none, or where it is only to be read.
    void choose(std::int32_t number);

    /// The entry of that number with `depth` levels below it, all for a negative one. No names stand for all
    /// properties.
    MenuNode layout(std::int32_t number, int depth, const QStringList& names) const;
    /// No numbers stand for all entries.
    QList<MenuProperties> properties(const QList<int>& numbers, const QStringList& names) const;

private:
    const Source source_;
    const OnChoice onChoice_;
    NumberedMenu menu_;
    MenuAdaptor* const adaptor_;
};

}  // namespace varnel
