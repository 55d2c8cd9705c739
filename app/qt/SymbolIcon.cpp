// SPDX-License-Identifier: MIT
#include "app/qt/SymbolIcon.h"

#include <QByteArray>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

namespace varnel::SymbolIcon {
namespace {

/// What desktops that know symbolic icons replace. Left alone it is a grey, seen on light and dark bars alike.
constexpr const char* replaceable = "currentColor";

}  // namespace

QString themeName(const QString& symbol) {
    const QString name = QLatin1String("com.quorin.Varnel-") + symbol + QLatin1String("-symbolic");
    return QIcon::hasThemeIcon(name) ? name : QString();
}

QIcon drawn(const QString& symbol, const QColor& color) {
    QFile file(QLatin1String(":/varnel/com.quorin.Varnel-") + symbol + QLatin1String("-symbolic.svg"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QSvgRenderer renderer(file.readAll().replace(replaceable, color.name().toLatin1()));
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 44, 48, 64, 96, 128}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

QColor barColor() {
    const QColor background = QGuiApplication::palette().color(QPalette::Window);
    constexpr int middle = 128;
    return background.lightness() < middle ? QColor(QStringLiteral("#f2f2f2")) : QColor(QStringLiteral("#363636"));
}

}  // namespace varnel::SymbolIcon
