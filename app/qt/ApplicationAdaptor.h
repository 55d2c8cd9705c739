// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractAdaptor>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace varnel {

class ApplicationService;

/// Answers the calls of "org.freedesktop.Application". The names are the interface's.
class ApplicationAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(ApplicationService* service);

    // NOLINTBEGIN(readability-identifier-naming): the names are the interface's
public slots:  // NOLINT(readability-redundant-access-specifiers): a slot is what D-Bus can call
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& uris, const QVariantMap& platformData);
    void ActivateAction(const QString& actionName, const QVariantList& parameter, const QVariantMap& platformData);
    // NOLINTEND(readability-identifier-naming)

private:
    ApplicationService* const service_;
};

}  // namespace varnel
