// What this project uses of CoreServices: the file-system event service. scripts/macos/check-interfaces.py holds it
// against the system's own metadata.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#pragma clang assume_nonnull begin
extern "C" {

typedef UInt32 FSEventStreamCreateFlags;
typedef UInt32 FSEventStreamEventFlags;
typedef UInt64 FSEventStreamEventId;
typedef struct __FSEventStream* FSEventStreamRef;
typedef const struct __FSEventStream* ConstFSEventStreamRef;

typedef struct FSEventStreamContext {
    CFIndex version;
    void* _Nullable info;
    CFAllocatorRetainCallBack _Nullable retain;
    CFAllocatorReleaseCallBack _Nullable release;
    CFAllocatorCopyDescriptionCallBack _Nullable copyDescription;
} FSEventStreamContext;

typedef void (*FSEventStreamCallback)(ConstFSEventStreamRef stream, void* _Nullable info, size_t count, void* paths,
                                      const FSEventStreamEventFlags* _Nonnull flags,
                                      const FSEventStreamEventId* _Nonnull ids);

FSEventStreamRef _Nullable FSEventStreamCreate(CFAllocatorRef _Nullable allocator, FSEventStreamCallback callback,
                                               FSEventStreamContext* _Nullable context, CFArrayRef paths,
                                               FSEventStreamEventId sinceWhen, CFTimeInterval latency,
                                               FSEventStreamCreateFlags flags) API_AVAILABLE(macos(10.5));
void FSEventStreamSetDispatchQueue(FSEventStreamRef stream, dispatch_queue_t _Nullable queue)
    API_AVAILABLE(macos(10.6));
Boolean FSEventStreamStart(FSEventStreamRef stream) API_AVAILABLE(macos(10.5));
void FSEventStreamStop(FSEventStreamRef stream) API_AVAILABLE(macos(10.5));
void FSEventStreamInvalidate(FSEventStreamRef stream) API_AVAILABLE(macos(10.5));
void FSEventStreamRelease(FSEventStreamRef stream) API_AVAILABLE(macos(10.5));

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

}  // extern "C"
#pragma clang assume_nonnull end
