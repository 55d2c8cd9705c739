// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace varnel::BoundedWait {

/// Runs `work` on a thread of its own and waits for its end, but no longer than `limit`. False where it is still at
/// it; it then goes on, and `work` must own what it uses.
bool run(std::function<void()> work, std::chrono::milliseconds limit);

}  // namespace varnel::BoundedWait
