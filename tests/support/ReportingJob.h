// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>

#include "core/base/SerialQueue.h"
#include "platform/linux/EventBatcher.h"
#include "platform/linux/WatchJob.h"
#include "tests/support/Waiting.h"

namespace varnel::tests {

/// A job and what it reports.
struct ReportingJob {
    using Paths = std::set<std::string>;

    explicit ReportingJob(const std::string& root) {
        job.root = root;
        job.events = std::make_shared<EventBatcher>(
            [this](std::span<const std::string> paths, std::span<const std::uint32_t> flags, std::int64_t) {
                for (std::size_t i = 0; i < paths.size(); ++i)
                    (flags[i] == 0 ? reported : lost).insert(paths[i]);
            },
            std::chrono::milliseconds(0));
        job.events->begin(queue);
    }

    /// Waits until everything has arrived.
    void settle() {
        job.events->add(job.root, "end");
        comesTrue([&] {
            bool hasEnded = false;
            queue->sync([&] { hasEnded = reported.erase("end") > 0; });
            return hasEnded;
        });
    }

    std::shared_ptr<SerialQueue> queue = SerialQueue::create("test.job");
    Paths reported, lost;
    WatchJob job;
};

}  // namespace varnel::tests
