// SPDX-License-Identifier: MIT
#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>

#include "app/Desktop.h"
#include "app/qt/MenuDrawing.h"
#include "app/qt/MenuExport.h"
#include "app/qt/NotifierItem.h"

class QEvent;

namespace varnel {

/// Where the status item stands: in the bar of a current desktop over D-Bus, else in the tray of an older one on X11,
/// else nowhere. Follows bars as they come and go.
class StatusArea final : public QObject {
public:
    StatusArea(const StatusItem& item, MenuExport::Source source, OnChoice onChoice);

    /// Called once, some time after the start, where there is no place for the item.
    std::function<void()> onHomeless;

    /// Opens the menu at the mouse.
    void popUp();

    /// To be called when an entry has done its work: brings up to date what a bar shows without asking.
    void refresh();

    /// Whether some bar or tray shows the item.
    bool isVisible() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) final;

private:
    void takenByBar(bool isTaken);
    void showTray();

    const StatusItem item_;
    const MenuExport::Source source_;
    const OnChoice onChoice_;
    NotifierItem notifier_;
    bool isInBar_ = false;
    std::unique_ptr<QSystemTrayIcon> tray_;
    QMenu menu_;
    QTimer untilTray_;
    QTimer untilHomeless_;
};

}  // namespace varnel
