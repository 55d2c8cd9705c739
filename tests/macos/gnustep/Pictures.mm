// SPDX-License-Identifier: MIT
#include "tests/macos/gnustep/Pictures.h"

#include <algorithm>
#include <cstring>

#include "tests/macos/gnustep/Fakes.h"

namespace varnel::tests::Pictures {
namespace {

constexpr CGFloat margin = 12;

NSString* string(const std::string& text) {
    return [NSString stringWithUTF8String:text.c_str()];
}

bool hasOneColour(NSBitmapImageRep* image) {
    const unsigned char* const bytes = [image bitmapData];
    const auto pixel = static_cast<std::size_t>([image bitsPerPixel]) / 8;
    const auto size = static_cast<std::size_t>([image bytesPerRow] * [image pixelsHigh]);
    for (std::size_t at = 0; at + pixel <= size; at += pixel) {
        if (std::memcmp(bytes, bytes + at, pixel) != 0) return false;
    }
    return true;
}

void write(NSView* view, const std::string& name) {
    NSWindow* const window = [[NSWindow alloc] initWithContentRect:[view frame]
                                                         styleMask:NSBorderlessWindowMask
                                                           backing:NSBackingStoreBuffered
                                                             defer:NO];
    [window setContentView:view];
    [window orderFront:nil];
    [window display];
    [view lockFocus];
    NSBitmapImageRep* const image = [[NSBitmapImageRep alloc] initWithFocusedViewRect:[view bounds]];
    [view unlockFocus];
    if (image == nil || hasOneColour(image)) Fakes::breach("a picture shows nothing");
    NSData* const png = [image representationUsingType:NSPNGFileType properties:[NSDictionary dictionary]];
    if (![png writeToFile:string(folder + "/" + name + ".png") atomically:NO])
        Fakes::breach("a picture is not written");
    [image release];
    [window orderOut:nil];
    [window setContentView:nil];
    [window release];
}

NSTextField* label(const std::string& text, NSRect frame) {
    NSTextField* const field = [[[NSTextField alloc] initWithFrame:frame] autorelease];
    [field setStringValue:string(text)];
    [field setBezeled:NO];
    [field setEditable:NO];
    [field setDrawsBackground:NO];
    return field;
}

}  // namespace

std::string folder;

void ofMenu(NSMenu* menu, const std::string& name) {
    if (folder.empty()) return;
    NSMenuView* const view = [[[NSMenuView alloc] initWithFrame:NSZeroRect] autorelease];
    [view setMenu:menu];
    [view sizeToFit];
    write(view, name);
    [view setMenu:nil];
}

void ofAlert(const std::vector<std::string>& texts, NSView* accessory, const std::vector<std::string>& buttons) {
    if (folder.empty()) return;
    const CGFloat width = 520;
    const CGFloat height = 400;
    NSBox* const view = [[[NSBox alloc] initWithFrame:NSMakeRect(0, 0, width + 2 * margin, height)] autorelease];
    [view setTitlePosition:NSNoTitle];
    [view setBorderType:NSNoBorder];
    [view setContentViewMargins:NSZeroSize];
    CGFloat top = height - margin;
    for (const std::string& text : texts) {
        const auto lines = 1 + std::count(text.begin(), text.end(), '\n') + static_cast<long>(text.size() / 80);
        top -= 18 * static_cast<CGFloat>(lines);
        [view addSubview:label(text, NSMakeRect(margin, top, width, 18 * static_cast<CGFloat>(lines)))];
        top -= margin;
    }
    if (accessory != nil) {
        top -= [accessory frame].size.height;
        [accessory setFrameOrigin:NSMakePoint(margin, top)];
        [view addSubview:accessory];
    }
    // The first button stands at the right, as on a Mac.
    CGFloat right = width + margin;
    for (const std::string& text : buttons) {
        right -= 110;
        NSButton* const button = [[[NSButton alloc] initWithFrame:NSMakeRect(right, margin, 100, 26)] autorelease];
        [button setTitle:string(text)];
        [view addSubview:button];
    }
    static int number = 0;
    write(view, "alert-" + std::to_string(++number));
    [accessory removeFromSuperview];
}

}  // namespace varnel::tests::Pictures
