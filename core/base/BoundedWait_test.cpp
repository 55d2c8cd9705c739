// SPDX-License-Identifier: MIT
#include "core/base/BoundedWait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;

TEST(BoundedWait, ReturnsWhenTheWorkHasEnded) {
    std::thread::id worker;
    EXPECT_TRUE(BoundedWait::run([&] { worker = std::this_thread::get_id(); }, 20s));
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST(BoundedWait, HasLetGoOfWhatTheWorkOwnedWhenItReturns) {
    for (int i = 0; i < 1000; ++i) {
        const auto owned = std::make_shared<int>(i);
        ASSERT_TRUE(BoundedWait::run([owned] {}, 20s));
        ASSERT_EQ(owned.use_count(), 1) << i;
    }
}

TEST(BoundedWait, LeavesWorkBehindThatDoesNotEndInTime) {
    auto release = std::make_shared<std::promise<void>>();
    auto hasEnded = std::make_shared<std::atomic<bool>>(false);
    EXPECT_FALSE(BoundedWait::run(
        [released = release->get_future().share(), hasEnded] {
            released.wait();
            *hasEnded = true;
        },
        10ms));
    EXPECT_FALSE(*hasEnded);
    release->set_value();
    EXPECT_TRUE(tests::comesTrue([&] { return hasEnded->load(); })) << "it goes on";
}

}  // namespace
}  // namespace varnel
