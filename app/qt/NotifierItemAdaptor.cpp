// SPDX-License-Identifier: MIT
#include "app/qt/NotifierItemAdaptor.h"

#include <QIcon>
#include <QImage>
#include <QMetaObject>
#include <QPixmap>
#include <QtEndian>

#include "app/qt/ActivationToken.h"
#include "app/qt/NotifierItem.h"
#include "app/qt/QtText.h"
#include "app/qt/SymbolIcon.h"

namespace varnel {
namespace {

BarImage barImage(const QPixmap& pixmap) {
    const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    BarImage made = {image.width(), image.height(), QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
    qToBigEndian<quint32>(image.constBits(), image.sizeInBytes() / qsizetype(sizeof(quint32)), made.bytes.data());
    return made;
}

}  // namespace

NotifierItemAdaptor::NotifierItemAdaptor(NotifierItem* item) : QDBusAbstractAdaptor(item), item_(item) {}

QString NotifierItemAdaptor::title() const {
    return QtText::shown(item_->item().toolTip);
}

QString NotifierItemAdaptor::iconName() const {
    return SymbolIcon::themeName(QtText::shown(item_->item().symbol));
}

QList<BarImage> NotifierItemAdaptor::iconPixmap() const {
    const QIcon icon = SymbolIcon::drawn(QtText::shown(item_->item().symbol), SymbolIcon::barColor());
    QList<BarImage> images;
    for (const QSize& size : icon.availableSizes())
        images.append(barImage(icon.pixmap(size)));
    return images;
}

QString NotifierItemAdaptor::iconAccessibleDesc() const {
    return QtText::shown(item_->item().accessibilityDescription);
}

BarToolTip NotifierItemAdaptor::toolTip() const {
    return {{}, {}, QtText::shown(item_->item().toolTip), {}};
}

void NotifierItemAdaptor::ContextMenu(int x, int y) {
    Activate(x, y);
}

void NotifierItemAdaptor::Activate(int /*x*/, int /*y*/) {
    // From a bar that draws no menus.
    if (item_->onActivated)
        QMetaObject::invokeMethod(
            item_, [item = item_] { item->onActivated(); }, Qt::QueuedConnection);
}

void NotifierItemAdaptor::SecondaryActivate(int x, int y) {
    Activate(x, y);
}

void NotifierItemAdaptor::Scroll(int /*delta*/, const QString& /*orientation*/) {}

void NotifierItemAdaptor::ProvideXdgActivationToken(const QString& token) {
    ActivationToken::use(token);
}

}  // namespace varnel
