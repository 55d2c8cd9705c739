// SPDX-License-Identifier: MIT
#include "core/base/SerialQueue.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <dispatch/dispatch.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "core/base/FunctionRef.h"
#include "platform/macos/DispatchQueue.h"

namespace varnel {
namespace {

using Work = std::function<void()>;

/// What libdispatch holds until its time has come.
struct Later {
    std::shared_ptr<CancellableWork> handle;
    std::shared_ptr<WaitingWork> waiting;
    std::list<Work>::iterator work;  // while `waiting` is open
};

/// Its address is the key under which a queue knows its owner.
constexpr char ownerKey = 0;

void runOwned(void* context) {
    const std::unique_ptr<Work> work(static_cast<Work*>(context));
    (*work)();
}

void runBorrowed(void* context) {
    (*static_cast<FunctionRef<void()>*>(context))();
}

void runLater(void* context) {
    const std::unique_ptr<Later> later(static_cast<Later*>(context));
    std::list<Work> due;
    {
        const std::lock_guard lock(later->waiting->mutex);
        if (!later->waiting->isOpen) return;
        due.splice(due.begin(), later->waiting->works, later->work);
    }
    if (!later->handle->isCancelled()) due.front()();
}

void nothing(void*) {}

}  // namespace

DispatchQueue::DispatchQueue(const std::string& label)
    : queue_(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {
    dispatch_queue_set_specific(queue_, &ownerKey, this, nullptr);
}

DispatchQueue::~DispatchQueue() {
    std::list<Work> dropped;
    {
        const std::lock_guard lock(waiting_->mutex);
        waiting_->isOpen = false;
        dropped.swap(waiting_->works);
    }
    if (!isCurrent()) dispatch_sync_f(queue_, nullptr, nothing);
    dispatch_release(queue_);
}

void DispatchQueue::async(Work work) {
    dispatch_async_f(queue_, std::make_unique<Work>(std::move(work)).release(), runOwned);
}

void DispatchQueue::sync(FunctionRef<void()> work) {
    dispatch_sync_f(queue_, &work, runBorrowed);
}

std::shared_ptr<CancellableWork> DispatchQueue::after(std::chrono::milliseconds delay, Work work) {
    auto handle = std::make_shared<CancellableWork>();
    auto later = std::make_unique<Later>(Later{handle, waiting_, {}});
    {
        const std::lock_guard lock(waiting_->mutex);
        later->work = waiting_->works.insert(waiting_->works.end(), std::move(work));
    }
    const std::chrono::nanoseconds wait = delay;
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, wait.count()), queue_, later.release(), runLater);
    return handle;
}

bool DispatchQueue::isCurrent() const {
    return dispatch_get_specific(&ownerKey) == this;
}

std::shared_ptr<SerialQueue> SerialQueue::create(const std::string& label) {
    return std::make_shared<DispatchQueue>(label);
}

}  // namespace varnel
