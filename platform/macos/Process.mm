// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <cerrno>
#include <string>

#include "platform/macos/ObjectiveC.h"

namespace varnel {
namespace {

/// The error that the file manager would report, whose words name the file.
NSError* fileError(NSInteger code, const std::string& path) {
    NSDictionary* const info = [NSDictionary dictionaryWithObject:ObjectiveC::string(path) forKey:NSFilePathErrorKey];
    return [NSError errorWithDomain:NSCocoaErrorDomain code:code userInfo:info];
}

NSError* launchError(const std::string& program, int error) {
    if (error == ENOENT) return fileError(NSFileNoSuchFileError, program);
    if (error == EACCES) return fileError(NSFileReadNoPermissionError, program);
    return [NSError errorWithDomain:NSPOSIXErrorDomain code:error userInfo:nil];
}

}  // namespace

std::string launchFailure(const std::string& program, int error) {
    @autoreleasepool {
        return ObjectiveC::text([launchError(program, error) localizedDescription]);
    }
}

}  // namespace varnel
