// SPDX-License-Identifier: MIT
//
// The menu of the status item as a value, made anew for each opening. A desktop draws it and hands the action and the
// represented object of the chosen entry to AppDelegate::perform(). No entry has a keyboard shortcut.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/FunctionRef.h"
#include "core/volumes/Volume.h"

namespace varnel {

/// What an entry of the menu does; AppDelegate is the target of each.
enum class MenuAction : std::uint8_t {
    scanVolume,
    cleanVolume,
    cleanAndEject,
    chooseFolder,
    sweepAll,
    toggleWatcher,
    toggleLoginItem,
    showLog,
    quit,
};

/// One entry of the menu.
struct MenuItem {
    /// `none` where the entry can have no check mark at all.
    enum class CheckState : std::uint8_t { none, off, on };

    std::string title;                             ///< Plain text: an "&" in it is an "&". Empty for a separator.
    std::optional<MenuAction> action;              ///< None for headings, separators and entries with a submenu.
    std::optional<std::string> representedObject;  ///< Goes with the action. A volume's mount point, byte by byte.
    bool isEnabled = true;
    bool isSeparator = false;
    CheckState checkState = CheckState::none;
    std::vector<MenuItem> submenu;  ///< Empty where the entry opens none.

    static MenuItem separator();
    /// An entry that is only read: disabled, without an action.
    static MenuItem heading(std::string title);
    static MenuItem command(std::string title, MenuAction action);

    bool operator==(const MenuItem&) const = default;
};

/// The entries from top to bottom.
using StatusMenu = std::vector<MenuItem>;

/// What the menu tells of.
struct StatusMenuFacts {
    std::int64_t deleted = 0;  ///< What the watcher has removed since the application was started.
    std::vector<Volume> targets;
    FunctionRef<bool()> watcherEnabled;  ///< Asked for the title and once more for the check mark.
    FunctionRef<bool()> opensAtLogin;
};

StatusMenu statusMenu(const StatusMenuFacts& facts);

}  // namespace varnel
