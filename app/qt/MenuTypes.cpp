// SPDX-License-Identifier: MIT
#include "app/qt/MenuTypes.h"

#include <QDBusMetaType>
#include <QVariant>

namespace varnel {

void registerMenuTypes() {
    qDBusRegisterMetaType<MenuNode>();
    qDBusRegisterMetaType<MenuProperties>();
    qDBusRegisterMetaType<QList<MenuProperties>>();
    qDBusRegisterMetaType<MenuPropertyNames>();
    qDBusRegisterMetaType<QList<MenuPropertyNames>>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<QList<MenuEvent>>();
    qDBusRegisterMetaType<QList<int>>();
    qDBusRegisterMetaType<BarImage>();
    qDBusRegisterMetaType<QList<BarImage>>();
    qDBusRegisterMetaType<BarToolTip>();
}

// NOLINTBEGIN(bugprone-return-const-ref-from-parameter): the shape in which QtDBus looks for these operators
QDBusArgument& operator<<(QDBusArgument& to, const MenuNode& node) {
    to.beginStructure();
    to << node.number << node.properties;
    to.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const MenuNode& entry : node.entries)
        to << QDBusVariant(QVariant::fromValue(entry));
    to.endArray();
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, MenuNode& node) {
    node.entries.clear();
    from.beginStructure();
    from >> node.number >> node.properties;
    from.beginArray();
    while (!from.atEnd()) {
        QDBusVariant entry;
        from >> entry;
        node.entries.append(qdbus_cast<MenuNode>(entry.variant()));
    }
    from.endArray();
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const MenuProperties& entry) {
    to.beginStructure();
    to << entry.number << entry.properties;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, MenuProperties& entry) {
    from.beginStructure();
    from >> entry.number >> entry.properties;
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const MenuPropertyNames& entry) {
    to.beginStructure();
    to << entry.number << entry.names;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, MenuPropertyNames& entry) {
    from.beginStructure();
    from >> entry.number >> entry.names;
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const MenuEvent& event) {
    to.beginStructure();
    to << event.number << event.kind << event.data << event.time;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, MenuEvent& event) {
    from.beginStructure();
    from >> event.number >> event.kind >> event.data >> event.time;
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const BarImage& image) {
    to.beginStructure();
    to << image.width << image.height << image.bytes;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, BarImage& image) {
    from.beginStructure();
    from >> image.width >> image.height >> image.bytes;
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const BarToolTip& toolTip) {
    to.beginStructure();
    to << toolTip.iconName << toolTip.images << toolTip.title << toolTip.text;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, BarToolTip& toolTip) {
    from.beginStructure();
    from >> toolTip.iconName >> toolTip.images >> toolTip.title >> toolTip.text;
    from.endStructure();
    return from;
}

// NOLINTEND(bugprone-return-const-ref-from-parameter)

}  // namespace varnel
