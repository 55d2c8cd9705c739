// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/StatusMenu.h"

namespace varnel {

/// The menu of the moment with a number for each entry, by which another program names it.
///
/// As long as only titles and marks change, the numbers stay; otherwise all are new, and none ever returns. A number of
/// the menu before is still understood, because the other program may not have drawn the new one yet.
class NumberedMenu {
public:
    struct Entry {
        std::int32_t number = 0;
        MenuItem item;  ///< Its submenu is empty; see `entries`.
        std::vector<Entry> entries;
    };

    enum class Change : std::uint8_t { none, appearance, shape };

    /// Replaces the menu. `appearance`: only titles and marks of the entries of changed() differ.
    Change update(const StatusMenu& menu);

    /// Entry 0, whose entries are the menu's.
    const Entry& root() const { return root_; }

    /// The entry with that number in the menu of the moment; null where there is none.
    const Entry* find(std::int32_t number) const;

    /// The entry with that number in this menu or the one before.
    const Entry* findToChoose(std::int32_t number) const;

    /// The entries that the latest update changed without changing the shape.
    const std::vector<const Entry*>& changed() const { return changed_; }

    /// Rises with every change of shape.
    std::uint32_t revision() const { return revision_; }

private:
    std::vector<Entry> numbered(const StatusMenu& menu);
    void refresh(std::vector<Entry>& entries, const StatusMenu& menu);

    Entry root_;
    Entry previous_;
    std::vector<const Entry*> changed_;
    std::int32_t lastNumber_ = 0;
    std::uint32_t revision_ = 0;
};

}  // namespace varnel
