// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "core/base/FunctionRef.h"

namespace varnel {

/// Work that was scheduled for later and can still be called off.
class CancellableWork {
public:
    /// Work that has not begun will not run; harmless afterwards. Safe from any thread.
    void cancel() { isCancelled_ = true; }
    bool isCancelled() const { return isCancelled_; }

private:
    std::atomic<bool> isCancelled_{false};
};

/// Runs work one item at a time, in the order of submission, on a thread of its own.
///
/// Abstract because tests drive it by hand. Work that was submitted before the last owner let go still runs; work that
/// was scheduled for later does not.
class SerialQueue {
public:
    virtual ~SerialQueue() = default;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Submits `work` and returns at once. Safe from any thread.
    virtual void async(std::function<void()> work) = 0;

    /// Runs `work` on the queue, after everything submitted before it, and returns when it has ended.
    /// Must not be called from the queue itself.
    virtual void sync(FunctionRef<void()> work) = 0;

    /// Submits `work` to run `delay` from now, unless it is cancelled before.
    virtual std::shared_ptr<CancellableWork> after(std::chrono::milliseconds delay, std::function<void()> work) = 0;

    /// Whether the caller is running on this queue.
    virtual bool isCurrent() const = 0;

    /// The platform's queue. `label` names it in debuggers and thread lists. Null where the system has no thread to
    /// give.
    static std::shared_ptr<SerialQueue> create(const std::string& label);

protected:
    SerialQueue() = default;
};

}  // namespace varnel
