// SPDX-License-Identifier: MIT
//
// Stands for the file-system event service: a stream delivers what the test says, and ends the test when it is used in
// an order that macOS does not allow (Fakes.h).
#pragma once

#include <dispatch/dispatch.h>
#include <stddef.h>
#include <stdint.h>

typedef unsigned char Boolean;
typedef uint32_t UInt32;
typedef uint64_t UInt64;
typedef long CFIndex;
typedef double CFTimeInterval;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFArray* CFArrayRef;
#define kCFAllocatorDefault (static_cast<CFAllocatorRef>(nullptr))

typedef UInt32 FSEventStreamCreateFlags;
typedef UInt32 FSEventStreamEventFlags;
typedef UInt64 FSEventStreamEventId;
typedef struct __FSEventStream* FSEventStreamRef;
typedef const struct __FSEventStream* ConstFSEventStreamRef;

typedef struct FSEventStreamContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} FSEventStreamContext;

typedef void (*FSEventStreamCallback)(ConstFSEventStreamRef stream, void* info, size_t count, void* paths,
                                      const FSEventStreamEventFlags* flags, const FSEventStreamEventId* ids);

FSEventStreamRef FSEventStreamCreate(CFAllocatorRef allocator, FSEventStreamCallback callback,
                                     FSEventStreamContext* context, CFArrayRef paths, FSEventStreamEventId sinceWhen,
                                     CFTimeInterval latency, FSEventStreamCreateFlags flags);
void FSEventStreamSetDispatchQueue(FSEventStreamRef stream, dispatch_queue_t queue);
Boolean FSEventStreamStart(FSEventStreamRef stream);
void FSEventStreamStop(FSEventStreamRef stream);
void FSEventStreamInvalidate(FSEventStreamRef stream);
void FSEventStreamRelease(FSEventStreamRef stream);

enum : FSEventStreamEventFlags {
    kFSEventStreamEventFlagMustScanSubDirs = 0x1,
    kFSEventStreamEventFlagUserDropped = 0x2,
    kFSEventStreamEventFlagKernelDropped = 0x4,
    kFSEventStreamEventFlagMount = 0x40,
    kFSEventStreamEventFlagUnmount = 0x80,
};
enum : FSEventStreamCreateFlags {
    kFSEventStreamCreateFlagUseCFTypes = 0x1,
    kFSEventStreamCreateFlagNoDefer = 0x2,
    kFSEventStreamCreateFlagWatchRoot = 0x4,
    kFSEventStreamCreateFlagFileEvents = 0x10,
};
enum : FSEventStreamEventId { kFSEventStreamEventIdSinceNow = 0xFFFFFFFFFFFFFFFFULL };
