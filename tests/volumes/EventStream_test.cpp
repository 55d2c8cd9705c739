// SPDX-License-Identifier: MIT
//
// What every stream of the system must report, on real file systems: with the rights to watch a file system at once,
// and without them, folder by folder.
#include "core/watcher/EventStream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

#include "core/volumes/VolumeList.h"
#include "core/watcher/MountNotifications.h"
#include "tests/support/DiskImage.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/StreamListener.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::age;
using tests::comesTrue;
using tests::StreamListener;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

using Parameter = std::tuple<std::string, bool>;  // kind of disk, with the rights of an administrator

/// Writes more to a folder than the kernel keeps, while nobody listens.
void overflow(const std::string& folder) {
    EXPECT_EQ(tests::runInChildAlone([&] {
                  for (int i = 0; i < 20000; ++i) {
                      const std::string file = folder + "/" + std::to_string(i);
                      ::close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
                      ::unlink(file.c_str());
                  }
              }),
              0);
}

/// Writes a file until it is heard of: while the folders are found anew, what appears is left to the sweep.
bool hearsInTheEnd(const StreamListener& listener, const std::string& path) {
    return comesTrue([&] {
        ::unlink(path.c_str());
        std::ofstream(path) << "x";
        return listener.hasHeard(path);
    });
}

/// Limits this process's own user namespace.
void limitInotify(const std::string& what, int most) {
    std::ofstream("/proc/self/uid_map") << "0 0 1";  // once
    std::ofstream limit("/proc/sys/user/max_inotify_" + what);
    limit << most << std::flush;
    ASSERT_TRUE(limit.good());
}

int inotifyInstances() {
    int count = 0;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += std::filesystem::read_symlink(entry, ignored) == "anon_inode:inotify" ? 1 : 0;
    return count;
}

class EventStreamContract : public ::testing::TestWithParam<Parameter> {
protected:
    /// Runs the body on a mounted disk in a namespace of its own.
    void onDisk(const std::function<void(const TemporaryFolder&, const std::string& place)>& body) {
        const auto& [name, isAdministrator] = GetParam();
        const auto& kind = tests::diskKind(name);
        const tests::PrivateMounts namespaces;
        if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
        if (!kind.missing().empty()) GTEST_SKIP() << "needs the program " << kind.missing();
        const bool dropsRights = !isAdministrator;
        EXPECT_EQ(namespaces.run([&] {
            ASSERT_TRUE(!dropsRights || tests::dropSystemAdministration());
            const TemporaryFolder folder;
            const std::string place = folder.folder("disk");
            tests::mountDisk(kind, folder.at("image"), place);
            body(folder, place);
            // Nothing of the stream is in the way, not even while it runs; and nobody but the stream may be.
            tests::unmountDisk(place);
        }),
                  0);
    }
};

TEST_P(EventStreamContract, ReportsWhatAppears) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        folder.file("disk/old/._before");
        folder.file("disk/old/written");
        folder.file("outside");
        age(folder.at("disk/old"));
        age(place);
        StreamListener listener(place);
        listener.start();
        folder.file("disk/created");
        EXPECT_TRUE(listener.hears(folder.at("disk/created")));
        folder.file("disk/old/written", "more");
        EXPECT_TRUE(listener.hears(folder.at("disk/old/written")));
        folder.file("disk/new/nested/deep/file");
        for (const char* path : {"disk/new", "disk/new/nested", "disk/new/nested/deep", "disk/new/nested/deep/file"}) {
            EXPECT_TRUE(listener.hears(folder.at(path))) << path;
        }
        std::filesystem::rename(folder.at("disk/created"), folder.at("disk/new/renamed"));
        EXPECT_TRUE(listener.hears(folder.at("disk/new/renamed")));

        // A folder is known by its new name at once, and what comes into it later as well.
        std::filesystem::rename(folder.at("disk/new"), folder.at("disk/old/moved"));
        folder.file("disk/old/moved/nested/later");
        EXPECT_TRUE(listener.hears(folder.at("disk/old/moved/nested/later")));
        std::filesystem::remove_all(folder.at("disk/old/moved"));
        folder.file("disk/old/moved/nested/again");
        EXPECT_TRUE(listener.hears(folder.at("disk/old/moved/nested/again")));

        EXPECT_FALSE(listener.hasHeard(folder.at("disk/old/._before"))) << "what is old is no event";
        EXPECT_FALSE(listener.hasHeard(folder.at("outside")));
        EXPECT_FALSE(listener.hasHeardOfLoss());
        EXPECT_EQ(listener.problems(), Texts());
    });
}

