// SPDX-License-Identifier: MIT
#include "app/qt/MenuExport.h"

#include <QMetaObject>
#include <QVariantMap>
#include <cstdint>
#include <utility>

#include "app/StatusMenu.h"
#include "app/qt/MenuAdaptor.h"

namespace varnel {
namespace {

using Entry = NumberedMenu::Entry;

/// In a title of this interface an underscore marks a key, and two stand for one.
QString label(const MenuItem& item) {
    return MenuDrawing::onOneLine(item.title).replace(QLatin1Char('_'), QLatin1String("__"));
}

QVariantMap properties(const Entry& entry) {
    if (entry.number == 0) return {{QStringLiteral("children-display"), QStringLiteral("submenu")}};
    if (entry.item.isSeparator) return {{QStringLiteral("type"), QStringLiteral("separator")}};
    QVariantMap found = {{QStringLiteral("label"), label(entry.item)},
                         {QStringLiteral("enabled"), entry.item.isEnabled},
                         {QStringLiteral("visible"), true}};
    if (entry.item.checkState != MenuItem::CheckState::none) {
        found.insert(QStringLiteral("toggle-type"), QStringLiteral("checkmark"));
        found.insert(QStringLiteral("toggle-state"), entry.item.checkState == MenuItem::CheckState::on ? 1 : 0);
    }
    if (!entry.entries.empty()) found.insert(QStringLiteral("children-display"), QStringLiteral("submenu"));
    return found;
}

QVariantMap properties(const Entry& entry, const QStringList& names) {
    QVariantMap all = properties(entry);
    if (names.isEmpty()) return all;
    QVariantMap wanted;
    for (const QString& name : names) {
        if (all.contains(name)) wanted.insert(name, all.value(name));
    }
    return wanted;
}

MenuNode node(const Entry& entry, int depth, const QStringList& names) {
    MenuNode made = {entry.number, properties(entry, names), {}};
    if (depth == 0) return made;
    for (const Entry& below : entry.entries)
        made.entries.append(node(below, depth - 1, names));
    return made;
}

void collect(const Entry& entry, const QStringList& names, QList<MenuProperties>& into) {
    into.append({entry.number, properties(entry, names)});
    for (const Entry& below : entry.entries)
        collect(below, names, into);
}

}  // namespace

MenuExport::MenuExport(Source source, OnChoice onChoice)
    : source_(std::move(source)), onChoice_(std::move(onChoice)), adaptor_(new MenuAdaptor(this)) {
    registerMenuTypes();
}

bool MenuExport::exportOn(QDBusConnection bus, const QString& path) {
    return bus.registerObject(path, this, QDBusConnection::ExportAdaptors);
}

bool MenuExport::refresh() {
    switch (menu_.update(source_())) {
        case NumberedMenu::Change::none:
            return false;
        case NumberedMenu::Change::shape:
            emit adaptor_->LayoutUpdated(menu_.revision(), 0);
            return true;
        case NumberedMenu::Change::appearance: {
            QList<MenuProperties> changed;
            for (const Entry* const entry : menu_.changed())
                changed.append({entry->number, varnel::properties(*entry)});
            emit adaptor_->ItemsPropertiesUpdated(changed, {});
            return true;
        }
    }
    return false;
}

void MenuExport::choose(std::int32_t number) {
    const Entry* const entry = menu_.findToChoose(number);
    if (entry == nullptr || !entry->item.action || !entry->item.isEnabled) return;
    QMetaObject::invokeMethod(
        this,
        [this, action = *entry->item.action, object = entry->item.representedObject] { onChoice_(action, object); },
        Qt::QueuedConnection);
}

MenuNode MenuExport::layout(std::int32_t number, int depth, const QStringList& names) const {
    const Entry* const entry = menu_.find(number);
    return entry != nullptr ? node(*entry, depth, names) : MenuNode();
}

QList<MenuProperties> MenuExport::properties(const QList<int>& numbers, const QStringList& names) const {
    QList<MenuProperties> found;
    if (numbers.isEmpty()) collect(menu_.root(), names, found);
    for (const int number : numbers) {
        if (const Entry* const entry = menu_.find(number)) found.append({number, varnel::properties(*entry, names)});
    }
    return found;
}

}  // namespace varnel
