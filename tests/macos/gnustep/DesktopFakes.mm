// SPDX-License-Identifier: MIT
#include "tests/macos/gnustep/DesktopFakes.h"

#import <ServiceManagement/ServiceManagement.h>
#include <objc/runtime.h>

#include <utility>

#include "tests/macos/gnustep/Fakes.h"
#include "tests/macos/gnustep/Pictures.h"

using namespace varnel::tests;
using Fakes::breach;
using Fakes::desktopCalls;

NSString* const NSPasteboardTypeFileURL = @"public.file-url";

namespace varnel::tests::Fakes {

std::vector<std::string> desktopCalls;
StatusBarState statusBar;
std::vector<ShownAlert> alerts;
std::deque<int> answers;
std::vector<ShownPanel> panels;
std::optional<std::string> chosen;
std::map<std::string, bool> settings;
int loginStatus = 0;
std::optional<std::string> loginRefusal;
std::map<std::string, std::string> numberedFiles;

void resetDesktop() {
    desktopCalls.clear();
    statusBar = {};
    alerts.clear();
    answers.clear();
    panels.clear();
    chosen.reset();
    settings.clear();
    loginStatus = 0;
    loginRefusal.reset();
    numberedFiles.clear();
}

}  // namespace varnel::tests::Fakes

namespace {

std::string utf8(NSString* string) {
    return string == nil ? std::string() : std::string([string UTF8String]);
}

NSString* stringOf(const std::string& text) {
    return [NSString stringWithUTF8String:text.c_str()];
}

NSStatusBarButton* button = nil;
NSFont* monospaced = nil;             // the latest
std::map<NSMenu*, id> menuDelegates;  // not kept, as AppKit does not keep them

}  // namespace

/// An image that remembers what it was made from.
@interface VarnelFakeSymbol : NSImage {
@public
    NSString* symbol;
    NSString* description;
    BOOL isTemplate;
}
@end

@implementation VarnelFakeSymbol
- (void)dealloc {
    [symbol release];
    [description release];
    [super dealloc];
}
@end

void Fakes::readButton() {
    statusBar.toolTip = utf8([button toolTip]);
    NSImage* const image = [button image];
    if (![image isKindOfClass:[VarnelFakeSymbol class]]) return;
    VarnelFakeSymbol* const made = static_cast<VarnelFakeSymbol*>(image);
    statusBar.symbol = utf8(made->symbol);
    statusBar.description = utf8(made->description);
    statusBar.isTemplate = made->isTemplate;
}

@implementation NSImage (VarnelAdditions)
+ (NSImage*)imageWithSystemSymbolName:(NSString*)name accessibilityDescription:(NSString*)description {
    VarnelFakeSymbol* const image = [[[VarnelFakeSymbol alloc] initWithSize:NSMakeSize(16, 16)] autorelease];
    image->symbol = [name copy];
    image->description = [description copy];
    return image;
}
- (void)setTemplate:(BOOL)isTemplate {
    if ([self isKindOfClass:[VarnelFakeSymbol class]]) static_cast<VarnelFakeSymbol*>(self)->isTemplate = isTemplate;
}
@end

/// GNUstep asks a menu's delegate again from within each entry that it adds; so it does not hear of the delegate, and
/// the tests ask in its place, as macOS does before a menu opens.
@implementation NSMenu (VarnelAdditions)
- (void)setDelegate:(id)delegate {
    menuDelegates[self] = delegate;
}
- (id)delegate {
    return menuDelegates[self];
}
- (void)removeAllItems {
    while ([self numberOfItems] > 0)
        [self removeItemAtIndex:0];
}
@end

@implementation NSFont (VarnelAdditions)
+ (NSFont*)monospacedSystemFontOfSize:(CGFloat)size weight:(CGFloat)weight {
    if (weight != 0) breach("a report in another weight than the regular one");
    monospaced = [NSFont userFixedPitchFontOfSize:size];
    return monospaced;
}
@end

@implementation NSPasteboard (VarnelAdditions)
- (NSArray*)pasteboardItems {
    breach("a pasteboard that the test did not make");
}
@end

@interface VarnelFakePasteboardItem : NSObject {
@public
    NSString* url;
}
@end

@implementation VarnelFakePasteboardItem
- (NSString*)stringForType:(NSString*)type {
    return [type isEqualToString:NSPasteboardTypeFileURL] ? url : nil;
}
- (void)dealloc {
    [url release];
    [super dealloc];
}
@end

/// A pasteboard without the server behind GNUstep's own.
@interface VarnelFakePasteboard : NSPasteboard {
@public
    NSArray* items;
    id names;
}
@end

