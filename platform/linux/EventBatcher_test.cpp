// SPDX-License-Identifier: MIT
#include "platform/linux/EventBatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/watcher/EventStream.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;

/// A batcher whose queue is held until the test lets it go.
class Held {
public:
    Held() {
        batcher = std::make_shared<EventBatcher>(
            [this](std::span<const std::string> paths, std::span<const std::uint32_t> flags, std::int64_t) {
                batches.emplace_back(paths.begin(), paths.end());
                for (std::size_t i = 0; i < paths.size(); ++i)
                    flagsOf[paths[i]] = flags[i];
            },
            0ms);
        batcher->begin(queue);
        queue->async([this] {
            // The first batch is out and waits here with everything that follows.
            isHeld = true;
            tests::comesTrue([this] { return isFree.load(); });
        });
        tests::comesTrue([this] { return isHeld.load(); });
        batcher->add("/v", "/v/first");
    }

    ~Held() {
        isFree = true;
        queue->sync([this] { batcher->end(); });
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    bool delivers(const std::string& path) {
        isFree = true;
        return tests::comesTrue([&] {
            bool isThere = false;
            queue->sync([&] { isThere = flagsOf.contains(path); });
            return isThere;
        });
    }

    std::shared_ptr<SerialQueue> queue = SerialQueue::create("test.batches");
    std::shared_ptr<EventBatcher> batcher;
    std::vector<std::vector<std::string>> batches;  // of the queue
    std::map<std::string, std::uint32_t> flagsOf;   // of the queue
    std::atomic<bool> isHeld{false};
    std::atomic<bool> isFree{false};
};

TEST(EventBatcher, CutsWhatHasGatheredIntoBatchesThatCanBeWorkedOff) {
    Held held;
    for (int i = 0; i < 10000; ++i)
        held.batcher->add("/v", "/v/" + std::to_string(i));
    EXPECT_TRUE(held.delivers("/v/9999"));
    EXPECT_EQ(held.flagsOf.size(), 10001U) << "each path once";
    for (const auto& batch : held.batches)
        EXPECT_LE(batch.size(), EventBatcher::longestBatch);
    EXPECT_LE(held.batches.size(), 5U);
}

TEST(EventBatcher, MakesALossOfWhatIsTooMuch) {
    Held held;
    // One batch is on its way already.
    for (std::size_t i = 0; i <= EventBatcher::mostWaiting + EventBatcher::longestBatch; ++i)
        held.batcher->add(i % 2 == 0 ? "/v" : "/w", "/v/" + std::to_string(i));
    held.batcher->addLost("/x");
    EXPECT_TRUE(held.delivers("/x"));
    for (const char* root : {"/v", "/w", "/x"})
        EXPECT_EQ(held.flagsOf[root], EventFlags::mustScanSubDirs | EventFlags::kernelDropped) << root;
    EXPECT_LE(held.flagsOf.size(), 2 * EventBatcher::longestBatch) << "the single events are gone";
}

TEST(EventBatcher, DeliversNothingAfterItsEnd) {
    Held held;
    held.batcher->add("/v", "/v/second");
    held.isFree = true;
    held.queue->sync([&] { held.batcher->end(); });
    std::size_t delivered = 0;
    held.queue->sync([&] { delivered = held.batches.size(); });
    held.batcher->add("/v", "/v/third");
    held.batcher->addLost("/v");
    held.queue->sync([&] { EXPECT_EQ(held.batches.size(), delivered); });
}

}  // namespace
}  // namespace varnel
