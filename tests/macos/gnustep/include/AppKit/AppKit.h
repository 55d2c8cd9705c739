// SPDX-License-Identifier: MIT
//
// GNUstep's AppKit, with stand-ins for what it lacks, or what waits for a person: the status bar, alerts, the open
// panel, the settings. They keep what they are told for the test (DesktopFakes.h).
#pragma once
#pragma clang system_header

#include_next <AppKit/AppKit.h>

#import <AppKit/NSStatusBarButton.h>
#import <Foundation/Foundation.h>

typedef NSString* NSPasteboardType;
enum { NSAlertStyleWarning = 0, NSAlertStyleInformational = 1 };
extern NSString* const NSPasteboardTypeFileURL;

@interface NSApplication (VarnelAdditions)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
@end

@interface NSImage (VarnelAdditions)
+ (NSImage*)imageWithSystemSymbolName:(NSString*)name accessibilityDescription:(NSString*)description;
- (void)setTemplate:(BOOL)isTemplate;
@end

@interface NSMenu (VarnelAdditions)
- (void)removeAllItems;
@end

@interface NSFont (VarnelAdditions)
+ (NSFont*)monospacedSystemFontOfSize:(CGFloat)size weight:(CGFloat)weight;
@end

@interface NSPasteboard (VarnelAdditions)
- (NSArray*)pasteboardItems;
@end

@interface VarnelFakeStatusItem : NSObject {
    NSMenu* _menu;
    NSStatusBarButton* _button;
}
- (NSStatusBarButton*)button;
- (void)setMenu:(NSMenu*)menu;
@end
#define NSStatusItem VarnelFakeStatusItem

@interface VarnelFakeStatusBar : NSObject
+ (VarnelFakeStatusBar*)systemStatusBar;
- (VarnelFakeStatusItem*)statusItemWithLength:(CGFloat)length;
@end
#define NSStatusBar VarnelFakeStatusBar

@interface VarnelFakeAlert : NSObject {
    NSString *_message, *_informative;
    NSInteger _style;
    NSMutableArray* _buttons;
    NSView* _accessory;
}
- (void)setMessageText:(NSString*)text;
- (void)setInformativeText:(NSString*)text;
- (void)setAlertStyle:(NSInteger)style;
- (void)setAccessoryView:(NSView*)view;
- (void)addButtonWithTitle:(NSString*)title;
- (NSInteger)runModal;
@end
#define NSAlert VarnelFakeAlert

@interface VarnelFakeOpenPanel : NSObject {
    BOOL _directories, _files, _multiple;
    NSString *_prompt, *_message;
}
+ (VarnelFakeOpenPanel*)openPanel;
- (void)setCanChooseDirectories:(BOOL)flag;
- (void)setCanChooseFiles:(BOOL)flag;
- (void)setAllowsMultipleSelection:(BOOL)flag;
- (void)setPrompt:(NSString*)prompt;
- (void)setMessage:(NSString*)message;
- (NSInteger)runModal;
- (NSURL*)URL;
@end
#define NSOpenPanel VarnelFakeOpenPanel

@interface VarnelFakeDefaults : NSObject
+ (VarnelFakeDefaults*)standardUserDefaults;
- (id)objectForKey:(NSString*)key;
- (BOOL)boolForKey:(NSString*)key;
- (void)setBool:(BOOL)value forKey:(NSString*)key;
- (BOOL)synchronize;
@end
#define NSUserDefaults VarnelFakeDefaults
