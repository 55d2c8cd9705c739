// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>
#include <optional>
#include <string>
#include <vector>

namespace varnel::tests {

/// An entry of a menu, as a bar was told to draw it.
struct DrawnEntry {
    int number = 0;
    std::string label;
    bool isSeparator = false;
    bool isEnabled = true;
    std::optional<bool> isChecked;
    std::vector<DrawnEntry> entries;

    /// The entries below, one on each line: "[x] Title", "Title (disabled)", "---", those of a submenu indented.
    std::string text(int depth = 0) const;
};

/// Stands for the bar of a desktop: takes items, and reads and clicks their menus over D-Bus.
class Bar : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    Bar();
    ~Bar() override;

    QStringList items() const { return items_; }
    bool hasHost() const { return true; }
    int protocolVersion() const { return 0; }

    /// Waits for the item; false where none comes.
    bool hasItem();

    /// Whether the program still offers the item.
    bool isItemThere() const;

    /// Waits for an item beside those that came before.
    bool hasNewItem();

    QVariant property(const QString& name);
    std::string toolTip();
    QList<int> imageSizes();

    /// Opens the menu as a bar does when the icon is clicked.
    DrawnEntry open();

    /// The same without a word to the program before.
    DrawnEntry layout(int parent = 0, int depth = -1);

    /// Whether the program said at the latest opening that the menu had changed.
    bool saidChanged() const { return saidChanged_; }
    int shapeSignals() const { return shapeSignals_; }
    int appearanceSignals() const { return appearanceSignals_; }

    /// Clicks an entry, named by its path of labels; false where it is not there.
    bool click(const std::vector<std::string>& labels);
    void click(int number);

    /// Calls a method of the item or of its menu.
    QDBusMessage callItem(const QString& method, const QVariantList& arguments);
    QDBusMessage callMenu(const QString& method, const QVariantList& arguments);

public slots:
    void RegisterStatusNotifierItem(const QString& service);
    void RegisterStatusNotifierHost(const QString& service);

    void layoutUpdated(uint revision, int parent);
    void propertiesUpdated(const QDBusMessage& message);

signals:
    void StatusNotifierItemRegistered(const QString& service);
    void StatusNotifierItemUnregistered(const QString& service);
    void StatusNotifierHostRegistered();

private:
    QDBusConnection bus_;
    QStringList items_;
    QString menuPath_;
    bool saidChanged_ = false;
    int shapeSignals_ = 0;
    int appearanceSignals_ = 0;
};

}  // namespace varnel::tests
