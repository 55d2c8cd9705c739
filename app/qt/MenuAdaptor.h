// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusVariant>
#include <QList>
#include <QString>
#include <QStringList>

#include "app/qt/MenuTypes.h"

namespace varnel {

class MenuExport;

/// Answers the calls of "com.canonical.dbusmenu". The names are the interface's.
class MenuAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)

public:
    explicit MenuAdaptor(MenuExport* menu);

    uint version() const { return 3; }
    QString textDirection() const;
    QString status() const { return QStringLiteral("normal"); }
    QStringList iconThemePath() const { return {}; }

    // NOLINTBEGIN(readability-identifier-naming): the names are the interface's
public slots:  // NOLINT(readability-redundant-access-specifiers): a slot is what D-Bus can call
    uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, varnel::MenuNode& layout);
    QList<varnel::MenuProperties> GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames);
    QDBusVariant GetProperty(int id, const QString& name);
    void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp);
    QList<int> EventGroup(const QList<varnel::MenuEvent>& events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors);

signals:
    void ItemsPropertiesUpdated(const QList<varnel::MenuProperties>& updatedProps,
                                const QList<varnel::MenuPropertyNames>& removedProps);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);
    // NOLINTEND(readability-identifier-naming)

private:
    MenuExport* const menu_;
};

}  // namespace varnel
