// SPDX-License-Identifier: MIT
#include "app/qt/NumberedMenu.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "app/StatusMenu.h"

namespace varnel {
namespace {

using Entry = NumberedMenu::Entry;

bool hasShapeOf(const std::vector<Entry>& entries, const StatusMenu& menu) {
    return std::equal(
        entries.begin(), entries.end(), menu.begin(), menu.end(), [](const Entry& entry, const MenuItem& item) {
            const MenuItem& old = entry.item;
            const auto canBeChecked = [](const MenuItem& one) { return one.checkState != MenuItem::CheckState::none; };
            return old.isSeparator == item.isSeparator && old.action == item.action &&
                   old.representedObject == item.representedObject && canBeChecked(old) == canBeChecked(item) &&
                   hasShapeOf(entry.entries, item.submenu);
        });
}

const Entry* findIn(const Entry& entry, std::int32_t number) {
    if (entry.number == number) return &entry;
    for (const Entry& below : entry.entries) {
        if (const Entry* const found = findIn(below, number)) return found;
    }
    return nullptr;
}

MenuItem withoutSubmenu(const MenuItem& item) {
    MenuItem alone = item;
    alone.submenu.clear();
    return alone;
}

}  // namespace

NumberedMenu::Change NumberedMenu::update(const StatusMenu& menu) {
    changed_.clear();
    if (hasShapeOf(root_.entries, menu)) {
        refresh(root_.entries, menu);
        return changed_.empty() ? Change::none : Change::appearance;
    }
    previous_ = std::exchange(root_, {.number = 0, .item = {}, .entries = numbered(menu)});
    ++revision_;
    return Change::shape;
}

const Entry* NumberedMenu::find(std::int32_t number) const {
    return findIn(root_, number);
}

const Entry* NumberedMenu::findToChoose(std::int32_t number) const {
    const Entry* const found = findIn(root_, number);
    return found != nullptr ? found : findIn(previous_, number);
}

std::vector<Entry> NumberedMenu::numbered(const StatusMenu& menu) {
    std::vector<Entry> entries;
    entries.reserve(menu.size());
    for (const MenuItem& item : menu) {
        const std::int32_t number = ++lastNumber_;
        entries.push_back({.number = number, .item = withoutSubmenu(item), .entries = numbered(item.submenu)});
    }
    return entries;
}

void NumberedMenu::refresh(std::vector<Entry>& entries, const StatusMenu& menu) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
        refresh(entries[at].entries, menu[at].submenu);
        MenuItem item = withoutSubmenu(menu[at]);
        if (entries[at].item == item) continue;
        entries[at].item = std::move(item);
        changed_.push_back(&entries[at]);
    }
}

}  // namespace varnel
