// SPDX-License-Identifier: MIT
#include "platform/linux/EventBatcher.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "core/base/SerialQueue.h"
#include "core/watcher/EventStream.h"

namespace varnel {

using std::chrono::steady_clock;

EventBatcher::EventBatcher(EventStreamRequest::Deliver deliver, std::chrono::milliseconds latency)
    : deliver_(std::move(deliver)), latency_(latency) {}

EventBatcher::~EventBatcher() {
    end();
}

bool EventBatcher::begin(std::shared_ptr<SerialQueue> queue) {
    queue_ = std::move(queue);
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void EventBatcher::end() {
    {
        const std::lock_guard lock(mutex_);
        isEnded_ = true;
    }
    changed_.notify_all();
    if (!thread_.joinable()) return;
    // A batch that was the last owner ends on the queue; this thread itself never is.
    thread_.join();
}

void EventBatcher::add(const std::string& root, std::string path) {
    bool isWorthWaking = false;
    {
        const std::lock_guard lock(mutex_);
        isWorthWaking = !hasWaiting();
        if (isEnded_ || known_.contains(path)) return;
        if (lost_.contains(root) && waiting_.size() >= longestBatch) return;  // the sweep will see to it
        if (waiting_.size() >= mostWaiting) {
            for (const Waiting& event : waiting_)
                lost_.emplace(event.root);
            lost_.insert(root);
            known_.clear();
            waiting_.clear();
        } else {
            const std::string_view kept = *roots_.insert(root).first;
            waiting_.push_back({std::move(path), kept});
            known_.insert(waiting_.back().path);
            isWorthWaking = isWorthWaking || waiting_.size() == longestBatch;
        }
    }
    if (isWorthWaking) changed_.notify_all();
}

void EventBatcher::addLost(const std::string& root) {
    {
        const std::lock_guard lock(mutex_);
        if (isEnded_) return;
        lost_.insert(root);
    }
    changed_.notify_all();
}

void EventBatcher::run() {
    std::unique_lock lock(mutex_);
    auto next = steady_clock::now();  // the earliest moment for the next batch
    for (;;) {
        changed_.wait(lock, [this] { return isEnded_ || (hasWaiting() && !isOut_); });
        // Waiting for the moment serves to gather; a full batch has gathered enough.
        changed_.wait_until(lock, next, [this] { return isEnded_ || waiting_.size() >= longestBatch; });
        if (isEnded_) return;
        Batch batch = takeBatch();
        isOut_ = true;
        // What is left behind a full batch has been waiting as long as the batch was.
        if (waiting_.empty()) next = steady_clock::now() + latency_;
        lock.unlock();
        hand(std::move(batch));
        lock.lock();
    }
}

EventBatcher::Batch EventBatcher::takeBatch() {
    Batch batch;
    for (const std::string& root : lost_) {
        batch.paths.push_back(root);
        batch.flags.push_back(EventFlags::mustScanSubDirs | EventFlags::kernelDropped);
    }
    lost_.clear();
    while (!waiting_.empty() && batch.paths.size() < longestBatch) {
        known_.erase(waiting_.front().path);
        batch.paths.push_back(std::move(waiting_.front().path));
        batch.flags.push_back(0);
        waiting_.pop_front();
    }
    return batch;
}

void EventBatcher::hand(Batch batch) {
    queue_->async([weak = weak_from_this(), batch = std::move(batch)] {
        const auto self = weak.lock();
        if (!self) return;
        {
            const std::lock_guard lock(self->mutex_);
            if (self->isEnded_) return;
        }
        self->deliver_(batch.paths, batch.flags, static_cast<std::int64_t>(batch.paths.size()));
        Batch next;
        {
            const std::lock_guard lock(self->mutex_);
            // In a storm the thread that gathers need not be woken for every batch. Other work on the queue comes
            // first.
            if (self->waiting_.size() >= longestBatch) {
                next = self->takeBatch();
            } else {
                self->isOut_ = false;
            }
        }
        if (next.paths.empty()) {
            self->changed_.notify_all();
        } else {
            self->hand(std::move(next));
        }
    });
}

}  // namespace varnel
