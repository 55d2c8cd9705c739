// SPDX-License-Identifier: MIT
//
// The whole macOS layer at work: from an event of the service to the deletion on a real disk, its lines in both logs,
// and the end.
#include "core/watcher/Watcher.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/log/Log.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "tests/macos/gnustep/Fakes.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using tests::comesTrue;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

constexpr std::uint32_t itemCreated = 0x100;

/// A watcher on nothing but the macOS layer. One volume is mounted: the folder "v".
struct MacWatcher {
    TemporaryFolder tree;
    std::string root = tree.folder("v");
    std::shared_ptr<SerialQueue> queue = SerialQueue::create("com.quorin.varnel.watcher");
    std::shared_ptr<Log> log = Log::open(tree.at("log"));
    std::shared_ptr<Watcher> watcher;

    MacWatcher() {
        Fakes::reset();
        Fakes::setMounted({.volumes = {{.path = root, .isRemovable = true}}});
        const auto targets = [] { return VolumeList::targets(); };
        const auto mounts = MountNotifications::ofSystem();
        watcher = Watcher::create(
            RuleSet::standard(), 0.25, log,
            {queue, EventStreams::ofSystem(targets, mounts, nullptr), mounts, targets, [] { return 1000.0; }});
    }

    void start() {
        watcher->start();
        queue->sync([] {});
    }

    /// The messages of the system log, with the volume's path replaced by "V".
    Texts logged() const {
        log->flush();
        Texts lines;
        for (std::string line : Fakes::logged()) {
            line.erase(0, line.find(": ") + 2);
            for (std::size_t at = line.find(root); at != std::string::npos; at = line.find(root))
                line.replace(at, root.size(), "V");
            lines.push_back(line);
        }
        return lines;
    }
};

TEST(MacWatcher, RemovesWhatTheServiceReportsAndEndsInOrder) {
    MacWatcher rig;
    rig.start();
    EXPECT_TRUE(rig.watcher->isRunning());
    const std::string litter = rig.tree.file("v/.DS_Store");
    const std::string folder = rig.tree.folder("v/a");
    rig.tree.file("v/a/keep.txt");
    Fakes::deliver({litter, litter, folder, rig.root + "/gone"}, {itemCreated, itemCreated, itemCreated, 0x200});
    EXPECT_FALSE(rig.tree.has("v/.DS_Store"));
    EXPECT_TRUE(rig.tree.has("v/a/keep.txt"));
    EXPECT_EQ(rig.watcher->stats().deleted, 1);
    rig.watcher->stop();
    EXPECT_EQ(Fakes::streamCalls(), (Texts{"create paths=/ since=ffffffffffffffff latency=0.25 flags=0x17", "setQueue",
                                           "start", "stop", "invalidate", "release"}));
    EXPECT_EQ(rig.logged(),
              (Texts{"WATCH started latency=0.25s volumes=1", "WATCH dsstore  V/.DS_Store", "WATCH stopped"}));
}

TEST(MacWatcher, FollowsAMountWithoutANewStream) {
    MacWatcher rig;
    rig.start();
    const std::string second = rig.tree.folder("w");
    const std::string litter = rig.tree.file("w/.DS_Store");
    Fakes::deliver({litter}, {itemCreated});
    EXPECT_TRUE(rig.tree.has("w/.DS_Store")) << "not a volume yet";
    Fakes::setMounted({.volumes = {{.path = rig.root}, {.path = second}}});
    Fakes::postMount();
    Fakes::deliver({litter}, {itemCreated});
    EXPECT_FALSE(rig.tree.has("w/.DS_Store"));
    Fakes::setMounted({.volumes = {{.path = rig.root}}});
    Fakes::postUnmount();
    rig.tree.file("w/.DS_Store");
    Fakes::deliver({litter}, {itemCreated});
    EXPECT_TRUE(rig.tree.has("w/.DS_Store")) << "no volume any more";
    EXPECT_EQ(Fakes::streamCalls().size(), 3U);
}

TEST(MacWatcher, SweepsAVolumeWhoseEventsWereLost) {
    MacWatcher rig;
    rig.start();
    rig.tree.file("v/a/b/._lost");
    Fakes::deliver({rig.root}, {0x1 | 0x4});
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 1);
    EXPECT_TRUE(comesTrue([&] { return !rig.tree.has("v/a/b/._lost"); }));
    rig.watcher->stop();
}

TEST(MacWatcher, EndsWithItsLastOwner) {
    MacWatcher rig;
    rig.start();
    rig.watcher.reset();
    EXPECT_EQ(Fakes::streamCalls().back(), "release");
    Fakes::postMount();
}

TEST(MacWatcher, TellsWhyItDoesNotRun) {
    MacWatcher rig;
    Fakes::streamRefusals.creation = true;
    rig.start();
    Fakes::streamRefusals = {.start = true};
    rig.start();
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_EQ(rig.logged(), (Texts{"ERROR could not create FSEvents stream", "ERROR could not start FSEvents stream"}));
    EXPECT_EQ(Fakes::streamCalls().back(), "release");
}

}  // namespace
}  // namespace varnel
