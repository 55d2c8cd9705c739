// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusObjectPath>
#include <QList>
#include <QString>

#include "app/qt/MenuTypes.h"

namespace varnel {

class NotifierItem;

/// Answers the calls of "org.kde.StatusNotifierItem". The names are the interface's.
class NotifierItemAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(QList<varnel::BarImage> IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconAccessibleDesc READ iconAccessibleDesc)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(QList<varnel::BarImage> OverlayIconPixmap READ noImages)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(QList<varnel::BarImage> AttentionIconPixmap READ noImages)
    Q_PROPERTY(QString AttentionMovieName READ none)
    Q_PROPERTY(varnel::BarToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    static constexpr const char* menuPath = "/StatusNotifierItem/Menu";

    explicit NotifierItemAdaptor(NotifierItem* item);

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return QStringLiteral("com.quorin.Varnel"); }
    QString title() const;
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString iconName() const;
    QList<BarImage> iconPixmap() const;
    QString iconAccessibleDesc() const;
    QString none() const { return {}; }
    QList<BarImage> noImages() const { return {}; }
    BarToolTip toolTip() const;
    bool itemIsMenu() const { return true; }
    QDBusObjectPath menu() const { return QDBusObjectPath(QLatin1String(menuPath)); }

    // NOLINTBEGIN(readability-identifier-naming): the names are the interface's
public slots:  // NOLINT(readability-redundant-access-specifiers): a slot is what D-Bus can call
    void ContextMenu(int x, int y);
    void Activate(int x, int y);
    void SecondaryActivate(int x, int y);
    void Scroll(int delta, const QString& orientation);
    void ProvideXdgActivationToken(const QString& token);

signals:
    void NewTitle();
    void NewIcon();
    void NewAttentionIcon();
    void NewOverlayIcon();
    void NewToolTip();
    void NewStatus(const QString& status);
    // NOLINTEND(readability-identifier-naming)

private:
    NotifierItem* const item_;
};

}  // namespace varnel
