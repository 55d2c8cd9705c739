// SPDX-License-Identifier: MIT
#include "core/base/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace varnel {
namespace {

using namespace std::chrono_literals;

TEST(SerialQueue, RunsWorkInTheOrderOfSubmission) {
    const auto queue = SerialQueue::create("test.queue");
    std::vector<int> order;
    for (int i = 0; i < 1000; ++i)
        queue->async([&order, i] { order.push_back(i); });
    queue->sync([&order] { order.push_back(1000); });
    ASSERT_EQ(order.size(), 1001U);
    for (int i = 0; i <= 1000; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(SerialQueue, NeverRunsTwoItemsAtOnce) {
    const auto queue = SerialQueue::create("test.queue");
    std::atomic<int> running{0};
    std::atomic<int> overlaps{0};
    int total = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                queue->async([&] {
                    if (running.fetch_add(1) != 0) ++overlaps;
                    ++total;
                    --running;
                });
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    queue->sync([] {});
    EXPECT_EQ(total, 2000);
    EXPECT_EQ(overlaps, 0);
}

TEST(SerialQueue, RunsWhatWasSubmittedBeforeItWasLetGo) {
    int runs = 0;
    {
        const auto queue = SerialQueue::create("test.queue");
        for (int i = 0; i < 100; ++i)
            queue->async([&runs] { ++runs; });
    }
    EXPECT_EQ(runs, 100);
}

TEST(SerialQueue, MayBeLetGoOfByItsOwnWork) {
    auto queue = SerialQueue::create("test.queue");
    std::promise<void> ended;
    SerialQueue& raw = *queue;
    raw.async([owner = std::move(queue), &ended]() mutable {
        owner.reset();
        ended.set_value();
    });
    EXPECT_EQ(ended.get_future().wait_for(10s), std::future_status::ready);
}

TEST(SerialQueue, KnowsItsOwnThread) {
    const auto queue = SerialQueue::create("test.queue");
    EXPECT_FALSE(queue->isCurrent());
    bool inside = false;
    queue->sync([&] { inside = queue->isCurrent(); });
    EXPECT_TRUE(inside);
}

TEST(SerialQueueAfter, RunsInTheOrderOfTheirTimes) {
    const auto queue = SerialQueue::create("test.queue");
    bool wasPrompt = false;
    while (!wasPrompt) {
        std::vector<int> order;
        std::promise<void> ended;
        const auto note = [&](int number) {
            order.push_back(number);
            if (order.size() == 2) ended.set_value();
        };
        const auto begun = std::chrono::steady_clock::now();
        queue->after(40ms, [&] { note(2); });
        queue->after(1ms, [&] { note(1); });
        // Where this thread was held up between the two, the first is due first.
        wasPrompt = std::chrono::steady_clock::now() - begun < 39ms;
        ended.get_future().wait();
        if (wasPrompt) {
            EXPECT_EQ(order, (std::vector<int>{1, 2}));
        }
    }
}

TEST(SerialQueueAfter, DoesNotRunWhatWasCancelled) {
    const auto queue = SerialQueue::create("test.queue");
    bool ran = false;
    std::promise<void> ended;
    queue->sync([&] {  // where nothing becomes due meanwhile
        queue->after(1ms, [&] { ran = true; })->cancel();
        queue->after(2ms, [&] { ended.set_value(); });
    });
    ended.get_future().wait();
    EXPECT_FALSE(ran);
}

TEST(SerialQueueAfter, DoesNotRunOnceTheQueueIsGone) {
    bool ran = false;
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> byTheWork = held;
    SerialQueue::create("test.queue")->after(1h, [&ran, held = std::move(held)] { ran = true; });
    EXPECT_TRUE(byTheWork.expired()) << "what will never run must hold nothing";
    EXPECT_FALSE(ran);
}

TEST(SerialQueueAfter, IsForgottenWithTheQueue) {
    bool ran = false;
    const auto begun = std::chrono::steady_clock::now();
    {
        const auto queue = SerialQueue::create("test.queue");
        queue->after(1h, [&] { ran = true; });
    }
    EXPECT_FALSE(ran);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 1min) << "letting go must not wait for what is due later";
}

}  // namespace
}  // namespace varnel
