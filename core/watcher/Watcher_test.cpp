// SPDX-License-Identifier: MIT
//
// The watcher on a real disk with a scripted stream, a queue and a clock that the test moves.
#include "core/watcher/Watcher.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ManualQueue.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::ManualQueue;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

/// What happened to the streams of a test, in order.
struct StreamScript {
    bool canCreate = true;
    bool canStart = true;
    Texts calls;
    EventStreamRequest request;  // of the latest stream
    std::shared_ptr<SerialQueue> queue;
    std::function<void()> onStart;  // while the stream is started
};

class ScriptedStream final : public EventStream {
public:
    explicit ScriptedStream(StreamScript& script) : script_(script) { script_.calls.emplace_back("create"); }
    ~ScriptedStream() final { script_.calls.emplace_back("release"); }
    ScriptedStream(const ScriptedStream&) = delete;
    ScriptedStream& operator=(const ScriptedStream&) = delete;

    void setQueue(std::shared_ptr<SerialQueue> queue) final {
        script_.calls.emplace_back("setQueue");
        script_.queue = std::move(queue);
    }
    bool start() final {
        script_.calls.emplace_back("start");
        if (script_.onStart) script_.onStart();
        return script_.canStart;
    }
    void stop() final { script_.calls.emplace_back("stop"); }
    void invalidate() final { script_.calls.emplace_back("invalidate"); }

private:
    StreamScript& script_;
};

class ScriptedMounts final : public MountNotifications {
public:
    Token add(Kind kind, std::function<void()> observer) final {
        observers.push_back({++last_, kind, std::move(observer)});
        return last_;
    }
    void remove(Token token) final {
        std::erase_if(observers, [token](const Observer& observer) { return observer.token == token; });
    }
    void post(Kind kind) {
        for (const Observer& observer : observers) {
            if (observer.kind == kind) observer.call();
        }
    }

    struct Observer {
        Token token;
        Kind kind;
        std::function<void()> call;
    };
    std::vector<Observer> observers;

private:
    Token last_ = 0;
};

/// A watcher with every port in the test's hands, on a real temporary tree. The volume is the folder "v".
struct WatcherRig {
    TemporaryFolder tree;
    std::string root = tree.folder("v");
    std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
    std::shared_ptr<ScriptedMounts> mounts = std::make_shared<ScriptedMounts>();
    StreamScript script;
    std::vector<Volume> targets = {volume(root)};
    double now = 1000;
    std::shared_ptr<Log> log =
        Log::open(tree.at("log"), std::make_shared<ManualQueue>(), [] { return std::int64_t{0}; });
    std::shared_ptr<Watcher> watcher = make(0.25, log);

    static Volume volume(const std::string& mountPoint) { return {mountPoint, "exfat", true, true, false}; }

    std::shared_ptr<Watcher> make(double latency, std::shared_ptr<Log> itsLog) {
        return Watcher::create(RuleSet::standard(), latency, std::move(itsLog),
                               {queue,
                                [this](EventStreamRequest request) -> std::unique_ptr<EventStream> {
                                    if (!script.canCreate) return nullptr;
                                    script.request = std::move(request);
                                    return std::make_unique<ScriptedStream>(script);
                                },
                                mounts, [this] { return targets; }, [this] { return now; }});
    }

    void start() {
        watcher->start();
        queue->run();
    }

    /// Delivers one batch on the queue; `count` negative means as many as there are paths.
    void deliver(const Texts& paths, std::vector<std::uint32_t> flags = {}, std::int64_t count = -1) {
        flags.resize(std::max(flags.size(), paths.size()), 0);
        queue->inside(
            [&] { script.request.deliver(paths, flags, count < 0 ? static_cast<std::int64_t>(paths.size()) : count); });
    }
    void loseEvents(const std::string& path) { deliver({path}, {EventFlags::mustScanSubDirs}); }

    std::string at(const std::string& below) const { return root + "/" + below; }
    bool has(const std::string& below) const { return tree.has("v/" + below); }
    std::string file(const std::string& below) const { return tree.file("v/" + below); }

    /// The messages of the log, without stamps, with the volume's path replaced by "V".
    Texts logged() const {
        log->flush();
        Texts lines;
        std::istringstream stream(tree.contents("log/varnel.log"));
        for (std::string line; std::getline(stream, line);) {
            line = line.substr(20);
            for (std::size_t place = line.find(root); place != std::string::npos; place = line.find(root)) {
                line.replace(place, root.size(), "V");
            }
            lines.push_back(line);
        }
        return lines;
    }
};