TEST_P(EventStreamContract, MissesNothingInFoldersThatAppearQuickly) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        StreamListener listener(place);
        listener.start();
        Texts files;
        for (int i = 0; i < 60; ++i) {
            std::string below = "disk/";
            for (int level = 0; level < 5; ++level) {
                below += std::to_string(i) + "-" + std::to_string(level);
                files.push_back(folder.file(below + "/file"));
                below += '/';
            }
        }
        for (const std::string& file : files)
            EXPECT_TRUE(listener.hears(file)) << file;
        EXPECT_FALSE(listener.hasHeardOfLoss());
    });
}

TEST_P(EventStreamContract, KeepsTheBytesOfNames) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        StreamListener listener(place);
        listener.start();
        const bool holdsAnyName = tests::diskKind(std::get<0>(GetParam())).holdsAnyName;
        Texts names = {"._e\u0301te\u0301", "._" + std::string(253, 'n'), "\u6f22\u5b57"};
        if (holdsAnyName) {
            names.insert(names.end(), {"._new\nline", "._\x1b[31m", "._\xff\xfe", "\xff (deleted)"});
        } else {
            std::string wide;
            for (int i = 0; i < 255; ++i)
                wide += "\u6f22";
            names.push_back(wide);
        }
        for (const std::string& name : names) {
            folder.file("disk/" + name);
            folder.folder("disk/folder " + name.substr(0, 30));
            folder.file("disk/folder " + name.substr(0, 30) + "/in");
            EXPECT_TRUE(listener.hears(place + "/" + name)) << name;
            EXPECT_TRUE(listener.hears(place + "/folder " + name.substr(0, 30) + "/in")) << name;
        }
    });
}

TEST_P(EventStreamContract, LetsTheVolumeGoWhileItRuns) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        const auto& kind = tests::diskKind(std::get<0>(GetParam()));
        StreamListener listener([&] { return std::vector<Volume>{{place, kind.name, true, false, false}}; });
        listener.start();
        folder.file("disk/a/b");
        EXPECT_TRUE(listener.hears(folder.at("disk/a/b")));
        if (kind.name == "tmpfs") return;
        for (int round = 0; round < 5; ++round) {
            tests::unmountDisk(place);
            tests::mountAgain(kind, folder.at("image"), place);
            const std::string file = folder.file("disk/a/round " + std::to_string(round));
            EXPECT_TRUE(listener.hears(file)) << round;
        }
        EXPECT_FALSE(listener.hasHeardOfLoss());
        EXPECT_EQ(listener.problems(), Texts());
    });
}

TEST_P(EventStreamContract, SaysWhenTheKernelLostEvents) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        folder.folder("disk/0");
        StreamListener listener(place);
        listener.start();
        overflow(folder.at("disk/0"));
        EXPECT_TRUE(listener.hearsOfLoss(place));
        // Folders that were made meanwhile are watched as well.
        folder.folder("disk/0/later");
        EXPECT_TRUE(hearsInTheEnd(listener, folder.at("disk/0/later/file")));
    });
}

TEST_P(EventStreamContract, EndsInTheMiddleOfAStorm) {
    onDisk([](const TemporaryFolder& folder, const std::string& place) {
        StreamListener listener(place);
        listener.start();
        std::atomic<bool> isOver{false};
        std::thread writer([&] {
            for (int i = 0; !isOver; i = (i + 1) % 500)
                folder.file("disk/" + std::to_string(i % 7) + "/" + std::to_string(i));
        });
        EXPECT_TRUE(comesTrue([&] { return listener.batches().size() >= 2; }));
        listener.stop();
        const std::size_t delivered = listener.batches().size();
        for (int i = 0; i < 50; ++i)
            listener.queue->sync([] {});
        EXPECT_EQ(listener.batches().size(), delivered);
        isOver = true;
        writer.join();
    });
}

