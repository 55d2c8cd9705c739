// SPDX-License-Identifier: MIT
#include "core/base/Path.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

#include "core/base/HomeFolder.h"
#include "core/base/Text.h"
#include "platform/macos/ObjectiveC.h"

namespace varnel::Path {

std::string standardized(std::string_view path) {
    std::string text(path);
    // Bytes that are no text no string object holds; no volume of this system has such a name.
    if (Text::isValidUTF8(path)) {
        @autoreleasepool {
            text = ObjectiveC::text([ObjectiveC::string(path) stringByStandardizingPath]);
        }
    }
    // What is protected is compared exactly: whatever the system leaves, a slash at the end or "..", goes as well.
    return standardized(text, [](std::string_view user) {
        return user.empty() ? std::optional<std::string>(HomeFolder::current()) : HomeFolder::of(user);
    });
}

}  // namespace varnel::Path
