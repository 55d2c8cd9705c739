// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <expected>
#include <string>

#include "core/base/FileDescriptor.h"
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

std::expected<Pipe, int> openPipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return std::unexpected(errno);
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return pipe;
}

}  // namespace varnel
