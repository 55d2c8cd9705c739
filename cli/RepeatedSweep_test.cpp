// SPDX-License-Identifier: MIT
#include "cli/RepeatedSweep.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "core/watcher/Watcher.h"
#include "tests/support/ManualQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel::cli {
namespace {

using namespace std::chrono_literals;
using tests::ManualQueue;
using tests::TemporaryFolder;

/// A share of which the system reports nothing.
struct SilentShare {
    TemporaryFolder folder;
    std::string root = folder.folder("share");
    std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
    std::shared_ptr<Watcher> watcher = Watcher::create(
        RuleSet::standard(), 0.25, nullptr,
        {queue, [](EventStreamRequest) { return std::unique_ptr<EventStream>(); }, MountNotifications::ofSystem(),
         [this] {
             return std::vector<Volume>{{root, "nfs4", false, false, false}};
         },
         [] { return 0.0; }});

    SilentShare() {
        watcher->start();
        queue->run();
    }
    bool has(const std::string& name) const { return folder.has("share/" + name); }
};

TEST(RepeatedSweep, ComesAgainAfterEveryInterval) {
    const SilentShare share;
    RepeatedSweep::begin(share.queue, share.watcher, 5min);
    for (int round = 0; round < 4; ++round) {
        for (const char* name : {"share/._a", "share/b/.DS_Store", "share/keep"})
            share.folder.file(name);
        share.queue->advance(5min - 1ms);
        EXPECT_TRUE(share.has("._a") && share.has("b/.DS_Store")) << round;
        share.queue->advance(1ms);
        EXPECT_FALSE(share.has("._a") || share.has("b/.DS_Store")) << round;
        EXPECT_TRUE(share.has("keep")) << round;
    }
    EXPECT_EQ(share.watcher->stats().deleted, 8);
}

TEST(RepeatedSweep, EndsWithTheWatcher) {
    SilentShare share;
    RepeatedSweep::begin(share.queue, share.watcher, 1min);
    share.folder.file("share/._a");
    share.watcher.reset();
    share.queue->advance(10min);
    EXPECT_TRUE(share.has("._a"));
}

}  // namespace
}  // namespace varnel::cli
