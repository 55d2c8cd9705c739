// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/base/FunctionRef.h"

namespace varnel {

/// Runs work one item at a time, in the order of submission, on a thread of its own.
///
/// Abstract because tests drive it by hand. Work that was submitted before the last owner let go still runs.
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

    /// The platform's queue. `label` names it in debuggers and thread lists.
    static std::shared_ptr<SerialQueue> create(const std::string& label);

protected:
    SerialQueue() = default;
};

}  // namespace varnel
