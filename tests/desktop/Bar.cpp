// SPDX-License-Identifier: MIT
#include "tests/desktop/Bar.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QVariantMap>
#include <algorithm>
#include <stdexcept>

#include "tests/desktop/DesktopSession.h"

namespace varnel::tests {
namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

/// Reads "(ia{sv}av)".
DrawnEntry readEntry(const QDBusArgument& from) {
    DrawnEntry entry;
    QVariantMap properties;
    from.beginStructure();
    from >> entry.number >> properties;
    from.beginArray();
    while (!from.atEnd()) {
        QDBusVariant below;
        from >> below;
        entry.entries.push_back(readEntry(below.variant().value<QDBusArgument>()));
    }
    from.endArray();
    from.endStructure();
    entry.isSeparator = properties.value("type").toString() == "separator";
    entry.isEnabled = properties.value("enabled", true).toBool();
    entry.label = properties.value("label").toString().toStdString();
    if (properties.value("toggle-type").toString() == "checkmark") {
        entry.isChecked = properties.value("toggle-state").toInt() == 1;
    }
    return entry;
}

/// Reads "(iiay)"; gives the width of a square image that has all its bytes, else 0.
int readImage(const QDBusArgument& from) {
    int width = 0;
    int height = 0;
    QByteArray bytes;
    from.beginStructure();
    from >> width >> height >> bytes;
    from.endStructure();
    return width == height && bytes.size() == qsizetype{4} * width * height ? width : 0;
}

}  // namespace

std::string DrawnEntry::text(int depth) const {
    std::string all;
    for (const DrawnEntry& entry : entries) {
        all.append(static_cast<std::size_t>(depth) * 2, ' ');
        if (entry.isChecked) all += *entry.isChecked ? "[x] " : "[ ] ";
        all += entry.isSeparator ? "---" : entry.label;
        if (!entry.isEnabled) all += " (disabled)";
        all += '\n' + entry.text(depth + 1);
    }
    return all;
}

Bar::Bar() : bus_(DesktopSession::connect(QStringLiteral("bar"))) {
    bus_.registerObject(
        QStringLiteral("/StatusNotifierWatcher"), this,
        QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSignals);
    if (!bus_.registerService(watcherName)) throw std::runtime_error("no name for the bar");
}

Bar::~Bar() {
    bus_.unregisterService(watcherName);
    QDBusConnection::disconnectFromBus(QStringLiteral("bar"));
}

void Bar::RegisterStatusNotifierItem(const QString& service) {
    items_.append(service);
}

void Bar::RegisterStatusNotifierHost(const QString& /*service*/) {}

bool Bar::hasItem() {
    if (!happens([this] { return !items_.isEmpty(); })) return false;
    menuPath_ = property(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
    bus_.connect(items_.last(), menuPath_, menuInterface, QStringLiteral("LayoutUpdated"), this,
                 SLOT(layoutUpdated(uint, int)));
    bus_.connect(items_.last(), menuPath_, menuInterface, QStringLiteral("ItemsPropertiesUpdated"), this,
                 SLOT(propertiesUpdated(QDBusMessage)));
    return true;
}

bool Bar::isItemThere() const {
    return bus_.interface()->isServiceRegistered(items_.last());
}

bool Bar::hasNewItem() {
    const auto before = items_.size();
    return happens([&] { return items_.size() > before; });
}

void Bar::layoutUpdated(uint /*revision*/, int /*parent*/) {
    ++shapeSignals_;
}

void Bar::propertiesUpdated(const QDBusMessage& message) {
    if (message.signature() == "a(ia{sv})a(ias)") ++appearanceSignals_;
}

QVariant Bar::property(const QString& name) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(items_.last(), QStringLiteral("/StatusNotifierItem"),
                                       QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << itemInterface << name;
    const QDBusMessage answer = bus_.call(call);
    if (answer.type() == QDBusMessage::ErrorMessage) throw std::runtime_error(answer.errorMessage().toStdString());
    return answer.arguments().at(0).value<QDBusVariant>().variant();
}

std::string Bar::toolTip() {
    QString icon;
    QString title;
    const auto from = property(QStringLiteral("ToolTip")).value<QDBusArgument>();
    from.beginStructure();
    from >> icon;
    from.beginArray();
    while (!from.atEnd())
        readImage(from);
    from.endArray();
    from >> title;
    return title.toStdString();
}

QList<int> Bar::imageSizes() {
    QList<int> sizes;
    const auto from = property(QStringLiteral("IconPixmap")).value<QDBusArgument>();
    from.beginArray();
    while (!from.atEnd())
        sizes.append(readImage(from));
    from.endArray();
    return sizes;
}

QDBusMessage Bar::callItem(const QString& method, const QVariantList& arguments) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(items_.last(), QStringLiteral("/StatusNotifierItem"), itemInterface, method);
    call.setArguments(arguments);
    return bus_.call(call);
}

QDBusMessage Bar::callMenu(const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(items_.last(), menuPath_, menuInterface, method);
    call.setArguments(arguments);
    return bus_.call(call);
}

DrawnEntry Bar::layout(int parent, int depth) {
    const QDBusMessage answer = callMenu(QStringLiteral("GetLayout"), {parent, depth, QStringList()});
    if (answer.signature() != "u(ia{sv}av)") {
        throw std::runtime_error("GetLayout answers " + answer.signature().toStdString() + " " +
                                 answer.errorMessage().toStdString());
    }
    return readEntry(answer.arguments().at(1).value<QDBusArgument>());
}

DrawnEntry Bar::open() {
    const QDBusMessage answer = callMenu(QStringLiteral("AboutToShow"), {0});
    if (answer.signature() != "b") throw std::runtime_error("AboutToShow: " + answer.errorMessage().toStdString());
    saidChanged_ = answer.arguments().at(0).toBool();
    return layout();
}

void Bar::click(int number) {
    callMenu(QStringLiteral("Event"),
             {number, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(QVariant(0))), 0U});
}

bool Bar::click(const std::vector<std::string>& labels) {
    DrawnEntry at = open();
    for (const std::string& label : labels) {
        const auto found = std::find_if(at.entries.begin(), at.entries.end(),
                                        [&label](const DrawnEntry& entry) { return entry.label == label; });
        if (found == at.entries.end()) return false;
        const DrawnEntry next = *found;
        at = next;
    }
    click(at.number);
    return true;
}

}  // namespace varnel::tests
