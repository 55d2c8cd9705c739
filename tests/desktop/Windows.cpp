// SPDX-License-Identifier: MIT
#include "tests/desktop/Windows.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QVariant>
#include <QVariantList>
#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "tests/desktop/DesktopSession.h"

namespace varnel::tests {
namespace {

const QString accessible = QStringLiteral("org.a11y.atspi.Accessible");

// Bits of the state of a part.
constexpr uint editableBit = 7;
constexpr uint focusedBit = 12;
constexpr uint showingBit = 25;
constexpr uint defaultBit = 39;

QDBusMessage call(QDBusConnection& bus, const QString& service, const QString& path, const QString& interface,
                  const QString& method, const QVariantList& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, 2000);
}

QVariant first(const QDBusMessage& answer) {
    return answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty() ? answer.arguments().at(0)
                                                                                        : QVariant();
}

}  // namespace

std::vector<std::string> Dialog::buttons() const {
    std::vector<std::string> names;
    for (const Part& one : parts) {
        if (one.role == "push button" || one.role == "button") names.push_back(one.name);
    }
    return names;
}

std::vector<std::string> Dialog::labels() const {
    std::vector<std::string> names;
    for (const Part& one : parts) {
        if (one.role == "label") names.push_back(one.name);
    }
    return names;
}

const Part* Dialog::part(const std::string& role, const std::string& partName) const {
    for (const Part& one : parts) {
        if (one.role == role && one.name == partName) return &one;
    }
    return nullptr;
}

const Part* Dialog::button(const std::string& title) const {
    const Part* const found = part("push button", title);
    return found != nullptr ? found : part("button", title);
}

const Part* Dialog::part(const std::string& role) const {
    for (const Part& one : parts) {
        if (one.role == role) return &one;
    }
    return nullptr;
}

Windows::Windows() {
    QDBusConnection session = DesktopSession::connect(QStringLiteral("windows"));
    QString address;
    happens([&] {
        address = first(call(session, QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                             QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")))
                      .toString();
        return !address.isEmpty();
    });
    if (address.isEmpty()) throw std::runtime_error("no bus for screen readers");
    bus_ = QDBusConnection::connectToBus(address, QStringLiteral("accessibility"));
}

Windows::~Windows() {
    QDBusConnection::disconnectFromBus(QStringLiteral("accessibility"));
    QDBusConnection::disconnectFromBus(QStringLiteral("windows"));
}

std::vector<Windows::Reference> Windows::childrenOf(const Reference& one) {
    std::vector<Reference> children;
    const QVariant answer = first(call(*bus_, one.service, one.path, accessible, QStringLiteral("GetChildren")));
    if (!answer.isValid()) return children;
    const auto list = answer.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        Reference child;
        QDBusObjectPath path;
        list.beginStructure();
        list >> child.service >> path;
        list.endStructure();
        child.path = path.path();
        children.push_back(child);
    }
    list.endArray();
    return children;
}

Part Windows::read(const Reference& one) {
    const auto property = [&](const char* name) {
        const QVariant value =
            first(call(*bus_, one.service, one.path, QStringLiteral("org.freedesktop.DBus.Properties"),
                       QStringLiteral("Get"), {accessible, QLatin1String(name)}));
        return value.value<QDBusVariant>().variant().toString().toStdString();
    };
    Part part;
    part.role =
        first(call(*bus_, one.service, one.path, accessible, QStringLiteral("GetRoleName"))).toString().toStdString();
    part.name = property("Name");
    part.description = property("Description");
    part.text = first(call(*bus_, one.service, one.path, QStringLiteral("org.a11y.atspi.Text"),
                           QStringLiteral("GetText"), {0, -1}))
                    .toString()
                    .toStdString();
    const QVariant place = first(call(*bus_, one.service, one.path, QStringLiteral("org.a11y.atspi.Component"),
                                      QStringLiteral("GetExtents"), {0U}));
    if (place.isValid()) {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        const auto from = place.value<QDBusArgument>();
        from.beginStructure();
        from >> x >> y >> width >> height;
        from.endStructure();
        part.place = QRect(x, y, width, height);
    }
    const QVariant states = first(call(*bus_, one.service, one.path, accessible, QStringLiteral("GetState")));
    if (states.isValid()) {
        QList<uint> words;
        states.value<QDBusArgument>() >> words;
        const auto has = [&words](uint bit) {
            return words.size() > bit / 32 && ((words[bit / 32] >> (bit % 32)) & 1U);
        };
        part.hasFocus = has(focusedBit);
        part.isDefault = has(defaultBit);
        part.isEditable = has(editableBit);
        if (!has(showingBit)) part.role += " (hidden)";
    }
    return part;
}

void Windows::collect(const Reference& one, std::vector<Part>& into, int depth) {
    constexpr int deepest = 12;
    if (depth > deepest) return;
    for (const Reference& child : childrenOf(one)) {
        into.push_back(read(child));
        collect(child, into, depth + 1);
    }
}

std::vector<Windows::Reference> Windows::windows() {
    const Reference root = {QStringLiteral("org.a11y.atspi.Registry"),
                            QStringLiteral("/org/a11y/atspi/accessible/root")};
    std::vector<Reference> found;
    for (const Reference& program : childrenOf(root)) {
        for (const Reference& window : childrenOf(program))
            found.push_back(window);
    }
    return found;
}

std::vector<Dialog> Windows::dialogs() {
    std::vector<Dialog> found;
    for (const Reference& window : windows()) {
        const Part top = read(window);
        if (top.role != "dialog") continue;
        Dialog dialog = {top.name, top.description, top.place, {}};
        collect(window, dialog.parts, 0);
        found.push_back(dialog);
    }
    return found;
}

bool Windows::hasMenu() {
    // Screen readers are told of menus only while they move about in them. The other windows of the program that can
    // be seen are icons.
    return std::system(
               "for w in $(xdotool search --onlyvisible --class varnel-desktop 2>/dev/null); do"
               "  xdotool getwindowgeometry --shell $w | grep -q 'HEIGHT=[0-9][0-9][0-9]' && exit 0; done; exit 1") ==
           0;
}

std::optional<Dialog> Windows::dialog(const std::string& name) {
    std::optional<Dialog> found;
    happens([&] {
        for (const Dialog& one : dialogs()) {
            const bool hasFocus =
                std::any_of(one.parts.begin(), one.parts.end(), [](const Part& part) { return part.hasFocus; });
            if (one.name == name && hasFocus) found = one;
        }
        return found.has_value();
    });
    return found;
}

bool Windows::areClosed() {
    return happens([this] { return dialogs().empty(); });
}

void click(const Part& part) {
    DesktopSession::click(part.place.center().x(), part.place.center().y());
}

}  // namespace varnel::tests