TEST(WatcherLifecycle, StartsOneStreamOverTheWholeSystem) {
    WatcherRig rig;
    EXPECT_FALSE(rig.watcher->isRunning());
    rig.watcher->start();
    EXPECT_TRUE(rig.script.calls.empty()) << "start() only asks";
    rig.watcher->start();
    rig.queue->run();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_EQ(rig.script.calls, (Texts{"create", "setQueue", "start"}));
    EXPECT_EQ(rig.script.request.paths, Texts{"/"});
    EXPECT_EQ(rig.script.request.since, 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(rig.script.request.flags, 0x17U);
    EXPECT_EQ(rig.script.request.latency, 0.25);
    EXPECT_EQ(rig.script.queue, rig.queue);
    EXPECT_EQ(rig.mounts->observers.size(), 2U) << "one for mounts, one for unmounts";
    EXPECT_EQ(rig.logged(), Texts{"WATCH started latency=0.25s volumes=1"});
}

TEST(WatcherLifecycle, PrintsTheLatencyWithAFraction) {
    WatcherRig rig;
    rig.targets.clear();
    rig.watcher = rig.make(1, rig.log);
    rig.start();
    EXPECT_EQ(rig.logged(), Texts{"WATCH started latency=1.0s volumes=0"});
}

TEST(WatcherLifecycle, TakesTheStreamDownInOrderAndCanStartAgain) {
    WatcherRig rig;
    rig.start();
    rig.deliver({rig.file("._a")});
    rig.script.calls.clear();
    rig.watcher->stop();
    EXPECT_EQ(rig.script.calls, (Texts{"stop", "invalidate", "release"}));
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_TRUE(rig.mounts->observers.empty());
    rig.watcher->stop();
    rig.start();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_EQ(rig.mounts->observers.size(), 2U);
    EXPECT_EQ(rig.watcher->stats().deleted, 1) << "counters go on";
    EXPECT_EQ(rig.logged(), (Texts{"WATCH started latency=0.25s volumes=1", "WATCH appledouble  V/._a", "WATCH stopped",
                                   "WATCH started latency=0.25s volumes=1"}));
}

TEST(WatcherLifecycle, WritesNothingWhenStoppedBeforeItStarted) {
    WatcherRig rig;
    rig.watcher->stop();
    EXPECT_TRUE(rig.logged().empty());
}

TEST(WatcherLifecycle, StaysIdleWithoutAStreamAndTriesAgain) {
    WatcherRig rig;
    rig.script.canCreate = false;
    rig.start();
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_EQ(rig.mounts->observers.size(), 2U) << "observers are installed all the same";
    rig.script.canCreate = true;
    rig.script.canStart = false;
    rig.start();
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_EQ(rig.script.calls, (Texts{"create", "setQueue", "start", "invalidate", "release"}));
    EXPECT_EQ(rig.mounts->observers.size(), 2U) << "and not twice";
    rig.script.canStart = true;
    rig.start();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_EQ(rig.logged(), (Texts{"ERROR could not create FSEvents stream", "ERROR could not start FSEvents stream",
                                   "WATCH started latency=0.25s volumes=1"}));
    rig.watcher->stop();
    EXPECT_TRUE(rig.mounts->observers.empty());
}

TEST(WatcherLifecycle, FollowsMountsWithoutANewStream) {
    WatcherRig rig;
    rig.start();
    const std::string second = rig.tree.folder("w");
    const std::string litter = rig.tree.file("w/._a");
    rig.deliver({litter});
    EXPECT_TRUE(rig.tree.has("w/._a")) << "not a watched volume yet";
    rig.targets.push_back(WatcherRig::volume(second));
    rig.mounts->post(MountNotifications::Kind::didMount);
    rig.queue->run();
    EXPECT_TRUE(rig.tree.has("w/._a")) << "a new volume is not swept";
    rig.deliver({litter});
    EXPECT_FALSE(rig.tree.has("w/._a"));
    rig.targets.pop_back();
    rig.mounts->post(MountNotifications::Kind::didUnmount);
    rig.queue->run();
    rig.deliver({rig.tree.file("w/._b")});
    EXPECT_TRUE(rig.tree.has("w/._b"));
    rig.targets.push_back(WatcherRig::volume(second));
    rig.watcher->refreshVolumes();
    rig.queue->run();
    rig.deliver({rig.tree.at("w/._b")});
    EXPECT_FALSE(rig.tree.has("w/._b"));
    EXPECT_EQ(rig.script.calls, (Texts{"create", "setQueue", "start"}));
}

TEST(WatcherLifecycle, MakesWaitingWorkDoNothingOnceItIsGone) {
    WatcherRig rig;
    rig.watcher->start();
    rig.watcher->sweepNow();
    rig.watcher->refreshVolumes();
    rig.watcher.reset();
    rig.queue->run();
    EXPECT_TRUE(rig.script.calls.empty());
}

TEST(WatcherLifecycle, TakesTheStreamDownWhenItGoes) {
    WatcherRig rig;
    rig.start();
    rig.watcher.reset();
    EXPECT_EQ(rig.script.calls, (Texts{"create", "setQueue", "start", "stop", "invalidate", "release"}));
    EXPECT_TRUE(rig.mounts->observers.empty());
}

TEST(WatcherLifecycle, MayGoOnItsOwnQueue) {
    WatcherRig rig;
    rig.start();
    rig.queue->async([owner = std::move(rig.watcher)]() mutable { owner.reset(); });
    rig.queue->run();
    EXPECT_EQ(rig.script.calls.back(), "release");
}

TEST(WatcherEvents, RemoveLitterAndNothingElse) {
    WatcherRig rig;
    Texts told;
    rig.watcher->onDelete = [&told](const std::string& path) { told.push_back(path); };
    rig.start();
    const Texts litter = {rig.file("._photo.jpg"), rig.file("a/.DS_Store"), rig.file("a/Thumbs.db")};
    rig.file("a/__MACOSX/inside");
    const Texts stays = {rig.file("photo.jpg"), rig.file("._Font.ttf"), rig.file("_.x"),
                         rig.file("b/Thumbs.db/inside")};
    rig.file(".Trashes/x");
    Texts batch = litter;
    batch.insert(batch.end(), {rig.at("a/__MACOSX"), rig.at("b/Thumbs.db"), rig.at(".Trashes"), rig.at("gone/._x")});
    batch.insert(batch.end(), stays.begin(), stays.end());
    rig.deliver(batch);
    for (const char* gone : {"._photo.jpg", "a/.DS_Store", "a/Thumbs.db", "a/__MACOSX"})
        EXPECT_FALSE(rig.has(gone)) << gone;
    for (const char* kept : {"photo.jpg", "._Font.ttf", "_.x", "b/Thumbs.db/inside", ".Trashes/x"}) {
        EXPECT_TRUE(rig.has(kept)) << kept;
    }
    EXPECT_EQ(told, (Texts{litter[0], litter[1], litter[2], rig.at("a/__MACOSX")}));
    EXPECT_EQ(rig.watcher->stats().deleted, 4);
    EXPECT_EQ(rig.watcher->stats().batches, 1);
    EXPECT_EQ(rig.logged(), (Texts{"WATCH started latency=0.25s volumes=1", "WATCH appledouble  V/._photo.jpg",
                                   "WATCH dsstore  V/a/.DS_Store", "WATCH thumbsdb  V/a/Thumbs.db",
                                   "WATCH macosx-dir  V/a/__MACOSX"}));
}

TEST(WatcherEvents, LeaveOtherVolumesAndProtectedPathsAlone) {
    WatcherRig rig;
    rig.targets.push_back(WatcherRig::volume("/usr"));
    rig.start();
    const std::string outside = rig.tree.file("outside/._x");
    rig.deliver({outside, "/usr/._x", "/._x", ""});
    EXPECT_TRUE(rig.tree.has("outside/._x"));
    EXPECT_EQ(rig.watcher->stats().deleted, 0);
    EXPECT_EQ(rig.watcher->stats().batches, 1) << "a batch of nothing counts";
}

TEST(WatcherEvents, HandleAPathOncePerBatchInOrder) {
    WatcherRig rig;
    rig.start();
    const std::string a = rig.file("._a");
    const std::string b = rig.file("._b");
    Texts told;
    rig.watcher->onDelete = [&](const std::string& path) {
        told.push_back(path);
        if (path == a) rig.file("._a");  // made again at once
    };
    rig.deliver({b, a, b, a, a});
    EXPECT_EQ(told, (Texts{b, a}));
    EXPECT_TRUE(rig.has("._a"));
}

TEST(WatcherEvents, WalkTheShorterOfPathsAndCount) {
    WatcherRig rig;
    rig.start();
    const Texts paths = {rig.file("._a"), rig.file("._b"), rig.file("._c")};
    rig.deliver(paths, {}, 100);
    EXPECT_EQ(rig.watcher->stats().deleted, 3);
    rig.file("._a");
    rig.file("._b");
    rig.deliver(paths, {}, 1);
    EXPECT_FALSE(rig.has("._a"));
    EXPECT_TRUE(rig.has("._b"));
}

TEST(WatcherEvents, NeverRemoveThroughALink) {
    WatcherRig rig;
    rig.start();
    rig.tree.file("outside/._x");
    rig.tree.link("v/way", "../outside");
    rig.tree.link("v/._link", "../outside");
    rig.deliver({rig.at("way/._x"), rig.at("._link")});
    EXPECT_TRUE(rig.tree.has("outside/._x"));
    EXPECT_FALSE(rig.has("._link")) << "a link that is litter goes, its target stays";
}

TEST(WatcherEvents, LeaveMountPointsAloneWithoutAWord) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        WatcherRig rig;
        rig.start();
        tests::mountTmpfs(rig.tree.folder("v/__MACOSX"));
        rig.file("__MACOSX/precious");
        rig.deliver({rig.at("__MACOSX")});
        EXPECT_TRUE(rig.has("__MACOSX/precious"));
        EXPECT_EQ(rig.logged(), Texts{"WATCH started latency=0.25s volumes=1"});
        tests::unmount(rig.at("__MACOSX"));
    }),
              0);
}

