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
    // Qt takes any text for true.
    const QString text = settings.value(key).toString().trimmed().toLower();
    if (text == QLatin1String("true")) return true;
    if (text == QLatin1String("false")) return false;
    return std::nullopt;
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