@implementation VarnelFakePasteboard
- (NSArray*)pasteboardItems {
    return items;
}
- (id)propertyListForType:(NSString*)type {
    if (![type isEqualToString:@"NSFilenamesPboardType"]) breach("another type than the list of names");
    return names;
}
- (oneway void)release {
    // Lives as long as the test program.
}
@end

NSPasteboard* Fakes::pasteboard(const std::vector<std::string>& items, id names) {
    auto* const made = static_cast<VarnelFakePasteboard*>(class_createInstance([VarnelFakePasteboard class], 0));
    NSMutableArray* const all = [[NSMutableArray alloc] init];
    for (const std::string& text : items) {
        VarnelFakePasteboardItem* const item = [[[VarnelFakePasteboardItem alloc] init] autorelease];
        if (!text.empty()) item->url = [stringOf(text) retain];
        [all addObject:item];
    }
    made->items = all;
    made->names = [names retain];
    return made;
}

@implementation NSURL (VarnelDesktopAdditions)
- (NSURL*)filePathURL {
    const auto found = Fakes::numberedFiles.find(utf8([self absoluteString]));
    return found == Fakes::numberedFiles.end() ? nil : [NSURL fileURLWithPath:stringOf(found->second)];
}
@end

@implementation NSApplication (VarnelAdditions)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
    desktopCalls.push_back("policy " + std::to_string(policy));
    return YES;
}
- (void)activateIgnoringOtherApps:(BOOL)ignoringOtherApps {
    desktopCalls.emplace_back(ignoringOtherApps ? "activate" : "activate politely");
}
- (void)setServicesProvider:(id)provider {
    desktopCalls.emplace_back(provider == nil ? "no servicesProvider" : "servicesProvider");
}
- (void)terminate:(id)sender {
    desktopCalls.emplace_back(sender == nil ? "terminate" : "terminate for somebody");
}
@end

// In GNUstep's place: the program's own definition comes first.
void NSUpdateDynamicServices(void) {
    desktopCalls.emplace_back("updateServices");
}

@interface NSWorkspace (VarnelDesktopAdditions)
- (BOOL)openURL:(NSURL*)url;
@end

@implementation NSWorkspace (VarnelDesktopAdditions)
- (BOOL)openURL:(NSURL*)url {
    desktopCalls.push_back("open " + utf8([url absoluteString]));
    return YES;
}
@end

/// As it is documented: the bar does not keep its items.
@implementation VarnelFakeStatusBar
+ (VarnelFakeStatusBar*)systemStatusBar {
    static VarnelFakeStatusBar* const bar = [[VarnelFakeStatusBar alloc] init];
    return bar;
}
- (VarnelFakeStatusItem*)statusItemWithLength:(CGFloat)length {
    Fakes::statusBar.length = length;
    ++Fakes::statusBar.items;
    return [[[VarnelFakeStatusItem alloc] init] autorelease];
}
@end

@implementation VarnelFakeStatusItem
- (void)dealloc {
    --Fakes::statusBar.items;
    [_menu release];
    [_button release];
    [super dealloc];
}
- (NSStatusBarButton*)button {
    if (!Fakes::statusBar.hasButton) return nil;
    if (_button == nil) _button = [[NSStatusBarButton alloc] initWithFrame:NSMakeRect(0, 0, 24, 24)];
    button = _button;
    return _button;
}
- (void)setMenu:(NSMenu*)menu {
    [menu retain];
    [_menu release];
    _menu = menu;
    Fakes::statusBar.menu = menu;
}
@end

