// SPDX-License-Identifier: MIT
#include "core/base/Unicode.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/FunctionRef.h"
#include "platform/macos/ObjectiveC.h"

namespace varnel::Unicode {
namespace {

using ObjectiveC::string;
using ObjectiveC::text;

/// Each user-perceived character from the left. A line end of two is one, which strings do not count as composed.
void forEachCharacter(NSString* whole, FunctionRef<void(NSRange)> visit) {
    for (NSUInteger at = 0; at < [whole length];) {
        NSRange range = [whole rangeOfComposedCharacterSequenceAtIndex:at];
        const NSUInteger next = NSMaxRange(range);
        const bool isPair = [whole characterAtIndex:at] == '\r' && next < [whole length];
        if (isPair && [whole characterAtIndex:next] == '\n') ++range.length;
        visit(range);
        at = NSMaxRange(range);
    }
}

}  // namespace

std::int64_t characterCount(std::string_view whole) {
    @autoreleasepool {
        std::int64_t count = 0;
        forEachCharacter(string(whole), [&](NSRange) { ++count; });
        return count;
    }
}

std::vector<std::string> composedCharacters(std::string_view whole) {
    @autoreleasepool {
        std::vector<std::string> all;
        NSString* const wide = string(whole);
        forEachCharacter(wide, [&](NSRange range) {
            all.push_back(text([[wide substringWithRange:range] precomposedStringWithCanonicalMapping]));
        });
        return all;
    }
}

std::string composed(std::string_view whole) {
    @autoreleasepool {
        return text([string(whole) precomposedStringWithCanonicalMapping]);
    }
}

bool caseFoldedEqual(std::string_view a, std::string_view b) {
    @autoreleasepool {
        const NSStringCompareOptions options = NSCaseInsensitiveSearch | NSLiteralSearch;
        return [string(a) compare:string(b) options:options] == NSOrderedSame;
    }
}

std::string lowercased(std::string_view whole) {
    @autoreleasepool {
        std::string lower;
        NSString* const wide = string(whole);
        for (NSUInteger at = 0; at < [wide length];) {
            // One code point at a time: in a whole text the form of a sigma would depend on its place.
            const bool isPair = ([wide characterAtIndex:at] & 0xFC00U) == 0xD800U;  // the first of two surrogates
            const NSRange range = NSMakeRange(at, isPair ? 2 : 1);
            lower += text([[wide substringWithRange:range] lowercaseString]);
            at = NSMaxRange(range);
        }
        return lower;
    }
}

int standardCompare(std::string_view a, std::string_view b) {
    @autoreleasepool {
        return static_cast<int>([string(a) localizedStandardCompare:string(b)]);
    }
}

}  // namespace varnel::Unicode
