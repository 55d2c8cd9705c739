// SPDX-License-Identifier: MIT
#include "core/base/BoundedWait.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace varnel::BoundedWait {

bool run(std::function<void()> work, std::chrono::milliseconds limit) {
    auto ended = std::make_shared<std::promise<void>>();
    const auto hasEnded = ended->get_future();
    auto job = [work = std::move(work), ended]() mutable {
        work();
        work = nullptr;  // or this thread would let go of what the work owns at a moment that nobody knows
        ended->set_value();
    };
    try {
        std::thread(job).detach();
    } catch (const std::system_error&) {
        // No thread is to be had any more: then the wait has no limit.
        job();
    }
    return hasEnded.wait_for(limit) == std::future_status::ready;
}

}  // namespace varnel::BoundedWait
