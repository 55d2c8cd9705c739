// What this project uses of AppKit, each with the first macOS that has it. scripts/macos/check-interfaces.py holds it
// against the system's own metadata.
#pragma once
#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin
extern "C" {

@class NSMenu, NSMenuItem, NSStatusBarButton;

typedef NSString* NSPasteboardType;
typedef NSInteger NSModalResponse;
typedef NSInteger NSControlStateValue;

extern const NSNotificationName NSWorkspaceDidMountNotification API_AVAILABLE(macos(10.0));
extern const NSNotificationName NSWorkspaceDidUnmountNotification API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSWorkspace : NSObject
+ (NSWorkspace*)sharedWorkspace;
- (NSNotificationCenter*)notificationCenter;
- (BOOL)openURL:(NSURL*)url;
@end

API_AVAILABLE(macos(10.6))
@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (void)applicationWillTerminate:(NSNotification*)notification;
@end

typedef enum NSApplicationActivationPolicy : NSInteger {
    NSApplicationActivationPolicyAccessory = 1
} NSApplicationActivationPolicy;

API_AVAILABLE(macos(10.0))
@interface NSResponder : NSObject
@end

API_AVAILABLE(macos(10.0))
@interface NSApplication : NSResponder
+ (NSApplication*)sharedApplication;
- (void)setDelegate:(nullable id<NSApplicationDelegate>)delegate;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy API_AVAILABLE(macos(10.6));
- (void)activateIgnoringOtherApps:(BOOL)ignoringOtherApps;
- (void)setServicesProvider:(nullable id)provider;
- (void)run;
- (void)terminate:(nullable id)sender;
@end

void NSUpdateDynamicServices(void) API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSView : NSResponder
- (instancetype)initWithFrame:(NSRect)frame;
- (NSRect)bounds;
- (void)setToolTip:(nullable NSString*)text;
@end

API_AVAILABLE(macos(10.0))
@interface NSImage : NSObject
+ (nullable instancetype)imageWithSystemSymbolName:(NSString*)name
                          accessibilityDescription:(nullable NSString*)description API_AVAILABLE(macos(11.0));
- (void)setTemplate:(BOOL)isTemplate API_AVAILABLE(macos(10.5));
@end

API_AVAILABLE(macos(10.0))
@interface NSControl : NSView
@end

API_AVAILABLE(macos(10.0))
@interface NSButton : NSControl
- (void)setImage:(nullable NSImage*)image;
@end

API_AVAILABLE(macos(10.10))
@interface NSStatusBarButton : NSButton
@end

enum : int { NSVariableStatusItemLength = -1 };

API_AVAILABLE(macos(10.0))
@interface NSStatusItem : NSObject
- (nullable NSStatusBarButton*)button API_AVAILABLE(macos(10.10));
- (void)setMenu:(nullable NSMenu*)menu;
@end

API_AVAILABLE(macos(10.0))
@interface NSStatusBar : NSObject
+ (NSStatusBar*)systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
@end

API_AVAILABLE(macos(10.6))
@protocol NSMenuDelegate <NSObject>
@optional
- (void)menuNeedsUpdate:(NSMenu*)menu;
@end

API_AVAILABLE(macos(10.0))
@interface NSMenu : NSObject
- (instancetype)initWithTitle:(NSString*)title;
- (void)setAutoenablesItems:(BOOL)autoenables;
- (void)setDelegate:(nullable id<NSMenuDelegate>)delegate API_AVAILABLE(macos(10.3));
- (void)removeAllItems API_AVAILABLE(macos(10.6));
- (void)addItem:(NSMenuItem*)item;
@end

enum : NSControlStateValue { NSControlStateValueOff = 0, NSControlStateValueOn = 1 };

API_AVAILABLE(macos(10.0))
@interface NSMenuItem : NSObject
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)title action:(nullable SEL)action keyEquivalent:(NSString*)keyEquivalent;
- (void)setTarget:(nullable id)target;
- (void)setRepresentedObject:(nullable id)object;
- (nullable id)representedObject;
- (void)setEnabled:(BOOL)isEnabled;
- (void)setState:(NSControlStateValue)state;
- (void)setSubmenu:(nullable NSMenu*)submenu;
@end

typedef double NSFontWeight;
extern const NSFontWeight NSFontWeightRegular API_AVAILABLE(macos(10.11));

API_AVAILABLE(macos(10.0))
@interface NSFont : NSObject
+ (NSFont*)monospacedSystemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight API_AVAILABLE(macos(10.15));
@end

API_AVAILABLE(macos(10.0))
@interface NSText : NSView
- (void)setEditable:(BOOL)isEditable;
- (void)setRichText:(BOOL)isRichText;
- (void)setFont:(nullable NSFont*)font;
- (void)setString:(NSString*)string;
@end

API_AVAILABLE(macos(10.0))
@interface NSTextView : NSText
@end

typedef enum NSBorderType : NSUInteger { NSBezelBorder = 2 } NSBorderType;

API_AVAILABLE(macos(10.0))
@interface NSScrollView : NSView
- (void)setDocumentView:(nullable NSView*)view;
- (void)setHasVerticalScroller:(BOOL)hasVerticalScroller;
- (void)setBorderType:(NSBorderType)type;
@end

typedef enum NSAlertStyle : NSUInteger { NSAlertStyleWarning = 0 } NSAlertStyle;
enum : NSModalResponse { NSModalResponseOK = 1, NSAlertFirstButtonReturn = 1000 };

API_AVAILABLE(macos(10.3))
@interface NSAlert : NSObject
- (void)setMessageText:(NSString*)text;
- (void)setInformativeText:(NSString*)text;
- (void)setAlertStyle:(NSAlertStyle)style;
- (void)setAccessoryView:(nullable NSView*)view API_AVAILABLE(macos(10.5));
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
@end

API_AVAILABLE(macos(10.0))
@interface NSWindow : NSResponder
@end

API_AVAILABLE(macos(10.0))
@interface NSPanel : NSWindow
@end

API_AVAILABLE(macos(10.0))
@interface NSSavePanel : NSPanel
- (nullable NSURL*)URL;
- (void)setPrompt:(nullable NSString*)prompt;
- (void)setMessage:(nullable NSString*)message API_AVAILABLE(macos(10.3));
- (NSModalResponse)runModal;
@end

API_AVAILABLE(macos(10.0))
@interface NSOpenPanel : NSSavePanel
+ (NSOpenPanel*)openPanel;
- (void)setCanChooseDirectories:(BOOL)canChooseDirectories;
- (void)setCanChooseFiles:(BOOL)canChooseFiles;
- (void)setAllowsMultipleSelection:(BOOL)allowsMultipleSelection;
@end

extern const NSPasteboardType NSPasteboardTypeFileURL API_AVAILABLE(macos(10.13));

API_AVAILABLE(macos(10.6))
@interface NSPasteboardItem : NSObject
- (nullable NSString*)stringForType:(NSPasteboardType)type;
@end

API_AVAILABLE(macos(10.0))
@interface NSPasteboard : NSObject
- (nullable NSArray<NSPasteboardItem*>*)pasteboardItems API_AVAILABLE(macos(10.6));
- (nullable id)propertyListForType:(NSPasteboardType)type;
@end

}  // extern "C"
#pragma clang assume_nonnull end