INSTANTIATE_TEST_SUITE_P(On, EventStreamContract,
                         ::testing::Combine(::testing::Values("ext4", "tmpfs", "exfat", "btrfs"), ::testing::Bool()),
                         [](const auto& parameter) {
                             return std::get<0>(parameter.param) +
                                    (std::get<1>(parameter.param) ? "WithAllRights" : "FolderByFolder");
                         });

TEST(EventStream, ReportsATreeThatIsMovedInAtOnce) {
    const TemporaryFolder folder;
    folder.folder("watched");
    folder.file("tree/a/b/c");
    folder.file("tree/._x");
    StreamListener listener(folder.at("watched"));
    listener.start();
    std::filesystem::rename(folder.at("tree"), folder.at("watched/tree"));
    EXPECT_TRUE(listener.hears(folder.at("watched/tree/a/b/c")));
    EXPECT_TRUE(listener.hears(folder.at("watched/tree/._x")));
    // Out again: what happens there is nobody's business.
    std::filesystem::rename(folder.at("watched/tree"), folder.at("tree"));
    folder.file("tree/a/later");
    folder.file("watched/end");
    EXPECT_TRUE(listener.hears(folder.at("watched/end")));
    EXPECT_FALSE(listener.hasHeard(folder.at("watched/tree/a/later")));
}

TEST(EventStream, KeepsWatchingFoldersThatChangePlaces) {
    const TemporaryFolder folder;
    folder.folder("a/in a");
    folder.folder("b/in b");
    StreamListener listener(folder.path());
    listener.start();
    const std::string a = folder.at("a");
    const std::string b = folder.at("b");
    ASSERT_EQ(::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE), 0);
    EXPECT_TRUE(listener.hears(folder.file("settled")));
    for (const char* name : {"a/x", "a/in b/x", "b/x", "b/in a/x"})
        EXPECT_TRUE(listener.hears(folder.file(name))) << name;
    EXPECT_FALSE(listener.hasHeardOfLoss());
}

TEST(EventStream, LetsTheFirstEventThroughAndGathersTheRest) {
    const TemporaryFolder folder;
    StreamListener listener(folder.path(), /*latency=*/1.5);
    listener.start();
    folder.folder("first");
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(listener.hears(folder.at("first")));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 1s) << "the first event of a quiet period comes at once";
    for (const char* name : {"second", "third", "fourth"})
        folder.folder(name);
    EXPECT_TRUE(listener.hears(folder.at("fourth")));
    EXPECT_EQ(listener.batches(), (std::vector<Texts>{{folder.at("first")},
                                                      {folder.at("second"), folder.at("third"), folder.at("fourth")}}));
}

TEST(EventStream, TellsOncePerBatchWhatHappensOften) {
    const TemporaryFolder folder;
    StreamListener listener(folder.path(), /*latency=*/0.5);
    listener.start();
    folder.folder("first");
    EXPECT_TRUE(listener.hears(folder.at("first")));
    for (int i = 0; i < 50; ++i)
        std::ofstream(folder.at("busy"), std::ios::app) << i << std::flush;
    EXPECT_TRUE(listener.hears(folder.at("busy")));
    EXPECT_EQ(listener.batches()[1], Texts{folder.at("busy")});
}

TEST(EventStream, FollowsTheVisibleVolumesAsTheyComeAndGo) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    for (const bool isAdministrator : {true, false}) {
        EXPECT_EQ(namespaces.run([&] {
            ASSERT_TRUE(isAdministrator || tests::dropSystemAdministration());
            tests::shell("mount -t tmpfs m /mnt && mkdir /mnt/one /mnt/two && mount -t tmpfs one /mnt/one");
            StreamListener listener([] { return VolumeList::targets(); });
            listener.start();
            std::ofstream("/mnt/one/file") << "x";
            EXPECT_TRUE(listener.hears("/mnt/one/file"));
            // Written before anybody can have heard of the mount.
            tests::shell("mount -t tmpfs two /mnt/two && mkdir -p /mnt/two/a/b && touch /mnt/two/a/b/early");
            EXPECT_TRUE(listener.hears("/mnt/two/a/b/early"));
            tests::shell("touch /mnt/two/a/b/late");
            EXPECT_TRUE(listener.hears("/mnt/two/a/b/late"));
            tests::shell("umount /mnt/two && touch /mnt/two/under && umount /mnt/one");
            EXPECT_TRUE(listener.hears("/mnt/two/under")) << "a folder of the volume below by now";
            listener.stop();
            tests::shell("umount /mnt");
        }),
                  0)
            << isAdministrator;
    }
}

