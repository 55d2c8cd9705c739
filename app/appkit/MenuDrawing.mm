// SPDX-License-Identifier: MIT
#include "app/appkit/MenuDrawing.h"

#include "platform/macos/ObjectiveC.h"

namespace varnel {
namespace {

NSMenuItem* drawn(const MenuItem& entry, id<VarnelMenuActions> target) {
    if (entry.isSeparator) return static_cast<NSMenuItem*>([NSMenuItem separatorItem]);
    NSString* const title = ObjectiveC::string(entry.title);
    NSMenuItem* const item = [[[NSMenuItem alloc] initWithTitle:title
                                                         action:entry.action ? selectorOf(*entry.action) : nullptr
                                                  keyEquivalent:@""] autorelease];
    if (entry.action) [item setTarget:target];
    if (entry.representedObject) [item setRepresentedObject:ObjectiveC::string(*entry.representedObject)];
    [item setEnabled:entry.isEnabled];
    [item setState:entry.checkState == MenuItem::CheckState::on ? NSControlStateValueOn : NSControlStateValueOff];
    if (!entry.submenu.empty()) {
        NSMenu* const submenu = [[[NSMenu alloc] initWithTitle:title] autorelease];
        [submenu setAutoenablesItems:NO];
        draw(entry.submenu, submenu, target);
        [item setSubmenu:submenu];
    }
    return item;
}

}  // namespace

SEL selectorOf(MenuAction action) {
    switch (action) {
        case MenuAction::scanVolume:
            return @selector(scanVolume:);
        case MenuAction::cleanVolume:
            return @selector(cleanVolume:);
        case MenuAction::cleanAndEject:
            return @selector(cleanAndEject:);
        case MenuAction::chooseFolder:
            return @selector(chooseFolder:);
        case MenuAction::sweepAll:
            return @selector(sweepAll:);
        case MenuAction::toggleWatcher:
            return @selector(toggleWatcher:);
        case MenuAction::toggleLoginItem:
            return @selector(toggleLoginItem:);
        case MenuAction::showLog:
            return @selector(showLog:);
        case MenuAction::quit:
            return @selector(quit:);
    }
}

void draw(const StatusMenu& entries, NSMenu* menu, id<VarnelMenuActions> target) {
    [menu removeAllItems];
    for (const MenuItem& entry : entries)
        [menu addItem:drawn(entry, target)];
}

}  // namespace varnel
