// SPDX-License-Identifier: MIT
#include <dispatch/dispatch.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "tests/macos/gnustep/Fakes.h"

using Work = std::function<void()>;
using varnel::tests::Fakes::breach;

/// Counts its owners, of which each piece of work is one, and ends with the last.
struct VarnelFakeQueue {
    std::mutex mutex;
    std::condition_variable hasChanged;
    std::deque<Work> waiting;
    std::map<const void*, void*> specific;
    int owners = 1;
    bool isGlobal = false;  // its work has a thread each
    bool isEnding = false;
};

namespace {

thread_local VarnelFakeQueue* current = nullptr;

void run(VarnelFakeQueue* queue) {
    current = queue;
    std::unique_lock lock(queue->mutex);
    for (;;) {
        queue->hasChanged.wait(lock, [&] { return queue->isEnding || !queue->waiting.empty(); });
        if (queue->waiting.empty()) break;
        const Work work = std::move(queue->waiting.front());
        queue->waiting.pop_front();
        lock.unlock();
        work();
        dispatch_release(queue);
        lock.lock();
    }
    lock.unlock();
    delete queue;
}

void submit(VarnelFakeQueue* queue, Work work) {
    dispatch_retain(queue);
    const std::lock_guard lock(queue->mutex);
    queue->waiting.push_back(std::move(work));
    queue->hasChanged.notify_all();
}

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

}  // namespace

bool varnel::tests::Fakes::runMainItem(std::chrono::milliseconds patience) {
    VarnelFakeQueue* const queue = dispatch_get_main_queue();
    std::unique_lock lock(queue->mutex);
    if (!queue->hasChanged.wait_for(lock, patience, [&] { return !queue->waiting.empty(); })) return false;
    const Work work = std::move(queue->waiting.front());
    queue->waiting.pop_front();
    lock.unlock();
    work();
    return true;
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes) {
    if (attributes != DISPATCH_QUEUE_SERIAL) breach("a queue that is not serial");
    varnel::tests::Fakes::noteQueue(label);
    auto* const queue = new VarnelFakeQueue;
    std::thread(run, queue).detach();
    return queue;
}

void dispatch_retain(dispatch_queue_t queue) {
    const std::lock_guard lock(queue->mutex);
    ++queue->owners;
}

void dispatch_release(dispatch_queue_t queue) {
    const std::lock_guard lock(queue->mutex);
    if (--queue->owners < 0) breach("a queue was released too often");
    if (queue->owners == 0) {
        queue->isEnding = true;
        queue->hasChanged.notify_all();
    }
}

dispatch_queue_t dispatch_get_main_queue(void) {
    static auto* const queue = new VarnelFakeQueue;
    return queue;
}

dispatch_queue_t dispatch_get_global_queue(intptr_t quality, uintptr_t) {
    if (quality != QOS_CLASS_USER_INITIATED) breach("work for which nobody waits");
    static auto* const queue = [] {
        auto* const made = new VarnelFakeQueue;
        made->isGlobal = true;
        return made;
    }();
    return queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    if (queue->isGlobal) return std::thread(work, context).detach();
    submit(queue, [context, work] { work(context); });
}

void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    if (current == queue) breach("a queue waits for itself");
    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;
    submit(queue, [&] {
        work(context);
        const std::lock_guard lock(mutex);
        hasEnded = true;
        ended.notify_one();
    });
    std::unique_lock lock(mutex);
    ended.wait(lock, [&] { return hasEnded; });
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work) {
    dispatch_retain(queue);
    std::thread([=] {
        std::this_thread::sleep_until(std::chrono::steady_clock::time_point(std::chrono::nanoseconds(when)));
        dispatch_async_f(queue, context, work);
        dispatch_release(queue);
    }).detach();
}

dispatch_time_t dispatch_time(dispatch_time_t base, int64_t nanoseconds) {
    if (base != DISPATCH_TIME_NOW) breach("only times from now are known here");
    return now() + static_cast<std::uint64_t>(nanoseconds);
}

void dispatch_queue_set_specific(dispatch_queue_t queue, const void* key, void* value, dispatch_function_t) {
    const std::lock_guard lock(queue->mutex);
    queue->specific[key] = value;
}

void* dispatch_get_specific(const void* key) {
    if (current == nullptr) return nullptr;
    const std::lock_guard lock(current->mutex);
    const auto found = current->specific.find(key);
    return found == current->specific.end() ? nullptr : found->second;
}
