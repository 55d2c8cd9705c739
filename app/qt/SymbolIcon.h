// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace varnel::SymbolIcon {

/// The name under which desktops have our drawing of a symbol; empty where it is not installed for them.
QString themeName(const QString& symbol);

/// Our drawing of a symbol in one colour, for all sizes of a bar; null for a symbol that we have not drawn.
QIcon drawn(const QString& symbol, const QColor& color);

/// The colour in which a template image is seen on the desktop's bars: light on dark, dark on light.
QColor barColor();

}  // namespace varnel::SymbolIcon
