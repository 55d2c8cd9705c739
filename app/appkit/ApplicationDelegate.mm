// SPDX-License-Identifier: MIT
#include "app/appkit/ApplicationDelegate.h"

#include <unistd.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/Pasteboard.h"
#include "app/StatusMenu.h"
#include "app/appkit/MenuDrawing.h"
#include "platform/macos/ObjectiveC.h"

namespace {

using varnel::MenuAction;
using varnel::ObjectiveC::text;

/// The text that an object is; none where it is something else.
std::optional<std::string> textOf(id _Nullable object) {
    if (![object isKindOfClass:[NSString class]]) return std::nullopt;
    return text(static_cast<NSString*>(object));
}

std::optional<std::vector<std::string>> textsOf(id _Nullable object) {
    if (![object isKindOfClass:[NSArray class]]) return std::nullopt;
    std::vector<std::string> texts;
    for (id element in static_cast<NSArray*>(object)) {
        auto one = textOf(element);
        if (!one) return std::nullopt;
        texts.push_back(*std::move(one));
    }
    return texts;
}

varnel::Pasteboard contentsOf(NSPasteboard* pasteboard) {
    varnel::Pasteboard contents;
    for (NSPasteboardItem* item in [pasteboard pasteboardItems])
        contents.fileURLs.push_back(textOf([item stringForType:NSPasteboardTypeFileURL]));
    contents.fileNames = textsOf([pasteboard propertyListForType:@"NSFilenamesPboardType"]);
    return contents;
}

}  // namespace

@implementation VarnelApplicationDelegate

- (instancetype)initWithDelegate:(std::shared_ptr<varnel::AppDelegate>)delegate {
    self = [super init];
    if (self != nil) _delegate = std::move(delegate);
    return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    _delegate->applicationDidFinishLaunching();
}

- (void)applicationWillTerminate:(NSNotification*)notification {
    _delegate->applicationWillTerminate();
    // AppKit would end the process in the ordinary way, under whatever still works in the background.
    ::_exit(0);
}

- (void)menuNeedsUpdate:(NSMenu*)menu {
    varnel::draw(_delegate->menuNeedsUpdate(), menu, self);
}

- (void)perform:(MenuAction)action for:(id)sender {
    NSMenuItem* const item = [sender isKindOfClass:[NSMenuItem class]] ? static_cast<NSMenuItem*>(sender) : nil;
    _delegate->perform(action, textOf([item representedObject]));
}

- (void)scanVolume:(id)sender {
    [self perform:MenuAction::scanVolume for:sender];
}
- (void)cleanVolume:(id)sender {
    [self perform:MenuAction::cleanVolume for:sender];
}
- (void)cleanAndEject:(id)sender {
    [self perform:MenuAction::cleanAndEject for:sender];
}
- (void)chooseFolder:(id)sender {
    [self perform:MenuAction::chooseFolder for:sender];
}
- (void)sweepAll:(id)sender {
    [self perform:MenuAction::sweepAll for:sender];
}
- (void)toggleWatcher:(id)sender {
    [self perform:MenuAction::toggleWatcher for:sender];
}
- (void)toggleLoginItem:(id)sender {
    [self perform:MenuAction::toggleLoginItem for:sender];
}
- (void)showLog:(id)sender {
    [self perform:MenuAction::showLog for:sender];
}
- (void)quit:(id)sender {
    [self perform:MenuAction::quit for:sender];
}

- (void)cleanUsingVarnel:(NSPasteboard*)pasteboard {
    _delegate->cleanUsingVarnel(contentsOf(pasteboard));
}
- (void)cleanUsingVarnel:(NSPasteboard*)pasteboard
                userData:(NSString* _Nullable)userData
                   error:(NSString* _Nullable* _Nullable)error {
    [self cleanUsingVarnel:pasteboard];
}

@end
