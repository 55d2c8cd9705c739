// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "core/watcher/Watcher.h"

namespace varnel::tests {

/// A live watcher of one folder that hears of what the test tells it, and of nothing else.
class ToldWatcher {
public:
    /// Begins to watch `root` as a volume.
    explicit ToldWatcher(const std::string& root) {
        const auto createStream = [this](EventStreamRequest request) {
            deliver_ = std::move(request.deliver);
            return std::make_unique<Stream>();
        };
        const auto volumes = [root] { return std::vector<Volume>{{root, "exfat", true, true, false}}; };
        watcher_ = Watcher::create(RuleSet::standard(), 0.25, nullptr,
                                   {queue_, createStream, MountNotifications::ofSystem(), volumes, [] { return 0.0; }});
        watcher_->start();
    }
    ~ToldWatcher() { watcher_->stop(); }
    ToldWatcher(const ToldWatcher&) = delete;
    ToldWatcher& operator=(const ToldWatcher&) = delete;

    /// Something has happened at these paths. Returns once that is worked off.
    void tell(const std::vector<std::string>& paths) {
        const std::vector<std::uint32_t> flags(paths.size());
        queue_->sync([&] { deliver_(paths, flags, static_cast<std::int64_t>(paths.size())); });
    }

private:
    class Stream final : public EventStream {
    public:
        void setQueue(std::shared_ptr<SerialQueue>) final {}
        bool start() final { return true; }
        void stop() final {}
        void invalidate() final {}
    };

    std::shared_ptr<SerialQueue> queue_ = SerialQueue::create("test.queue");
    EventStreamRequest::Deliver deliver_;
    std::shared_ptr<Watcher> watcher_;
};

}  // namespace varnel::tests
