// SPDX-License-Identifier: MIT
#include "cli/MountEvents.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/watcher/EventStream.h"

namespace varnel::cli {
namespace {

/// What a stream of that kind hands on, in order: each batch by its flags, and every word of a mount.
std::vector<std::string> handedOn(const std::vector<std::vector<std::uint32_t>>& batches) {
    std::vector<std::string> heard;
    EventStreamRequest::Deliver deliver;
    const auto streams = MountEvents::heard(
        [&](EventStreamRequest request) {
            deliver = std::move(request.deliver);
            return std::unique_ptr<EventStream>();
        },
        [&] { heard.emplace_back("mount"); });
    EventStreamRequest request;
    request.deliver = [&](std::span<const std::string> paths, std::span<const std::uint32_t> flags,
                          std::int64_t count) {
        heard.push_back(std::to_string(flags[0]) + " of " + std::to_string(count) + ": " + paths[0]);
    };
    EXPECT_EQ(streams(std::move(request)), nullptr) << "what the system gives";
    for (const auto& flags : batches) {
        const std::vector<std::string> paths(flags.size(), "/Volumes/USB");
        deliver(paths, flags, static_cast<std::int64_t>(flags.size()));
    }
    return heard;
}

TEST(MountEvents, AreHeardOncePerBatchAfterWhatItBrings) {
    EXPECT_EQ(handedOn({{0x40}}), (std::vector<std::string>{"64 of 1: /Volumes/USB", "mount"}));
    EXPECT_EQ(handedOn({{0x100, 0x80, 0x40}}), (std::vector<std::string>{"256 of 3: /Volumes/USB", "mount"}));
}

TEST(MountEvents, AreNotSeenInAnythingElse) {
    EXPECT_EQ(handedOn({{0x1 | 0x2 | 0x4, 0x10, 0x20, 0x100, 0x1000}}),
              std::vector<std::string>{"7 of 5: /Volumes/USB"});
}

}  // namespace
}  // namespace varnel::cli