TEST(WatcherEvents, LogWhatCouldNotBeRemovedAndGoOn) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    WatcherRig rig;
    rig.file("closed/._a");
    rig.file("open/._b");
    ::chmod(rig.at("open").c_str(), 0777);
    ::chmod(rig.tree.path().c_str(), 0777);
    ::chmod(rig.root.c_str(), 0777);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  rig.start();
                  rig.deliver({rig.at("closed/._a"), rig.at("open/._b")});
                  EXPECT_EQ(rig.watcher->stats().deleted, 1);
                  EXPECT_EQ(rig.logged(), (Texts{"WATCH started latency=0.25s volumes=1",
                                                 "FAIL  appledouble  V/closed/._a  Permission denied",
                                                 "WATCH appledouble  V/open/._b"}));
              }),
              0);
    EXPECT_TRUE(rig.has("closed/._a"));
    EXPECT_FALSE(rig.has("open/._b"));
}

TEST(WatcherEvents, WorkWithoutALog) {
    WatcherRig rig;
    rig.watcher = rig.make(0.25, nullptr);
    rig.start();
    rig.deliver({rig.file("._a")});
    EXPECT_FALSE(rig.has("._a"));
}

TEST(WatcherLoopGuard, GivesUpOnWhatIsMadeAgainAndAgain) {
    WatcherRig rig;
    rig.start();
    for (int attempt = 1; attempt <= 8; ++attempt) {
        rig.file(".DS_Store");
        rig.now += 1;
        rig.deliver({rig.at(".DS_Store")});
        EXPECT_EQ(rig.has(".DS_Store"), attempt >= 6) << attempt;
    }
    EXPECT_EQ(rig.watcher->stats().deleted, 5);
    EXPECT_EQ(rig.watcher->stats().loopsSuppressed, 1);
    const Texts lines = rig.logged();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "SUPPRESS loop guard V/.DS_Store"), 1);
    rig.watcher->stop();
    rig.start();
    rig.now += 1000;
    rig.deliver({rig.at(".DS_Store")});
    EXPECT_TRUE(rig.has(".DS_Store")) << "not before the program starts anew";
    rig.watcher->sweepNow();
    rig.queue->run();
    EXPECT_FALSE(rig.has(".DS_Store")) << "sweeps do not ask the guard";
}

