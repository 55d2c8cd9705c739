// SPDX-License-Identifier: MIT
//
// Between C++ and Objective-C. Memory is managed by hand, so that the code that runs in the tests on another system is
// the code that ships: an object that is kept is held by Retained, any other lives until the pool around it ends.
#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>
#include <utility>

#include "core/base/Text.h"

#pragma clang assume_nonnull begin

namespace varnel::ObjectiveC {

/// The text as a string object; what of it is not UTF-8 is repaired, for a string object cannot hold it.
inline NSString* string(std::string_view text) {
    NSString* const made = [NSString stringWithUTF8String:std::string(text).c_str()];
    return made != nil ? made : string(Text::repaired(text));
}

/// The string as UTF-8; empty for nil.
inline std::string text(NSString* _Nullable string) {
    const char* const bytes = [string UTF8String];
    return bytes == nullptr ? std::string() : std::string(bytes);
}

/// Owns one object.
class Retained {
public:
    explicit Retained(id object) : object_([object retain]) {}
    Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nil)) {}
    Retained& operator=(Retained&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    Retained(const Retained&) = delete;
    Retained& operator=(const Retained&) = delete;
    ~Retained() { [object_ release]; }

    id get() const { return object_; }

private:
    id object_;  // nil once it was moved from
};

}  // namespace varnel::ObjectiveC

#pragma clang assume_nonnull end
