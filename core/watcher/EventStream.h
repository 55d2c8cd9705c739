// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/volumes/Volume.h"
#include "core/watcher/MountNotifications.h"

namespace varnel {

/// What an event may say beside its path. The watcher looks at lost events only.
namespace EventFlags {
inline constexpr std::uint32_t mustScanSubDirs = 0x1;
inline constexpr std::uint32_t userDropped = 0x2;
inline constexpr std::uint32_t kernelDropped = 0x4;
inline constexpr std::uint32_t mount = 0x40;
inline constexpr std::uint32_t unmount = 0x80;

/// Any of these: events below the reported path were lost.
inline constexpr std::uint32_t lostEvents = mustScanSubDirs | userDropped | kernelDropped;
}  // namespace EventFlags

/// What a stream is asked for when it is created.
struct EventStreamRequest {
    /// A batch: paths, a flag word for each, and the number of events, which may exceed both.
    using Deliver = std::function<void(std::span<const std::string> paths, std::span<const std::uint32_t> flags,
                                       std::int64_t count)>;

    static constexpr std::uint64_t sinceNow = 0xFFFFFFFFFFFFFFFF;

    /// Paths as text objects (1), first event of a quiet period at once (2), the root watched (4), an event per file
    /// (16).
    static constexpr std::uint32_t perFileAtOnce = 0x17;

    Deliver deliver;
    std::vector<std::string> paths;
    std::uint64_t since = sinceNow;
    double latency = 0;  ///< Seconds for which later events are gathered.
    std::uint32_t flags = perFileAtOnce;
};

/// Port: a source of file-system events. Used in this order: created by the factory, bound to a queue, started; then
/// stopped, invalidated, and released by letting go of it. Abstract because tests script their own.
class EventStream {
public:
    virtual ~EventStream() = default;
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    /// Every batch is delivered on `queue`.
    virtual void setQueue(std::shared_ptr<SerialQueue> queue) = 0;
    /// Begins to deliver; false where the system refuses.
    virtual bool start() = 0;
    /// Delivers nothing from now on.
    virtual void stop() = 0;
    /// Unbinds the stream from its queue.
    virtual void invalidate() = 0;

protected:
    EventStream() = default;
};

/// Gives a new stream, or null where the system has none to give.
using EventStreamFactory = std::function<std::unique_ptr<EventStream>(EventStreamRequest)>;

namespace EventStreams {

/// Port: the system's own streams.
///
/// Where the system has no events for everything below "/", `volumes` is asked which volumes stand for it, again at
/// every word of `mounts`. `onProblem` is told, on any thread, in one line, what cannot be watched and what helps.
EventStreamFactory ofSystem(std::function<std::vector<Volume>()> volumes, std::shared_ptr<MountNotifications> mounts,
                            std::function<void(const std::string&)> onProblem);

}  // namespace EventStreams

}  // namespace varnel