TEST(WatcherLoopGuard, BeginsAnewAfterAMinute) {
    WatcherRig rig;
    rig.start();
    for (int attempt = 0; attempt < 20; ++attempt) {
        rig.file(".DS_Store");
        rig.now += 13;
        rig.deliver({rig.at(".DS_Store")});
        ASSERT_FALSE(rig.has(".DS_Store")) << attempt;
    }
}

TEST(WatcherSweep, FollowsLostEventsAfterTwoSeconds) {
    WatcherRig rig;
    rig.start();
    rig.file("._a");
    rig.file("a/.DS_Store");
    rig.file(".Trashes/x");
    rig.loseEvents(rig.at("a"));
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 1);
    EXPECT_EQ(rig.watcher->stats().batches, 1);
    EXPECT_EQ(rig.watcher->stats().deleted, 0);
    rig.queue->advance(1999ms);
    EXPECT_TRUE(rig.has("._a"));
    rig.queue->advance(1ms);
    EXPECT_FALSE(rig.has("._a") || rig.has("a/.DS_Store"));
    EXPECT_TRUE(rig.has(".Trashes/x")) << "live rules only";
    EXPECT_EQ(rig.watcher->stats().deleted, 2);
    EXPECT_EQ(rig.logged().back(), "RECOVER V removed 2 items, 2 bytes");
}

