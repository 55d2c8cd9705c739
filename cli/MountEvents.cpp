// SPDX-License-Identifier: MIT
#include "cli/MountEvents.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "core/watcher/EventStream.h"

namespace varnel::cli::MountEvents {

EventStreamFactory heard(EventStreamFactory streams, std::function<void()> onMount) {
    return [streams = std::move(streams), onMount = std::move(onMount)](EventStreamRequest request) {
        request.deliver = [deliver = std::move(request.deliver), onMount](std::span<const std::string> paths,
                                                                          std::span<const std::uint32_t> flags,
                                                                          std::int64_t count) {
            deliver(paths, flags, count);
            constexpr std::uint32_t either = EventFlags::mount | EventFlags::unmount;
            if (std::any_of(flags.begin(), flags.end(), [](std::uint32_t word) { return (word & either) != 0; })) {
                onMount();
            }
        };
        return streams(std::move(request));
    };
}

}  // namespace varnel::cli::MountEvents
