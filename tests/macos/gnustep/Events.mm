// SPDX-License-Identifier: MIT
#import <CoreServices/CoreServices.h>
#import <Foundation/Foundation.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/macos/gnustep/Fakes.h"

using namespace varnel::tests;
using Fakes::breach;
using Fakes::note;

struct __FSEventStream {
    enum class State : std::uint8_t { created, bound, running, stopped, invalid };

    FSEventStreamCallback callback = nullptr;
    void* info = nullptr;
    dispatch_queue_t queue = nullptr;
    State state = State::created;
};

namespace {

using State = __FSEventStream::State;

FSEventStreamRef running = nullptr;  // of the queue that it is bound to, and of the test between its steps

struct Batch {
    std::vector<std::string> paths;
    std::vector<std::uint32_t> flags;
};

void hand(void* context) {
    const auto* const batch = static_cast<const Batch*>(context);
    if (running == nullptr || running->state != State::running) return;
    // Whatever the callback keeps of the paths without a copy is gone with this pool.
    @autoreleasepool {
        NSMutableArray* const paths = [NSMutableArray array];
        for (const std::string& path : batch->paths) {
            if (path.empty()) {
                [paths addObject:[NSNumber numberWithInt:0]];
            } else {
                [paths addObject:[NSString stringWithUTF8String:path.c_str()]];
            }
        }
        const std::vector<FSEventStreamEventId> ids(batch->flags.size(), 1);
        running->callback(running, running->info, batch->flags.size(), paths, batch->flags.data(), ids.data());
    }
}

}  // namespace

Fakes::StreamRefusals Fakes::streamRefusals;

void Fakes::deliver(const std::vector<std::string>& paths, const std::vector<std::uint32_t>& flags) {
    if (running == nullptr) breach("no stream runs that could deliver");
    Batch batch{paths, flags};
    dispatch_sync_f(running->queue, &batch, hand);
}

FSEventStreamRef FSEventStreamCreate(CFAllocatorRef, FSEventStreamCallback callback, FSEventStreamContext* context,
                                     CFArrayRef paths, FSEventStreamEventId sinceWhen, CFTimeInterval latency,
                                     FSEventStreamCreateFlags flags) {
    if (context->version != 0 || context->retain != nullptr || context->release != nullptr) {
        breach("a stream that keeps what it is handed");
    }
    NSString* const joined = [(NSArray*)paths componentsJoinedByString:@","];
    char text[200];
    std::snprintf(text, sizeof text, "create paths=%s since=%llx latency=%g flags=%#x", [joined UTF8String],
                  static_cast<unsigned long long>(sinceWhen), latency, flags);
    note(text);
    if (Fakes::streamRefusals.creation) return nullptr;
    return new __FSEventStream{callback, context->info};
}

void FSEventStreamSetDispatchQueue(FSEventStreamRef stream, dispatch_queue_t queue) {
    if (stream->state != State::created) breach("a stream was bound to a queue at the wrong time");
    dispatch_retain(queue);
    stream->queue = queue;
    stream->state = State::bound;
    note("setQueue");
}

Boolean FSEventStreamStart(FSEventStreamRef stream) {
    if (stream->state != State::bound) breach("a stream without a queue was started");
    note("start");
    if (Fakes::streamRefusals.start) return 0;
    stream->state = State::running;
    running = stream;
    return 1;
}

void FSEventStreamStop(FSEventStreamRef stream) {
    if (stream->state != State::running) breach("a stream that does not run was stopped");
    stream->state = State::stopped;
    running = nullptr;
    note("stop");
}

void FSEventStreamInvalidate(FSEventStreamRef stream) {
    if (stream->state != State::bound && stream->state != State::stopped) {
        breach("a stream was invalidated at the wrong time");
    }
    stream->state = State::invalid;
    dispatch_release(std::exchange(stream->queue, nullptr));
    note("invalidate");
}

void FSEventStreamRelease(FSEventStreamRef stream) {
    if (stream->state != State::created && stream->state != State::invalid) {
        breach("a stream was released that was not invalidated");
    }
    note("release");
    delete stream;
}