@implementation VarnelFakeAlert
- (id)init {
    self = [super init];
    _buttons = [[NSMutableArray alloc] init];
    _style = NSAlertStyleInformational;
    return self;
}
- (void)dealloc {
    [_message release];
    [_informative release];
    [_buttons release];
    [_accessory release];
    [super dealloc];
}
- (void)setMessageText:(NSString*)text {
    if (text == nil) breach("an alert without a message");
    [_message autorelease];
    _message = [text copy];
}
- (void)setInformativeText:(NSString*)text {
    if (text == nil) breach("an alert without a text");
    [_informative autorelease];
    _informative = [text copy];
}
- (void)setAlertStyle:(NSInteger)style {
    _style = style;
}
- (void)setAccessoryView:(NSView*)view {
    [_accessory autorelease];
    _accessory = [view retain];
}
- (void)addButtonWithTitle:(NSString*)title {
    [_buttons addObject:title];
}
- (void)readReportInto:(Fakes::ShownAlert*)shown {
    NSScrollView* const scroll = static_cast<NSScrollView*>(_accessory);
    NSTextView* const view = [scroll documentView];
    shown->report = utf8([view string]);
    const NSSize size = [scroll frame].size;
    shown->reportForm =
        std::to_string(static_cast<int>(size.width)) + "x" + std::to_string(static_cast<int>(size.height));
    if ([view frame].size.width > 480 && [view frame].size.height > 200) shown->reportForm += " fills";
    if ([scroll hasVerticalScroller]) shown->reportForm += " scroller";
    if ([scroll borderType] == NSBezelBorder) shown->reportForm += " bezel";
    if (![view isRichText]) shown->reportForm += " plain";
    if (![view isEditable]) shown->reportForm += " read-only";
    if ([view font] == monospaced) shown->reportForm += " monospaced";
    shown->reportForm += " " + std::to_string(static_cast<int>([[view font] pointSize]));
}
- (NSInteger)runModal {
    if (desktopCalls.empty() || desktopCalls.back() != "activate") breach("an alert behind other windows");
    Fakes::ShownAlert shown;
    shown.message = utf8(_message);
    shown.informativeText = utf8(_informative);
    shown.isWarning = _style == NSAlertStyleWarning;
    for (NSString* title in _buttons)
        shown.buttons.push_back(utf8(title));
    if (_accessory != nil) [self readReportInto:&shown];
    Pictures::ofAlert({shown.message, shown.informativeText}, _accessory, shown.buttons);
    Fakes::alerts.push_back(std::move(shown));
    if (Fakes::answers.empty()) return NSAlertFirstButtonReturn;
    const int answer = Fakes::answers.front();
    Fakes::answers.pop_front();
    return answer < 0 ? NSModalResponseAbort : NSAlertFirstButtonReturn + answer;
}
@end

@implementation VarnelFakeOpenPanel
+ (VarnelFakeOpenPanel*)openPanel {
    return [[[VarnelFakeOpenPanel alloc] init] autorelease];
}
- (void)dealloc {
    [_prompt release];
    [_message release];
    [super dealloc];
}
- (void)setCanChooseDirectories:(BOOL)flag {
    _directories = flag;
}
- (void)setCanChooseFiles:(BOOL)flag {
    _files = flag;
}
- (void)setAllowsMultipleSelection:(BOOL)flag {
    _multiple = flag;
}
- (void)setPrompt:(NSString*)prompt {
    _prompt = [prompt copy];
}
- (void)setMessage:(NSString*)message {
    _message = [message copy];
}
- (NSInteger)runModal {
    if (desktopCalls.empty() || desktopCalls.back() != "activate") breach("a panel behind other windows");
    Fakes::panels.push_back({_directories != NO, _files != NO, _multiple != NO, utf8(_prompt), utf8(_message)});
    return Fakes::chosen ? NSModalResponseOK : NSModalResponseCancel;
}
- (NSURL*)URL {
    // A cancelled panel still names the place that it showed.
    return [NSURL fileURLWithPath:stringOf(Fakes::chosen.value_or("/the/place/that/it/showed"))];
}
@end

@implementation VarnelFakeDefaults
+ (VarnelFakeDefaults*)standardUserDefaults {
    static VarnelFakeDefaults* const defaults = [[VarnelFakeDefaults alloc] init];
    return defaults;
}
- (id)objectForKey:(NSString*)key {
    const auto found = Fakes::settings.find(utf8(key));
    return found == Fakes::settings.end() ? nil : [NSNumber numberWithBool:found->second];
}
- (BOOL)boolForKey:(NSString*)key {
    const auto found = Fakes::settings.find(utf8(key));
    return found != Fakes::settings.end() && found->second;
}
- (void)setBool:(BOOL)value forKey:(NSString*)key {
    Fakes::settings[utf8(key)] = value != NO;
}
- (BOOL)synchronize {
    desktopCalls.emplace_back("synchronize");
    return YES;
}
@end

@implementation SMAppService
+ (SMAppService*)mainAppService {
    static SMAppService* const service = [[SMAppService alloc] init];
    return service;
}
- (SMAppServiceStatus)status {
    return static_cast<SMAppServiceStatus>(Fakes::loginStatus);
}
- (BOOL)become:(int)status orReturnError:(NSError**)error {
    if (!Fakes::loginRefusal) {
        Fakes::loginStatus = status;
        return YES;
    }
    NSDictionary* const words = [NSDictionary dictionaryWithObject:stringOf(*Fakes::loginRefusal)
                                                            forKey:NSLocalizedDescriptionKey];
    *error = [NSError errorWithDomain:@"SMAppServiceErrorDomain" code:1 userInfo:words];
    return NO;
}
- (BOOL)registerAndReturnError:(NSError**)error {
    return [self become:1 orReturnError:error];
}
- (BOOL)unregisterAndReturnError:(NSError**)error {
    return [self become:0 orReturnError:error];
}
@end