TEST(EventStream, NamesTheRemedyAtTheLimitOfWatches) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to limit a namespace of its own";
    if (tests::hasThreadSanitizer) GTEST_SKIP() << "needs a process without the thread sanitizer's own thread";
    const TemporaryFolder folder;
    for (int i = 0; i < 20; ++i)
        folder.folder("v/" + std::to_string(i));
    EXPECT_EQ(tests::runInChild([&] {
                  ASSERT_EQ(::unshare(CLONE_NEWUSER), 0) << std::strerror(errno);
                  limitInotify("watches", 6);
                  StreamListener listener(folder.at("v"));
                  listener.start();
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
                  ASSERT_EQ(listener.problems().size(), 1U);
                  EXPECT_NE(listener.problems()[0].find("cannot watch all folders of " + folder.at("v")),
                            std::string::npos);
                  EXPECT_NE(listener.problems()[0].find("raise fs.inotify.max_user_watches"), std::string::npos);
                  // A new folder that cannot be watched is listed all the same, and the loss is told once more.
                  listener.forget();
                  folder.file("v/new/in/._x");
                  EXPECT_TRUE(listener.hears(folder.at("v/new")));
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
                  EXPECT_EQ(listener.problems().size(), 1U) << "the remedy is told once";
              }),
              0);
}

TEST(EventStream, WatchesAgainWhatHasRoomAgain) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to limit a namespace of its own";
    if (tests::hasThreadSanitizer) GTEST_SKIP() << "needs a process without the thread sanitizer's own thread";
    const TemporaryFolder folder;
    for (const char* name : {"v/1", "v/2", "v/3", "v/4", "v/5"})
        folder.folder(name);
    EXPECT_EQ(tests::runInChild([&] {
                  ASSERT_EQ(::unshare(CLONE_NEWUSER), 0) << std::strerror(errno);
                  limitInotify("watches", 3);
                  StreamListener listener(folder.at("v"));
                  listener.start();
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
                  limitInotify("watches", 6);
                  folder.folder("v/new/in/deep");
                  EXPECT_TRUE(listener.hears(folder.at("v/new/in/deep")));
                  EXPECT_TRUE(listener.hears(folder.file("v/new/in/deep/later")));
                  // A folder that gets the last one cannot hand it down.
                  listener.forget();
                  tests::shell("mkdir -p '" + folder.at("outside/in") + "' && rm -r '" + folder.at("v/new/in/deep") +
                               "' && mv '" + folder.at("outside") + "' '" + folder.at("v/last") + "'");
                  EXPECT_TRUE(listener.hears(folder.at("v/last/in")));
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
              }),
              0);
}

TEST(EventStream, BeginsAnewWithTheLastInstanceThatTheSystemGrants) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to limit a namespace of its own";
    if (tests::hasThreadSanitizer) GTEST_SKIP() << "needs a process without the thread sanitizer's own thread";
    EXPECT_EQ(tests::runInChild([] {
                  const TemporaryFolder folder;
                  folder.folder("v/in");
                  ASSERT_EQ(::unshare(CLONE_NEWUSER | CLONE_NEWNS), 0) << std::strerror(errno);
                  StreamListener listener(folder.at("v"));
                  listener.start();
                  limitInotify("instances", inotifyInstances());
                  overflow(folder.at("v/in"));
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
                  EXPECT_TRUE(hearsInTheEnd(listener, folder.at("v/in/later")));
                  EXPECT_EQ(listener.problems(), Texts());

                  // Where it is not granted, that is said, and tried again at the next mount.
                  limitInotify("instances", 0);
                  overflow(folder.at("v/in"));
                  EXPECT_TRUE(comesTrue([&] { return !listener.problems().empty(); }));
                  limitInotify("instances", 100);
                  const std::string other = folder.folder("other");
                  EXPECT_TRUE(comesTrue([&] {
                      tests::mountTmpfs(other);
                      tests::unmount(other);
                      folder.file("v/in/again");
                      return listener.hasHeard(folder.at("v/in/again"));
                  }));
              }),
              0);
}

