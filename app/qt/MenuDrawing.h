// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <functional>
#include <optional>
#include <string>

#include "app/StatusMenu.h"

class QMenu;

namespace varnel {

/// What is to happen when an entry of the menu was chosen.
using OnChoice = std::function<void(MenuAction action, const std::optional<std::string>& representedObject)>;

namespace MenuDrawing {

/// Empties the menu and fills it from the value. `onChoice` is called from within the menu.
void fill(QMenu& menu, const StatusMenu& items, const OnChoice& onChoice);

/// A title on one line; a tabulator would begin a column of its own.
QString onOneLine(const std::string& title);

}  // namespace MenuDrawing
}  // namespace varnel
