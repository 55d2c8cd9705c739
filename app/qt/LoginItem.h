// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <expected>

namespace varnel {

/// Opening at login: an entry in the folder of programs that every desktop starts with the session.
class LoginItem {
public:
    /// An entry in `folder` that starts `program`.
    LoginItem(const QString& folder, QString program);

    /// For the current user and the running program.
    static LoginItem ofThisProgram();

    /// Whether the entry is there, is switched on, and starts a program that exists.
    bool isEnabled() const;

    /// Writes or removes the entry; the failure is a text for people.
    std::expected<void, QString> setEnabled(bool enabled) const;

    const QString& file() const { return file_; }

private:
    std::expected<void, QString> write() const;

    QString folder_;
    QString file_;
    QString program_;
};

}  // namespace varnel
