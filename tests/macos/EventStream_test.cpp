// SPDX-License-Identifier: MIT
#include "core/watcher/EventStream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "tests/macos/gnustep/Fakes.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using Texts = std::vector<std::string>;
using Flags = std::vector<std::uint32_t>;

/// One stream over everything, and what it delivered.
struct Stream {
    Texts paths;
    Flags flags;
    std::int64_t count = -1;
    bool isOnQueue = false;
    std::shared_ptr<SerialQueue> queue = SerialQueue::create("com.quorin.varnel.test");
    std::unique_ptr<EventStream> stream;

    Stream() {
        Fakes::reset();
        make();
    }

    void make() {
        EventStreamRequest request;
        request.paths = {"/"};
        request.latency = 0.25;
        request.deliver = [this](std::span<const std::string> delivered, std::span<const std::uint32_t> words,
                                 std::int64_t events) {
            paths.assign(delivered.begin(), delivered.end());
            flags.assign(words.begin(), words.end());
            count = events;
            isOnQueue = queue->isCurrent();
        };
        stream = EventStreams::ofSystem(nullptr, nullptr, nullptr)(std::move(request));
    }
};

TEST(MacEventStream, IsAskedForAsTheServiceWantsIt) {
    Stream rig;
    ASSERT_NE(rig.stream, nullptr);
    EXPECT_EQ(Fakes::streamCalls(), Texts{"create paths=/ since=ffffffffffffffff latency=0.25 flags=0x17"});
}

TEST(MacEventStream, GoesThroughTheSixOperationsInTheirOrder) {
    Stream rig;
    rig.stream->setQueue(rig.queue);
    EXPECT_TRUE(rig.stream->start());
    rig.stream->stop();
    rig.stream->invalidate();
    rig.stream.reset();
    Texts calls = Fakes::streamCalls();
    calls.erase(calls.begin());
    EXPECT_EQ(calls, (Texts{"setQueue", "start", "stop", "invalidate", "release"}));
}

TEST(MacEventStream, IsNoneWhereTheServiceGivesNone) {
    Stream rig;
    Fakes::streamRefusals.creation = true;
    rig.make();
    EXPECT_EQ(rig.stream, nullptr);
}

TEST(MacEventStream, TellsThatItWasNotStarted) {
    Stream rig;
    Fakes::streamRefusals.start = true;
    rig.stream->setQueue(rig.queue);
    EXPECT_FALSE(rig.stream->start());
    rig.stream->invalidate();
    rig.stream.reset();
    EXPECT_EQ(Fakes::streamCalls().back(), "release");
}

TEST(MacEventStream, DeliversPathsAndFlagsOnItsQueue) {
    Stream rig;
    rig.stream->setQueue(rig.queue);
    ASSERT_TRUE(rig.stream->start());
    Fakes::deliver({"/Volumes/USB/._a", "/Volumes/USB/\u00e9t\u00e9"}, {0x100, 0x7});
    EXPECT_EQ(rig.paths, (Texts{"/Volumes/USB/._a", "/Volumes/USB/\u00e9t\u00e9"}));
    EXPECT_EQ(rig.flags, (Flags{0x100, 0x7}));
    EXPECT_EQ(rig.count, 2);
    EXPECT_TRUE(rig.isOnQueue);
    rig.stream->stop();
    rig.stream->invalidate();
}

TEST(MacEventStream, DropsWhatIsNoTextAndKeepsTheCount) {
    Stream rig;
    rig.stream->setQueue(rig.queue);
    ASSERT_TRUE(rig.stream->start());
    Fakes::deliver({"/a", "", "/b"}, {1, 2, 3});
    EXPECT_EQ(rig.paths, (Texts{"/a", "/b"}));
    EXPECT_EQ(rig.flags, (Flags{1, 2, 3}));
    EXPECT_EQ(rig.count, 3);
    rig.stream->stop();
    rig.stream->invalidate();
}

}  // namespace
}  // namespace varnel