TEST(EventStream, NamesAFolderThatCannotBeRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("v/closed/x");
    folder.folder("v/open");
    ::chmod(folder.at("v/open").c_str(), 0777);
    ::chmod(folder.at("v/closed").c_str(), 0700);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  StreamListener listener(folder.at("v"));
                  listener.start();
                  EXPECT_TRUE(listener.hearsOfLoss(folder.at("v")));
                  EXPECT_EQ(listener.problems(),
                            Texts{"cannot watch " + folder.at("v/closed") + ": Permission denied"});
                  folder.file("v/open/file");
                  EXPECT_TRUE(listener.hears(folder.at("v/open/file")));
              }),
              0);
}

TEST(EventStream, SeesWhatAMountHadHidden) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    EXPECT_EQ(namespaces.run([] {
        const TemporaryFolder folder;
        for (const char* name : {"v/early", "v/late"})
            folder.folder(name);
        // One is hidden when the watch begins; the other is made, and hidden, before anybody can look into it.
        tests::mountTmpfs(folder.at("v/early"));
        StreamListener listener(folder.at("v"));
        listener.start();
        tests::shell("mkdir '" + folder.at("v/late/box") + "' && mount -t tmpfs t '" + folder.at("v/late/box") + "'");
        EXPECT_TRUE(listener.hears(folder.at("v/late/box")));
        folder.file("v/early/inside");
        for (const char* name : {"v/early", "v/late/box"})
            tests::unmount(folder.at(name));
        folder.file("v/end");
        EXPECT_TRUE(listener.hears(folder.at("v/end")));
        for (const char* name : {"v/early/in/._x", "v/late/box/in/._x"}) {
            folder.file(name);
            EXPECT_TRUE(listener.hears(folder.at(name))) << name;
        }
        EXPECT_FALSE(listener.hasHeard(folder.at("v/early/inside"))) << "what lies behind a mount is of no concern";
        EXPECT_FALSE(listener.hasHeardOfLoss());
    }),
              0);
}

TEST(EventStream, SaysWhenTheFolderItselfIsGone) {
    const TemporaryFolder folder;
    folder.folder("v");
    StreamListener listener(folder.at("v"));
    listener.start();
    std::filesystem::remove(folder.at("v"));
    EXPECT_TRUE(comesTrue([&] { return !listener.problems().empty(); }));
    EXPECT_EQ(listener.problems(),
              Texts{folder.at("v") + " is gone; it is not watched until the watch is started anew"});
}

TEST(EventStream, GathersWhileTheHandlerIsBusy) {
    const TemporaryFolder folder;
    StreamListener listener(folder.path(), /*latency=*/0);
    std::mutex gate;
    gate.lock();
    std::atomic<int> batches{0};
    listener.onBatch = [&] {
        ++batches;
        const std::lock_guard wait(gate);
    };
    listener.start();
    folder.folder("first");
    EXPECT_TRUE(comesTrue([&] { return batches == 1; }));
    for (int i = 0; i < 300; ++i)
        folder.folder(std::to_string(i));
    EXPECT_EQ(batches, 1) << "one batch is out at a time";
    gate.unlock();
    EXPECT_TRUE(listener.hears(folder.at("299")));
}

TEST(MountNotifications, TellOfMountsTheLatestObserverFirst) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    EXPECT_EQ(namespaces.run([] {
        const TemporaryFolder folder;
        folder.folder("v");
        const auto mounts = MountNotifications::ofSystem();
        std::mutex mutex;
        std::string told;
        const auto tell = [&](char what) {
            return [&mutex, &told, what] {
                const std::lock_guard lock(mutex);
                told += what;
            };
        };
        const auto isTold = [&](const std::string& text) {
            return comesTrue([&] {
                const std::lock_guard lock(mutex);
                return told == text;
            });
        };
        mounts->add(MountNotifications::Kind::didMount, tell('1'));
        const auto second = mounts->add(MountNotifications::Kind::didMount, tell('2'));
        mounts->add(MountNotifications::Kind::didUnmount, tell('u'));
        tests::mountTmpfs(folder.at("v"));
        EXPECT_TRUE(isTold("21"));
        mounts->remove(second);
        tests::unmount(folder.at("v"));
        EXPECT_TRUE(isTold("21u"));
        tests::mountTmpfs(folder.at("v"));
        EXPECT_TRUE(isTold("21u1"));
        tests::unmount(folder.at("v"));
    }),
              0);
}

}  // namespace
}  // namespace varnel
