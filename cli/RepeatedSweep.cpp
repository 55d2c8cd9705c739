// SPDX-License-Identifier: MIT
#include "cli/RepeatedSweep.h"

#include <chrono>
#include <memory>
#include <utility>

#include "core/base/SerialQueue.h"
#include "core/watcher/Watcher.h"

namespace varnel::cli::RepeatedSweep {

void begin(const std::shared_ptr<SerialQueue>& queue, std::weak_ptr<Watcher> watcher, std::chrono::minutes interval) {
    queue->after(interval, [weakQueue = std::weak_ptr(queue), watcher = std::move(watcher), interval] {
        const auto self = watcher.lock();
        const auto again = weakQueue.lock();
        if (!self || !again) return;
        self->sweepNow();
        begin(again, watcher, interval);
    });
}

}  // namespace varnel::cli::RepeatedSweep
