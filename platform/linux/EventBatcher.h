// SPDX-License-Identifier: MIT
//
// Between the threads that read events and the queue that handles them. The first event of a quiet period goes out at
// once; what comes within the latency after that is gathered. One batch is out at a time, so that a slow handler makes
// the next batch larger, never a row of batches; and what waits is bounded: beyond the bound, single events become the
// statement that events of that folder were lost.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/watcher/EventStream.h"

namespace varnel {

class EventBatcher : public std::enable_shared_from_this<EventBatcher> {
public:
    /// Paths in one batch at most, fewer than the handler takes one by one.
    static constexpr std::size_t longestBatch = 4096;
    /// Paths that may wait.
    static constexpr std::size_t mostWaiting = 100000;

    EventBatcher(EventStreamRequest::Deliver deliver, std::chrono::milliseconds latency);
    ~EventBatcher();
    EventBatcher(const EventBatcher&) = delete;
    EventBatcher& operator=(const EventBatcher&) = delete;

    /// Begins to deliver on `queue`. Owned by a shared pointer from then on. False where the system has no thread to
    /// give.
    bool begin(std::shared_ptr<SerialQueue> queue);
    /// Nothing is delivered from now on. Called on the queue.
    void end();

    /// Reports an event below the watched folder `root`. Safe from any thread.
    void add(const std::string& root, std::string path);
    /// Reports that events below `root` were lost. Safe from any thread.
    void addLost(const std::string& root);

private:
    struct Batch {
        std::vector<std::string> paths;
        std::vector<std::uint32_t> flags;
    };
    struct Waiting {
        std::string path;
        std::string_view root;  // into roots_
    };

    void run();
    bool hasWaiting() const { return !waiting_.empty() || !lost_.empty(); }
    Batch takeBatch();
    void hand(Batch batch);

    const EventStreamRequest::Deliver deliver_;
    const std::chrono::milliseconds latency_;
    std::shared_ptr<SerialQueue> queue_;
    std::thread thread_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting> waiting_;
    std::unordered_set<std::string_view> known_;  // the paths that wait
    std::set<std::string, std::less<>> roots_;
    std::set<std::string> lost_;
    bool isOut_ = false;  // a batch is being handled
    bool isEnded_ = false;
};

}  // namespace varnel
