// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "tests/support/Waiting.h"

namespace varnel::tests {

/// A running stream and all that it delivered.
class StreamListener {
public:
    using Texts = std::vector<std::string>;

    /// Watches volumes, or (folders) what is named.
    explicit StreamListener(std::function<std::vector<Volume>()> volumes, double latency = 0.05,
                            Texts folders = {"/"}) {
        EventStreamRequest request;
        request.latency = latency;
        request.paths = std::move(folders);
        request.deliver = [this](std::span<const std::string> paths, std::span<const std::uint32_t> flags,
                                 std::int64_t count) {
            if (onBatch) onBatch();
            const std::lock_guard lock(mutex_);
            EXPECT_EQ(paths.size(), static_cast<std::size_t>(count));
            batches_.emplace_back(paths.begin(), paths.end());
            for (std::size_t i = 0; i < paths.size(); ++i) {
                (flags[i] == 0 ? paths_ : lost_).insert(paths[i]);
            }
        };
        stream_ = EventStreams::ofSystem(std::move(volumes), mounts, [this](const std::string& problem) {
            const std::lock_guard lock(mutex_);
            problems_.push_back(problem);
        })(std::move(request));
        stream_->setQueue(queue);
    }
    explicit StreamListener(const std::string& folder, double latency = 0.05)
        : StreamListener([] { return std::vector<Volume>(); }, latency, {folder}) {}

    ~StreamListener() { stop(); }
    StreamListener(const StreamListener&) = delete;
    StreamListener& operator=(const StreamListener&) = delete;

    void start() {
        queue->sync([this] { EXPECT_TRUE(stream_->start()); });
    }

    void stop() {
        queue->sync([this] {
            if (!stream_) return;
            stream_->stop();
            stream_->invalidate();
            stream_.reset();
        });
    }

    bool hears(const std::string& path) const {
        return comesTrue([&] { return has(paths_, path); });
    }
    bool hearsOfLoss(const std::string& root) const {
        return comesTrue([&] { return has(lost_, root); });
    }
    bool hasHeard(const std::string& path) const { return has(paths_, path); }
    bool hasHeardOfLoss() const {
        const std::lock_guard lock(mutex_);
        return !lost_.empty();
    }
    Texts problems() const {
        const std::lock_guard lock(mutex_);
        return problems_;
    }
    std::vector<Texts> batches() const {
        const std::lock_guard lock(mutex_);
        return batches_;
    }
    void forget() {
        const std::lock_guard lock(mutex_);
        paths_.clear();
        lost_.clear();
        batches_.clear();
    }

    std::shared_ptr<SerialQueue> queue = SerialQueue::create("test.stream");
    std::shared_ptr<MountNotifications> mounts = MountNotifications::ofSystem();
    std::function<void()> onBatch;

private:
    bool has(const std::set<std::string>& set, const std::string& path) const {
        const std::lock_guard lock(mutex_);
        return set.contains(path);
    }

    mutable std::mutex mutex_;
    std::set<std::string> paths_;
    std::set<std::string> lost_;
    std::vector<Texts> batches_;
    Texts problems_;
    std::unique_ptr<EventStream> stream_;
};

/// What lies there was there for long.
inline void age(const std::string& path) {
    const timespec hourAgo{std::time(nullptr) - 3600, 0};
    const timespec times[] = {hourAgo, hourAgo};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

}  // namespace varnel::tests
