// SPDX-License-Identifier: MIT
#include "core/base/ByteCount.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <cstdint>
#include <string>

#include "platform/macos/ObjectiveC.h"

namespace varnel::ByteCount {

std::string text(std::int64_t bytes) {
    @autoreleasepool {
        return ObjectiveC::text([NSByteCountFormatter stringFromByteCount:bytes
                                                               countStyle:NSByteCountFormatterCountStyleFile]);
    }
}

}  // namespace varnel::ByteCount
