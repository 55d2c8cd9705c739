// SPDX-License-Identifier: MIT
//
// The icon in the bar of a current desktop: a StatusNotifierItem on the session bus, with its menu beside it.
//
// Ours and not Qt's own. Qt decides once, when the first icon is made, whether there is a bar that takes such items;
// a program that is started at login, before the bar, would never be seen. It also spoils titles with "&" or "_" in
// them, tells bars that a menu which changed did not, and waits for answers.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QPoint>
#include <QString>
#include <functional>

#include "app/Desktop.h"
#include "app/qt/MenuExport.h"

namespace varnel {

class NotifierItemAdaptor;

class NotifierItem final : public QObject {
public:
    NotifierItem(StatusItem item, MenuExport::Source source, OnChoice onChoice);

    ~NotifierItem() override;

    /// Offers the item on the bus, now and whenever a bar appears. False where the bus does not let us.
    bool offerOn(const QDBusConnection& bus);

    /// Called whenever it becomes known whether somebody takes items: true when one took ours.
    std::function<void(bool isTaken)> onTaken;
    /// Called when a person used the item in another way than for its menu.
    std::function<void()> onActivated;

    const StatusItem& item() const { return item_; }
    MenuExport& menu() { return menu_; }

    /// Tells the bar that the image should be asked for again.
    void imageChanged();

private:
    void introduce();

    const StatusItem item_;
    MenuExport menu_;
    NotifierItemAdaptor* const adaptor_;
    QDBusConnection bus_;
    QDBusServiceWatcher bars_;
    QString service_;
};

}  // namespace varnel
