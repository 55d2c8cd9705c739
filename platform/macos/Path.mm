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
    if (Text::isValidUTF8(path)) {
        @autoreleasepool {
            return ObjectiveC::text([ObjectiveC::string(path) stringByStandardizingPath]);
        }
    }
    // Bytes that are no text, which a string object cannot hold. No volume of this system has such a name.
    return standardized(path, [](std::string_view user) {
        return user.empty() ? std::optional<std::string>(HomeFolder::current()) : HomeFolder::of(user);
    });
}

}  // namespace varnel::Path
