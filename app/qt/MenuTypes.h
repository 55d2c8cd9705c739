// SPDX-License-Identifier: MIT
//
// What travels over D-Bus for the menu and the item in the bar, in the shapes that their interfaces prescribe.
#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace varnel {

/// "(ia{sv}av)": an entry with all below it.
struct MenuNode {
    int number = 0;
    QVariantMap properties;
    QList<MenuNode> entries;
};

/// "(ia{sv})"
struct MenuProperties {
    int number = 0;
    QVariantMap properties;
};

/// "(ias)"
struct MenuPropertyNames {
    int number = 0;
    QStringList names;
};

/// "(isvu)"
struct MenuEvent {
    int number = 0;
    QString kind;
    QDBusVariant data;
    uint time = 0;
};

/// "(iiay)": an image of 32 bits to the pixel, alpha first, in network byte order.
struct BarImage {
    int width = 0;
    int height = 0;
    QByteArray bytes;
};

/// "(sa(iiay)ss)"
struct BarToolTip {
    QString iconName;
    QList<BarImage> images;
    QString title;
    QString text;
};

/// Makes the types above known to QtDBus. Harmless when called again.
void registerMenuTypes();

QDBusArgument& operator<<(QDBusArgument& to, const MenuNode& node);
const QDBusArgument& operator>>(const QDBusArgument& from, MenuNode& node);
QDBusArgument& operator<<(QDBusArgument& to, const MenuProperties& entry);
const QDBusArgument& operator>>(const QDBusArgument& from, MenuProperties& entry);
QDBusArgument& operator<<(QDBusArgument& to, const MenuPropertyNames& entry);
const QDBusArgument& operator>>(const QDBusArgument& from, MenuPropertyNames& entry);
QDBusArgument& operator<<(QDBusArgument& to, const MenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& from, MenuEvent& event);
QDBusArgument& operator<<(QDBusArgument& to, const BarImage& image);
const QDBusArgument& operator>>(const QDBusArgument& from, BarImage& image);
QDBusArgument& operator<<(QDBusArgument& to, const BarToolTip& toolTip);
const QDBusArgument& operator>>(const QDBusArgument& from, BarToolTip& toolTip);

}  // namespace varnel

Q_DECLARE_METATYPE(varnel::MenuNode)
Q_DECLARE_METATYPE(varnel::MenuProperties)
Q_DECLARE_METATYPE(varnel::MenuPropertyNames)
Q_DECLARE_METATYPE(varnel::MenuEvent)
Q_DECLARE_METATYPE(varnel::BarImage)
Q_DECLARE_METATYPE(varnel::BarToolTip)