TEST(WatcherSweep, WaitsTwoSecondsAfterTheLastLostEvent) {
    WatcherRig rig;
    rig.start();
    rig.file("._a");
    for (int i = 0; i < 3; ++i) {
        rig.loseEvents(rig.root);
        rig.queue->advance(1900ms);
        EXPECT_TRUE(rig.has("._a"));
    }
    rig.queue->advance(100ms);
    EXPECT_FALSE(rig.has("._a"));
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 3);
    const Texts lines = rig.logged();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.starts_with("RECOVER"); }),
              1);
}

TEST(WatcherSweep, CoversEveryVolumeThatLostEvents) {
    WatcherRig rig;
    for (const char* name : {"w", "x"})
        rig.targets.push_back(WatcherRig::volume(rig.tree.folder(name)));
    rig.start();
    rig.file("._a");
    rig.tree.file("w/._b");
    rig.tree.file("x/._c");
    rig.deliver({rig.root, rig.tree.at("w/deep/down"), rig.at("._a")},
                {EventFlags::kernelDropped, EventFlags::userDropped | 0x100, 0});
    EXPECT_FALSE(rig.has("._a")) << "the rest of the batch is worked off";
    rig.file("._a2");
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 1) << "once per batch";
    rig.queue->advance(2s);
    EXPECT_FALSE(rig.has("._a2") || rig.tree.has("w/._b"));
    EXPECT_TRUE(rig.tree.has("x/._c"));
}

TEST(WatcherSweep, IsScheduledEvenWhereNoVolumeIsConcerned) {
    WatcherRig rig;
    rig.start();
    rig.file("._a");
    rig.loseEvents("/");
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 1);
    rig.queue->advance(5s);
    EXPECT_TRUE(rig.has("._a")) << "nothing was queued for it";
}

TEST(WatcherSweep, TakesOverFromABatchThatIsTooLong) {
    WatcherRig rig;
    rig.targets.push_back(WatcherRig::volume(rig.tree.folder("w")));
    rig.start();
    rig.tree.file("w/._other");
    Texts batch;
    for (int i = 0; i < 5001; ++i)
        batch.push_back(rig.file("._" + std::to_string(i)));
    rig.deliver(batch);
    EXPECT_EQ(rig.watcher->stats().deleted, 5000);
    EXPECT_TRUE(rig.has("._5000"));
    EXPECT_FALSE(rig.has("._4999"));
    EXPECT_EQ(rig.watcher->stats().dropRecoveries, 0) << "nothing was lost";
    rig.queue->advance(2s);
    EXPECT_FALSE(rig.has("._5000") || rig.tree.has("w/._other"));
    EXPECT_EQ(rig.watcher->stats().deleted, 5002);
}

TEST(WatcherSweep, StaysSilentWhenThereIsNothing) {
    WatcherRig rig;
    rig.start();
    rig.file("keep");
    rig.loseEvents(rig.root);
    rig.queue->advance(2s);
    rig.watcher->sweepNow();
    rig.queue->run();
    EXPECT_EQ(rig.watcher->stats().deleted, 0);
    EXPECT_EQ(rig.logged(), Texts{"WATCH started latency=0.25s volumes=1"});
}

TEST(WatcherSweep, StillTakesPlaceAfterAStop) {
    WatcherRig rig;
    rig.start();
    rig.file("._a");
    rig.loseEvents(rig.root);
    rig.watcher->stop();
    rig.queue->advance(2s);
    EXPECT_FALSE(rig.has("._a"));
}

