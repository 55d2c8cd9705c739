// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "core/base/SerialQueue.h"

namespace varnel::tests {

/// A serial queue that runs when the test says so, on the test's thread, with a clock that the test moves.
class ManualQueue final : public SerialQueue {
public:
    void async(std::function<void()> work) final { waiting_.push_back(std::move(work)); }

    /// Runs what waits first, as a real queue would.
    void sync(FunctionRef<void()> work) final {
        run();
        inside([&] { work(); });
    }

    std::shared_ptr<CancellableWork> after(std::chrono::milliseconds delay, std::function<void()> work) final {
        auto handle = std::make_shared<CancellableWork>();
        later_.push_back({now_ + delay, handle, std::move(work)});
        return handle;
    }

    bool isCurrent() const final { return depth_ > 0; }

    /// Runs everything that waits, and what that submits.
    void run() {
        while (!waiting_.empty()) {
            const auto work = std::move(waiting_.front());
            waiting_.pop_front();
            inside(work);
        }
    }

    /// Moves the clock on, running what becomes due on the way.
    void advance(std::chrono::milliseconds time) {
        const auto end = now_ + time;
        for (;;) {
            run();
            std::size_t first = later_.size();
            for (std::size_t i = 0; i < later_.size(); ++i) {
                if (later_[i].due <= end && (first == later_.size() || later_[i].due < later_[first].due)) first = i;
            }
            if (first == later_.size()) break;
            const Later due = std::move(later_[first]);
            later_.erase(later_.begin() + static_cast<std::ptrdiff_t>(first));
            now_ = due.due;
            if (!due.handle->isCancelled()) inside(due.work);
        }
        now_ = end;
    }

    /// Runs `work` as if on the queue.
    void inside(const std::function<void()>& work) {
        ++depth_;
        work();
        --depth_;
    }

private:
    struct Later {
        std::chrono::milliseconds due;
        std::shared_ptr<CancellableWork> handle;
        std::function<void()> work;
    };

    std::deque<std::function<void()>> waiting_;
    std::vector<Later> later_;
    std::chrono::milliseconds now_{0};
    int depth_ = 0;
};

}  // namespace varnel::tests
