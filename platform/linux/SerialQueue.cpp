// SPDX-License-Identifier: MIT
#include "core/base/SerialQueue.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <pthread.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "core/base/FunctionRef.h"

namespace varnel {
namespace {

class AsioQueue final : public SerialQueue {
public:
    explicit AsioQueue(const std::string& label) {
        // The thread shares the loop, so the queue may be let go of from within its own work.
        thread_ = std::thread([loop = loop_] { loop->context.run(); });
        // The kernel keeps 15 bytes of a thread's name; the end of the label is the telling part.
        const std::string shortName = label.size() > 15 ? label.substr(label.size() - 15) : label;
        ::pthread_setname_np(thread_.native_handle(), shortName.c_str());
    }

    ~AsioQueue() final {
        asio::post(loop_->context, [loop = loop_.get()] { loop->timers.clear(); });
        loop_->keepRunning.reset();
        if (isCurrent()) {
            thread_.detach();
        } else {
            thread_.join();
        }
    }

    AsioQueue(const AsioQueue&) = delete;
    AsioQueue& operator=(const AsioQueue&) = delete;

    void async(std::function<void()> work) final {
        // The work may let go of the queue before this call has returned; the loop must outlive the call.
        const auto loop = loop_;
        asio::post(loop->context, std::move(work));
    }

    void sync(FunctionRef<void()> work) final {
        std::promise<void> done;
        asio::post(loop_->context, [&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
    }

    std::shared_ptr<CancellableWork> after(std::chrono::milliseconds delay, std::function<void()> work) final {
        auto handle = std::make_shared<CancellableWork>();
        const auto due = std::chrono::steady_clock::now() + delay;
        asio::post(loop_->context, [loop = loop_.get(), due, handle, work = std::move(work)]() mutable {
            if (handle->isCancelled()) return;
            const std::uint64_t id = loop->nextTimer++;
            asio::steady_timer& timer = loop->timers.try_emplace(id, loop->context, due).first->second;
            timer.async_wait([loop, id, handle, work = std::move(work)](const std::error_code& error) {
                if (error) return;  // the queue is gone
                loop->timers.erase(id);
                if (!handle->isCancelled()) work();
            });
        });
        return handle;
    }

    bool isCurrent() const final { return thread_.get_id() == std::this_thread::get_id(); }

private:
    struct Loop {
        asio::io_context context{1};
        asio::executor_work_guard<asio::io_context::executor_type> keepRunning = asio::make_work_guard(context);
        // Has the loop take its descriptors now, while it can still be told that there are none.
        asio::steady_timer first{context};
        std::map<std::uint64_t, asio::steady_timer> timers;  // on the loop's thread only
        std::uint64_t nextTimer = 0;
    };

    std::shared_ptr<Loop> loop_ = std::make_shared<Loop>();
    std::thread thread_;
};

}  // namespace

std::shared_ptr<SerialQueue> SerialQueue::create(const std::string& label) {
    try {
        return std::make_shared<AsioQueue>(label);
    } catch (const std::system_error&) {
        return nullptr;  // no thread, or no descriptor for its loop
    }
}

}  // namespace varnel
