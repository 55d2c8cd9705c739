// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>

#include "core/base/SerialQueue.h"
#include "core/watcher/Watcher.h"

namespace varnel::cli::RepeatedSweep {

/// Has the watcher sweep again and again, for the first time after one interval, each time an interval after the last
/// sweep was asked for. Ends with the watcher or its queue.
void begin(const std::shared_ptr<SerialQueue>& queue, std::weak_ptr<Watcher> watcher, std::chrono::minutes interval);

}  // namespace varnel::cli::RepeatedSweep
