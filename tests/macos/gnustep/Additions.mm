// SPDX-License-Identifier: MIT
//
// What macOS has and GNUstep lacks or answers otherwise. Texts and sizes are answered as the Linux layer does, which is
// held against recorded answers of macOS: GNUstep is where the macOS layer runs, never what it is measured by.
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <unistd.h>

#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "tests/macos/gnustep/Fakes.h"
#include "tests/macos/gnustep/LinuxAnswers.h"

using namespace varnel;
using tests::Fakes::breach;

namespace {

NSString* stringOf(const std::string& text) {
    return [NSString stringWithUTF8String:text.c_str()];
}

void noteQuestion(NSArray* keys, NSUInteger options) {
    tests::Fakes::noteQuestion(std::string([[keys componentsJoinedByString:@","] UTF8String]) +
                               " options=" + std::to_string(options));
}

}  // namespace

@implementation NSFileManager (VarnelAdditions)
- (NSArray*)mountedVolumeURLsIncludingResourceValuesForKeys:(NSArray*)keys options:(NSVolumeEnumerationOptions)options {
    noteQuestion(keys, options);
    const auto state = tests::Fakes::mounted();
    if (state.isUnknown) return nil;
    NSMutableArray* const urls = [NSMutableArray array];
    for (const auto& volume : state.volumes)
        [urls addObject:[NSURL fileURLWithPath:stringOf(volume.path) isDirectory:YES]];
    return urls;
}

- (NSArray*)contentsOfDirectoryAtPath:(NSString*)path error:(NSError**)error {
    if (error != nullptr) *error = nil;
    if (![path isEqualToString:@"/Volumes"]) breach("only /Volumes is listed");
    const auto state = tests::Fakes::mounted();
    if (state.cannotBeListed) return nil;
    NSMutableArray* const names = [NSMutableArray array];
    for (const std::string& name : state.names)
        [names addObject:stringOf(name)];
    return names;
}
@end

@implementation NSURL (VarnelAdditions)
- (NSDictionary*)resourceValuesForKeys:(NSArray*)keys error:(NSError**)error {
    if (error != nullptr) *error = nil;
    noteQuestion(keys, 0);
    const auto state = tests::Fakes::mounted();
    for (const auto& volume : state.volumes) {
        if (![[self path] isEqualToString:stringOf(volume.path)]) continue;
        if (!volume.hasValues) return nil;
        if (!volume.hasFlags) return [NSDictionary dictionary];
        return @{
            NSURLVolumeIsLocalKey : [NSNumber numberWithBool:volume.isLocal],
            NSURLVolumeIsRemovableKey : [NSNumber numberWithBool:volume.isRemovable],
            NSURLVolumeIsInternalKey : [NSNumber numberWithBool:volume.isInternal]
        };
    }
    return nil;
}
@end

@implementation NSString (VarnelAdditions)
- (NSComparisonResult)localizedStandardCompare:(NSString*)other {
    return static_cast<NSComparisonResult>(LinuxUnicode::standardCompare([self UTF8String], [other UTF8String]));
}
@end

// GNUstep has many classes of strings, each with its own way to some of these answers.