TEST(WatcherSweep, PassesOverAVolumeThatIsGone) {
    WatcherRig rig;
    rig.targets = {WatcherRig::volume(rig.tree.at("gone")), WatcherRig::volume(rig.root)};
    rig.start();
    rig.file("._a");
    rig.loseEvents(rig.tree.at("gone/x"));
    rig.loseEvents(rig.root);
    rig.queue->advance(2s);
    EXPECT_FALSE(rig.has("._a"));
}

TEST(WatcherSweepNow, SweepsEveryVolumeInOrder) {
    WatcherRig rig;
    rig.targets = {WatcherRig::volume(rig.tree.folder("w")), WatcherRig::volume(rig.tree.folder("empty")),
                   rig.targets[0]};
    rig.start();
    rig.tree.file("w/._a");
    rig.file("__MACOSX/x");
    rig.watcher->sweepNow();
    EXPECT_TRUE(rig.has("__MACOSX")) << "it only asks";
    rig.queue->run();
    Texts lines = rig.logged();
    std::erase_if(lines, [](const auto& line) { return !line.starts_with("SWEEP"); });
    EXPECT_EQ(lines, (Texts{"SWEEP " + rig.tree.at("w") + " removed 1 items, 1 byte",
                            "SWEEP V removed 1 items (1 dirs), Zero KB"}));
    EXPECT_EQ(rig.watcher->stats().deleted, 2);
}

TEST(WatcherSweepNow, NeedsVolumesButNoStream) {
    WatcherRig rig;
    rig.file("._a");
    rig.watcher->sweepNow();
    rig.queue->run();
    EXPECT_TRUE(rig.has("._a")) << "a watcher that was never started knows no volumes";
    rig.start();
    rig.watcher->stop();
    rig.watcher->sweepNow();
    rig.queue->run();
    EXPECT_FALSE(rig.has("._a"));
}

TEST(WatcherDeathTest, TrapsWhenTouchedOffItsQueue) {
    WatcherRig rig;
    rig.start();
    EXPECT_DEATH(rig.script.request.deliver({}, {}, 0), "off its queue");
}

TEST(WatcherVolumes, OneThatComesWhileTheStreamIsStartedIsNotForgotten) {
    WatcherRig rig;
    const std::string late = rig.tree.folder("late");
    rig.script.onStart = [&] { rig.targets.push_back(WatcherRig::volume(late)); };
    rig.start();
    rig.tree.file("late/._x");
    rig.deliver({late + "/._x"});
    EXPECT_FALSE(rig.tree.has("late/._x"));
}

TEST(WatcherVolumes, AFolderThatAnUnmountedVolumeLeftBehindIsLeftAlone) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        WatcherRig rig;
        rig.file("._under");
        tests::mountTmpfs(rig.root);
        rig.file("._over");
        rig.start();
        tests::unmount(rig.root);
        rig.deliver({rig.at("._under")});
        EXPECT_TRUE(rig.has("._under"));
        const auto before = rig.logged();
        rig.watcher->sweepNow();
        rig.queue->run();
        EXPECT_TRUE(rig.has("._under"));
        EXPECT_EQ(rig.logged(), before) << "a volume that is gone is passed over without a word";
        // Another volume in the same place, before anybody has said so.
        tests::mountTmpfs(rig.root);
        rig.file("._other");
        rig.deliver({rig.at("._other")});
        EXPECT_TRUE(rig.has("._other"));
        rig.mounts->post(MountNotifications::Kind::didMount);
        rig.queue->run();
        rig.deliver({rig.at("._other")});
        EXPECT_FALSE(rig.has("._other"));
        tests::unmount(rig.root);
    }),
              0);
}

TEST(WatcherEvents, OpensNothingThatStaysOpen) {
    WatcherRig rig;
    rig.start();
    const auto openNow = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    rig.file("a/._1");
    rig.deliver({rig.at("a/._1")});
    const auto before = openNow();
    for (const char* name : {"a/._2", "b/._3", "b/__MACOSX/x"})
        rig.file(name);
    rig.deliver({rig.at("a/._2"), rig.at("b/._3"), rig.at("b/__MACOSX")});
    EXPECT_EQ(openNow(), before);
    EXPECT_FALSE(rig.has("b/__MACOSX"));
}

}  // namespace
}  // namespace varnel
