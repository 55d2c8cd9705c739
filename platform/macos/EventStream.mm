// SPDX-License-Identifier: MIT
//
// The file-system event service, one stream for all paths below those that are asked for. It needs neither the list of
// volumes nor word of mounts: a volume that is mounted later lies below "/" as well.
#include "core/watcher/EventStream.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <CoreServices/CoreServices.h>
#import <Foundation/Foundation.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/volumes/Volume.h"
#include "core/watcher/MountNotifications.h"
#include "platform/macos/DispatchQueue.h"
#include "platform/macos/ObjectiveC.h"

namespace varnel {
namespace {

// The portable numbers are the service's own.
static_assert(EventStreamRequest::sinceNow == kFSEventStreamEventIdSinceNow);
static_assert(EventStreamRequest::perFileAtOnce ==
              (kFSEventStreamCreateFlagUseCFTypes | kFSEventStreamCreateFlagNoDefer |
               kFSEventStreamCreateFlagWatchRoot | kFSEventStreamCreateFlagFileEvents));
static_assert(EventFlags::lostEvents == (kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagUserDropped |
                                         kFSEventStreamEventFlagKernelDropped));
static_assert(EventFlags::mount == kFSEventStreamEventFlagMount);
static_assert(EventFlags::unmount == kFSEventStreamEventFlagUnmount);

void varnelFSEventsCallback(ConstFSEventStreamRef, void* info, std::size_t count, void* eventPaths,
                            const FSEventStreamEventFlags* flags, const FSEventStreamEventId*) {
    if (info == nullptr) return;
    @autoreleasepool {
        std::vector<std::string> paths;
        for (id path in static_cast<NSArray*>(eventPaths)) {
            if ([path isKindOfClass:[NSString class]]) paths.push_back(ObjectiveC::text(path));
        }
        const auto& deliver = *static_cast<const EventStreamRequest::Deliver*>(info);
        deliver(paths, {flags, count}, static_cast<std::int64_t>(count));
    }
}

class FSEventStream final : public EventStream {
public:
    explicit FSEventStream(EventStreamRequest request) : deliver_(std::move(request.deliver)) {
        @autoreleasepool {
            NSMutableArray* const paths = [NSMutableArray array];
            for (const std::string& path : request.paths)
                [paths addObject:ObjectiveC::string(path)];
            FSEventStreamContext context{0, &deliver_, nullptr, nullptr, nullptr};
            stream_ =
                FSEventStreamCreate(kCFAllocatorDefault, varnelFSEventsCallback, &context,
                                    reinterpret_cast<CFArrayRef>(paths), request.since, request.latency, request.flags);
        }
    }
    ~FSEventStream() final {
        if (isCreated()) FSEventStreamRelease(stream_);
    }
    FSEventStream(const FSEventStream&) = delete;
    FSEventStream& operator=(const FSEventStream&) = delete;

    bool isCreated() const { return stream_ != nullptr; }

    void setQueue(std::shared_ptr<SerialQueue> queue) final {
        queue_ = std::move(queue);
        FSEventStreamSetDispatchQueue(stream_, static_cast<DispatchQueue&>(*queue_).native());
    }
    bool start() final { return FSEventStreamStart(stream_) != 0; }
    void stop() final { FSEventStreamStop(stream_); }
    void invalidate() final { FSEventStreamInvalidate(stream_); }

private:
    EventStreamRequest::Deliver deliver_;
    std::shared_ptr<SerialQueue> queue_;
    FSEventStreamRef stream_ = nullptr;
};

}  // namespace

EventStreamFactory EventStreams::ofSystem(std::function<std::vector<Volume>()>, std::shared_ptr<MountNotifications>,
                                          std::function<void(const std::string&)>) {
    return [](EventStreamRequest request) -> std::unique_ptr<EventStream> {
        auto stream = std::make_unique<FSEventStream>(std::move(request));
        if (!stream->isCreated()) return nullptr;
        return stream;
    };
}

}  // namespace varnel
