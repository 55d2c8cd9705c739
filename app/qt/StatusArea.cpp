// SPDX-License-Identifier: MIT
#include "app/qt/StatusArea.h"

#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QEvent>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "app/Desktop.h"
#include "app/StatusMenu.h"
#include "app/qt/QtText.h"
#include "app/qt/SymbolIcon.h"

namespace varnel {
namespace {

/// For a bar that is being started, or started again, before an older kind of tray is tried: Qt asks the bus for bars
/// when it makes an icon for one, and would wait for an answer of a bar that is not ready yet.
constexpr std::chrono::seconds patience{2};

/// For the tray, too.
constexpr std::chrono::seconds longPatience{5};

}  // namespace

StatusArea::StatusArea(const StatusItem& item, MenuExport::Source source, OnChoice onChoice)
    : item_(item), source_(std::move(source)), onChoice_(std::move(onChoice)), notifier_(item, source_, onChoice_) {
    connect(&menu_, &QMenu::aboutToShow, this, [this] {
        MenuDrawing::fill(menu_, source_(), [this](MenuAction action, const std::optional<std::string>& object) {
            // What it does may run an event loop of its own, and the menu is still being closed.
            QMetaObject::invokeMethod(
                this, [this, action, object] { onChoice_(action, object); }, Qt::QueuedConnection);
        });
    });
    menu_.setTitle(QtText::shown(item_.toolTip));
    menu_.setAccessibleName(QtText::shown(item_.accessibilityDescription));
    notifier_.onTaken = [this](bool isTaken) { takenByBar(isTaken); };
    notifier_.onActivated = [this] { popUp(); };
    untilTray_.setSingleShot(true);
    untilTray_.setInterval(patience);
    connect(&untilTray_, &QTimer::timeout, this, [this] { showTray(); });
    untilHomeless_.setSingleShot(true);
    connect(&untilHomeless_, &QTimer::timeout, this, [this] {
        if (!isVisible() && onHomeless) onHomeless();
    });
    untilHomeless_.start(longPatience);
    if (!notifier_.offerOn(QDBusConnection::sessionBus())) showTray();
    QApplication::instance()->installEventFilter(this);
}

bool StatusArea::isVisible() const {
    return isInBar_ || (tray_ && QSystemTrayIcon::isSystemTrayAvailable());
}

void StatusArea::takenByBar(bool isTaken) {
    isInBar_ = isTaken;
    if (isTaken) {
        untilTray_.stop();
        tray_.reset();
    } else {
        untilTray_.start();
    }
}

void StatusArea::showTray() {
    // Only X11 has such trays; elsewhere Qt would offer a second item to the bars.
    if (isInBar_ || QGuiApplication::platformName() != QLatin1String("xcb")) return;
    if (!tray_) {
        tray_ = std::make_unique<QSystemTrayIcon>();
        tray_->setToolTip(QtText::shown(item_.toolTip));
        tray_->setContextMenu(&menu_);
        connect(tray_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger) popUp();
        });
    }
    tray_->setIcon(SymbolIcon::drawn(QtText::shown(item_.symbol), SymbolIcon::barColor()));
    tray_->show();
}

void StatusArea::popUp() {
    menu_.popup(QCursor::pos());
    menu_.activateWindow();
}

void StatusArea::refresh() {
    notifier_.menu().refresh();
}

bool StatusArea::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange && watched == QApplication::instance()) {
        notifier_.imageChanged();
        if (tray_) showTray();
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace varnel
