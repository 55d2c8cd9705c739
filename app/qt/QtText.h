// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <string>
#include <string_view>

namespace varnel::QtText {

/// UTF-8 as a text to be shown; bytes that are not UTF-8 become U+FFFD.
inline QString shown(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

inline std::string utf8(const QString& text) {
    return text.toStdString();
}

}  // namespace varnel::QtText
