// SPDX-License-Identifier: MIT
#include "app/qt/NotifierItem.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <utility>

#include "app/Desktop.h"
#include "app/qt/NotifierItemAdaptor.h"

namespace varnel {
namespace {

const QLatin1String watcherService("org.kde.StatusNotifierWatcher");
const QLatin1String watcherPath("/StatusNotifierWatcher");

}  // namespace

NotifierItem::NotifierItem(StatusItem item, MenuExport::Source source, OnChoice onChoice)
    : item_(std::move(item)),
      menu_(std::move(source), std::move(onChoice)),
      adaptor_(new NotifierItemAdaptor(this)),
      bus_(QString()),
      service_(QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(QCoreApplication::applicationPid())) {}

NotifierItem::~NotifierItem() {
    // The bar takes the item away when the name goes, which the end of the process alone may not bring about in time.
    if (bus_.isConnected()) bus_.unregisterService(service_);
}

bool NotifierItem::offerOn(const QDBusConnection& bus) {
    bus_ = bus;
    if (!bus_.isConnected() || !menu_.exportOn(bus_, QLatin1String(NotifierItemAdaptor::menuPath)) ||
        !bus_.registerObject(QStringLiteral("/StatusNotifierItem"), this, QDBusConnection::ExportAdaptors) ||
        !bus_.registerService(service_)) {
        return false;
    }
    bars_.setConnection(bus_);
    bars_.addWatchedService(watcherService);
    connect(&bars_, &QDBusServiceWatcher::serviceRegistered, this, [this] { introduce(); });
    connect(&bars_, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        if (onTaken) onTaken(/*isTaken=*/false);
    });
    introduce();
    return true;
}

void NotifierItem::introduce() {
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, watcherPath, watcherService,
                                                       QStringLiteral("RegisterStatusNotifierItem"));
    call << service_;
    call.setAutoStartService(false);
    auto* const answer = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        if (onTaken) onTaken(!answer->isError());
    });
}

void NotifierItem::imageChanged() {
    emit adaptor_->NewIcon();
}

}  // namespace varnel
