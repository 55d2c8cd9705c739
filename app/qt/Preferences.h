// SPDX-License-Identifier: MIT
#pragma once

#include <QMap>
#include <QString>
#include <optional>

namespace varnel {

/// The person's settings, in one file of their configuration folder.
class Preferences {
public:
    /// Keeps them in `file`, which need not exist.
    explicit Preferences(QString file) : file_(std::move(file)) {}

    /// The file in the current user's configuration folder.
    static QString defaultFile();

    /// The setting as it is stored now, whoever stored it, unless it could not be stored. None where there is none;
    /// what is there and is not true is false.
    std::optional<bool> value(const QString& key) const;

    /// Stores it on the disk. False where that failed; it then holds as long as this process lives.
    [[nodiscard]] bool setValue(const QString& key, bool value);

    const QString& file() const { return file_; }

private:
    QString file_;
    QMap<QString, bool> unstored_;
};

}  // namespace varnel
