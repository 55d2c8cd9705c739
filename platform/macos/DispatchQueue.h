// SPDX-License-Identifier: MIT
#pragma once

#include <dispatch/dispatch.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "core/base/FunctionRef.h"
#include "core/base/SerialQueue.h"

namespace varnel {

/// What a queue has for later. libdispatch takes nothing back, so the work itself is kept here, where it can be
/// dropped.
struct WaitingWork {
    std::mutex mutex;
    bool isOpen = true;  ///< The queue's owner has not let go.
    std::list<std::function<void()>> works;
};

/// The serial queue of libdispatch, by its operations on plain functions: no block, no Objective-C.
class DispatchQueue final : public SerialQueue {
public:
    explicit DispatchQueue(const std::string& label);
    ~DispatchQueue() final;
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    void async(std::function<void()> work) final;
    void sync(FunctionRef<void()> work) final;
    std::shared_ptr<CancellableWork> after(std::chrono::milliseconds delay, std::function<void()> work) final;
    bool isCurrent() const final;

    /// What the system's own interfaces deliver to; owned by this object.
    dispatch_queue_t native() const { return queue_; }

private:
    dispatch_queue_t queue_;
    std::shared_ptr<WaitingWork> waiting_ = std::make_shared<WaitingWork>();
};

}  // namespace varnel
