// SPDX-License-Identifier: MIT
//
// The entry follows the Desktop Entry Specification; desktops add keys of their own to switch it off.
#include "app/qt/LoginItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>
#include <expected>
#include <optional>
#include <utility>

namespace varnel {
namespace {

const QLatin1String group("[Desktop Entry]");

/// The keys of the main group; none where the file cannot be read.
std::optional<QMap<QString, QString>> entryKeys(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    constexpr qint64 enough = 65'536;
    QMap<QString, QString> keys;
    bool isInGroup = false;
    const QStringList lines = QString::fromUtf8(file.read(enough)).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const QString text = line.trimmed();
        if (text.startsWith(QLatin1Char('['))) isInGroup = text == group;
        const qsizetype equals = text.indexOf(QLatin1Char('='));
        if (!isInGroup || text.startsWith(QLatin1Char('#')) || equals < 0) continue;
        keys.insert(text.left(equals).trimmed(), text.mid(equals + 1).trimmed());
    }
    return keys;
}

/// A program's path as the first word of an Exec line.
QString quotedForExec(const QString& path) {
    QString quoted;
    for (const QChar character : path) {
        // Quoting in the line, and once more for the general escapes of the file.
        if (QStringLiteral("\"`$").contains(character)) quoted += QLatin1String("\\\\");
        if (character == QLatin1Char('\\')) quoted += QLatin1String("\\\\\\");
        if (character == QLatin1Char('%')) quoted += QLatin1Char('%');
        quoted += character;
    }
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

/// The program that an Exec line starts.
QString programOfExec(const QString& line) {
    QString text;
    for (qsizetype at = 0; at < line.size(); ++at) {
        if (line[at] == QLatin1Char('\\') && at + 1 < line.size()) ++at;
        text += line[at];
    }
    if (!text.startsWith(QLatin1Char('"')))
        return text.section(QLatin1Char(' '), 0, 0).replace(QLatin1String("%%"), QLatin1String("%"));
    QString program;
    for (qsizetype at = 1; at < text.size() && text[at] != QLatin1Char('"'); ++at) {
        if (text[at] == QLatin1Char('\\') && at + 1 < text.size()) ++at;
        program += text[at];
    }
    return program.replace(QLatin1String("%%"), QLatin1String("%"));
}

bool exists(const QString& program) {
    return program.contains(QLatin1Char('/')) ? QFileInfo(program).isExecutable()
                                              : !QStandardPaths::findExecutable(program).isEmpty();
}

QString failure(const QString& action, const QString& path, const QString& reason) {
    return action + QLatin1Char(' ') + path + QLatin1String(": ") + reason;
}

}  // namespace

LoginItem::LoginItem(const QString& folder, QString program)
    : folder_(folder), file_(folder + QLatin1String("/com.quorin.Varnel.desktop")), program_(std::move(program)) {}

LoginItem LoginItem::ofThisProgram() {
    return {QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1String("/autostart"),
            QCoreApplication::applicationFilePath()};
}

bool LoginItem::isEnabled() const {
    const auto keys = entryKeys(file_);
    if (!keys) return false;
    const auto says = [&keys](const char* key, const char* value) {
        return keys->value(QLatin1String(key)).compare(QLatin1String(value), Qt::CaseInsensitive) == 0;
    };
    return says("Type", "Application") && !says("Hidden", "true") && !says("X-GNOME-Autostart-enabled", "false") &&
           exists(programOfExec(keys->value(QStringLiteral("Exec"))));
}

std::expected<void, QString> LoginItem::setEnabled(bool enabled) const {
    if (enabled) return write();
    QFile file(file_);
    if (file.remove() || !QFileInfo::exists(file_)) return {};
    return std::unexpected(failure(QStringLiteral("Could not remove"), file_, file.errorString()));
}

std::expected<void, QString> LoginItem::write() const {
    QFile pattern(QStringLiteral(":/varnel/com.quorin.Varnel.autostart.desktop.in"));
    if (!pattern.open(QIODevice::ReadOnly)) {
        return std::unexpected(failure(QStringLiteral("Could not read"), pattern.fileName(), pattern.errorString()));
    }
    QDir().mkpath(folder_);
    QSaveFile file(file_);
    const QString text =
        QString::fromUtf8(pattern.readAll()).replace(QLatin1String("@PROGRAM@"), quotedForExec(program_));
    if (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit()) return {};
    return std::unexpected(failure(QStringLiteral("Could not write"), file_, file.errorString()));
}

}  // namespace varnel
