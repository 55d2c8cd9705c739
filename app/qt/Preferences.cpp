// SPDX-License-Identifier: MIT
#include "app/qt/Preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QVariant>
#include <optional>

namespace varnel {

QString Preferences::defaultFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QLatin1String("/varnel/varnel.conf");
}

std::optional<bool> Preferences::value(const QString& key) const {
    if (const auto unstored = unstored_.find(key); unstored != unstored_.end()) return *unstored;
    const QSettings settings(file_, QSettings::IniFormat);
    const QVariant stored = settings.value(key);
    if (!stored.isValid()) return std::nullopt;
    // Qt takes any text for true. Here, what somebody stored and nobody can read must not switch anything on.
    const QString text = stored.toString().trimmed().toLower();
    return text == QLatin1String("true") || text == QLatin1String("yes") || text == QLatin1String("1");
}

bool Preferences::setValue(const QString& key, bool value) {
    QDir().mkpath(QFileInfo(file_).path());
    QSettings settings(file_, QSettings::IniFormat);
    settings.setValue(key, value);
    settings.sync();
    const bool isStored = settings.status() != QSettings::AccessError;
    unstored_.remove(key);
    if (!isStored) unstored_.insert(key, value);
    return isStored;
}

}  // namespace varnel
