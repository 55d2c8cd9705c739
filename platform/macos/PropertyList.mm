// SPDX-License-Identifier: MIT
#include "core/disk/PropertyList.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <optional>
#include <string>

#include "platform/macos/ObjectiveC.h"

namespace varnel::PropertyList {

std::optional<std::string> textOfShallow(const std::string& list, const std::string& key) {
    @autoreleasepool {
        NSData* const data = [NSData dataWithBytes:list.data() length:list.size()];
        id const root = [NSPropertyListSerialization propertyListWithData:data
                                                                  options:NSPropertyListImmutable
                                                                   format:nullptr
                                                                    error:nullptr];
        if (![root isKindOfClass:[NSDictionary class]]) return std::nullopt;
        id const value = [static_cast<NSDictionary*>(root) objectForKey:ObjectiveC::string(key)];
        if (![value isKindOfClass:[NSString class]]) return std::nullopt;
        return ObjectiveC::text(static_cast<NSString*>(value));
    }
}

}  // namespace varnel::PropertyList