namespace {

std::string utf8(NSString* string) {
    const char* const bytes = [string UTF8String];
    return bytes == nullptr ? std::string() : bytes;
}

/// Whether a character and both its neighbours are ASCII, and so a character by itself.
bool isPlain(NSString* self, NSUInteger index) {
    const NSUInteger length = [self length];
    if (index >= length) return false;
    for (NSUInteger at = index == 0 ? 0 : index - 1; at < length && at <= index + 1; ++at) {
        if ([self characterAtIndex:at] >= 0x80) return false;
    }
    return true;
}

NSRange composedRange(NSString* self, SEL, NSUInteger index) {
    // GNUstep asks about each character of what it compares, and most are plain.
    if (isPlain(self, index)) return NSMakeRange(index, 1);
    NSUInteger start = 0;
    for (const std::string& character : LinuxUnicode::characters(utf8(self))) {
        const NSUInteger length = [stringOf(character) length];
        if (character == "\r\n" && index < start + length) return NSMakeRange(index, 1);  // no composed sequence
        if (index < start + length) return NSMakeRange(start, length);
        start += length;
    }
    breach("a character beyond the end");
}

NSString* precomposed(NSString* self, SEL) {
    return stringOf(LinuxUnicode::composed(utf8(self)));
}

NSString* lowercase(NSString* self, SEL) {
    return stringOf(LinuxUnicode::lowercased(utf8(self)));
}

NSString* fromUTF8(Class, SEL, const char* bytes) {
    if (!Text::isValidUTF8(bytes)) return nil;
    // Behind another character, for GNUstep drops a byte order mark at the front.
    const std::u16string wide = u'x' + LinuxUnicode::utf16(bytes);
    NSString* const whole = [NSString stringWithCharacters:reinterpret_cast<const unichar*>(wide.data())
                                                    length:wide.size()];
    return [whole substringFromIndex:1];
}

IMP standardize = nullptr;  // GNUstep's own

/// As it is documented for macOS: "/private" goes where what is left exists. GNUstep lets it go in any case.
NSString* standardized(NSString* self, SEL selector) {
    constexpr std::string_view prefix = "/private";
    const std::string path = utf8(self);
    if (!path.starts_with(prefix)) return standardize(self, selector);
    const std::string rest = path.substr(prefix.size());
    return rest == "/" || ::access(rest.c_str(), F_OK) != 0 ? self : standardize(self, selector);
}

/// Gives the answer that was there before.
template <typename Function>
IMP replace(Class strings, SEL selector, Function* function) {
    const Method own = class_getInstanceMethod(strings, selector);
    return class_replaceMethod(strings, selector, reinterpret_cast<IMP>(reinterpret_cast<void*>(function)),
                               method_getTypeEncoding(own));
}

NSComparisonResult compare(NSString* self, SEL, NSString* other, NSUInteger options) {
    if (options != (NSCaseInsensitiveSearch | NSLiteralSearch)) {  // a question of GNUstep's own
        return [self compare:other options:options range:NSMakeRange(0, [self length])];
    }
    const bool isEqual = LinuxUnicode::caseFoldedEqual(utf8(self), utf8(other));
    return isEqual ? NSOrderedSame : NSOrderedAscending;
}

}  // namespace

@interface VarnelStringAnswers : NSObject
@end

@implementation VarnelStringAnswers
+ (void)load {
    for (const char* const name : {"NSString", "NSMutableString", "GSString", "GSCString", "GSCInlineString",
                                   "GSUnicodeString", "GSUInlineString", "GSMutableString", "NSConstantString"}) {
        Class const strings = objc_getClass(name);
        if (strings == Nil) continue;
        replace(strings, @selector(rangeOfComposedCharacterSequenceAtIndex:), composedRange);
        replace(strings, @selector(precomposedStringWithCanonicalMapping), precomposed);
        replace(strings, @selector(lowercaseString), lowercase);
        replace(strings, @selector(compare:options:), compare);
    }
    replace(object_getClass([NSString class]), @selector(stringWithUTF8String:), fromUTF8);
    standardize = replace([NSString class], @selector(stringByStandardizingPath), standardized);
}
@end

@implementation NSByteCountFormatter (VarnelAdditions)
+ (NSString*)stringFromByteCount:(long long)count countStyle:(NSByteCountFormatterCountStyle)style {
    if (style != NSByteCountFormatterCountStyleFile) breach("a size in a style that people do not see elsewhere");
    return stringOf(LinuxByteCount::text(count));
}
@end

/// GNUstep's own asks a server for the notifications of all programs.
@implementation NSWorkspace (VarnelAdditions)
+ (NSWorkspace*)sharedWorkspace {
    static NSWorkspace* const workspace = class_createInstance([NSWorkspace class], 0);  // alloc refuses
    return workspace;
}
- (NSNotificationCenter*)notificationCenter {
    static NSNotificationCenter* const center = [[NSNotificationCenter alloc] init];
    return center;
}
@end

void tests::Fakes::postMount() {
    @autoreleasepool {
        [[[NSWorkspace sharedWorkspace] notificationCenter] postNotificationName:NSWorkspaceDidMountNotification
                                                                          object:nil];
    }
}

void tests::Fakes::postUnmount() {
    @autoreleasepool {
        [[[NSWorkspace sharedWorkspace] notificationCenter] postNotificationName:NSWorkspaceDidUnmountNotification
                                                                          object:nil];
    }
}
