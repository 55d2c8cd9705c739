// SPDX-License-Identifier: MIT
//
// Volumes that come and go, also faster than anybody looks, on kernels that tell one mount from the next by number and
// on those that give a number out again at once.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/MountNotifications.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Shortages.h"
#include "tests/support/StreamListener.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"
#include "tests/support/WithoutUniqueMounts.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::age;
using tests::comesTrue;
using tests::NoDescriptors;
using tests::StreamListener;
using tests::TemporaryFolder;
using Kind = MountNotifications::Kind;

/// Lets whoever passes wait while it is closed.
class Gate {
public:
    void close() { mutex_.lock(); }
    void open() { mutex_.unlock(); }
    void pass() {
        ++arrived_;
        const std::lock_guard wait(mutex_);
    }
    bool isReached(int times) const {
        return comesTrue([&] { return arrived_ >= times; });
    }
    int arrived() const { return arrived_; }

private:
    std::mutex mutex_;
    std::atomic<int> arrived_{0};
};

/// What the system said of mounts, "u" and "m", in order.
class Words {
public:
    explicit Words(Gate* gate = nullptr) {
        mounts->add(Kind::didMount, [this, gate] { note('m', gate); });
        mounts->add(Kind::didUnmount, [this, gate] { note('u', gate); });
    }

    std::string text() const {
        const std::lock_guard lock(mutex_);
        return words_;
    }
    bool become(const std::string& text) const {
        return comesTrue([&] { return this->text() == text; });
    }

private:
    void note(char word, Gate* gate) {
        {
            const std::lock_guard lock(mutex_);
            words_ += word;
        }
        if (gate != nullptr) gate->pass();
    }

    mutable std::mutex mutex_;
    std::string words_;
    std::shared_ptr<MountNotifications> mounts = MountNotifications::ofSystem();
};

void privately(const std::function<void(const TemporaryFolder&)>& body) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    EXPECT_EQ(namespaces.run([&] {
        const TemporaryFolder folder;
        body(folder);
    }),
              0);
}

/// A volume is held for the moment in which its events are looked up.
void unmountSoon(const std::string& place) {
    EXPECT_TRUE(comesTrue([&] { return ::umount2(place.c_str(), 0) == 0; })) << place;
}

void remount(const std::string& place) {
    unmountSoon(place);
    tests::mountTmpfs(place);
}

TEST(MountNotifications, KeepWhatIsKnownWhileTheTableCannotBeRead) {
    privately([](const TemporaryFolder& folder) {
        const std::string place = folder.folder("v");
        const Words words;
        {
            const NoDescriptors shortage;
            tests::mountTmpfs(place);
            EXPECT_FALSE(comesTrue([&] { return !words.text().empty(); }, 300ms));
        }
        EXPECT_TRUE(words.become("m")) << "it is read again in a while";
        tests::unmount(place);
    });
}

class Remounts : public ::testing::TestWithParam<bool> {
protected:
    void privately(const std::function<void(const TemporaryFolder&)>& body) {
        varnel::privately([&](const TemporaryFolder& folder) {
            if (!GetParam()) tests::takeUniqueMountsAway();
            body(folder);
        });
    }
};

TEST_P(Remounts, AreToldThoughNobodyLookedInBetween) {
    privately([](const TemporaryFolder& folder) {
        const std::string place = folder.folder("v");
        const std::string other = folder.folder("other");
        tests::mountTmpfs(place);
        Gate gate;
        gate.close();
        const Words words(&gate);
        tests::mountTmpfs(other);
        EXPECT_TRUE(gate.isReached(1));
        remount(place);
        gate.open();
        EXPECT_TRUE(words.become("mum"));
        unmountSoon(place);
        unmountSoon(other);
    });
}

/// With the rights to watch a file system at once, and without.
void withAllRightsAndFolderByFolder(const std::function<void(bool hasAllRights)>& body) {
    for (const bool hasAllRights : {true, false}) {
        SCOPED_TRACE(hasAllRights ? "with all rights" : "folder by folder");
        body(hasAllRights);
    }
}

/// A running listener whose threads have those rights or not; the test itself goes on mounting.
std::unique_ptr<StreamListener> listening(bool hasAllRights, std::function<std::vector<Volume>()> volumes) {
    std::unique_ptr<StreamListener> listener;
    std::thread([&] {
        EXPECT_TRUE(hasAllRights || tests::dropSystemAdministration());
        listener = std::make_unique<StreamListener>(std::move(volumes));
    }).join();
    listener->start();
    return listener;
}

/// A volume at `place`, whatever is mounted there.
std::vector<Volume> volumeAt(const std::string& place) {
    return {{place, "tmpfs", true, false, false}};
}

TEST_P(Remounts, AreFollowedThoughNobodyLookedInBetween) {
    privately([](const TemporaryFolder&) {
        withAllRightsAndFolderByFolder([](bool hasAllRights) {
            const TemporaryFolder folder;
            const std::string place = folder.folder("v");
            const std::string other = folder.folder("other");
            tests::mountTmpfs(place);
            Gate gate;
            const auto listener = listening(hasAllRights, [&] {
                gate.pass();
                return volumeAt(place);
            });
            const int before = gate.arrived();
            gate.close();
            tests::mountTmpfs(other);
            EXPECT_TRUE(gate.isReached(before + 1));
            remount(place);
            folder.file("v/a/early");
            gate.open();
            EXPECT_TRUE(listener->hears(folder.at("v/a/early")));
            for (int round = 0; round < 20; ++round) {
                remount(place);
                const std::string file = folder.file("v/a/" + std::to_string(round));
                EXPECT_TRUE(listener->hears(file)) << file;
            }
            EXPECT_EQ(listener->problems(), StreamListener::Texts());
            listener->stop();
            unmountSoon(place);
            unmountSoon(other);
        });
    });
}

TEST_P(Remounts, OfAnotherFolderAreFollowed) {
    privately([](const TemporaryFolder&) {
        withAllRightsAndFolderByFolder([](bool hasAllRights) {
            const TemporaryFolder folder;
            const std::string place = folder.folder("v");
            const std::string other = folder.folder("other");
            tests::bindMount(folder.folder("0"), place);
            Gate gate;
            const auto listener = listening(hasAllRights, [&] {
                gate.pass();
                return volumeAt(place);
            });
            for (int round = 1; round < 5; ++round) {
                const int before = gate.arrived();
                gate.close();
                tests::mountTmpfs(other);
                EXPECT_TRUE(gate.isReached(before + 1));
                unmountSoon(place);
                tests::bindMount(folder.folder(std::to_string(round)), place);
                const std::string file = folder.file("v/" + std::to_string(round));
                gate.open();
                EXPECT_TRUE(listener->hears(file)) << file;
                unmountSoon(other);
            }
            listener->stop();
            unmountSoon(place);
        });
    });
}

TEST_P(Remounts, AreReportedSinceTheMountHoweverLateTheirWordIs) {
    privately([](const TemporaryFolder&) {
        withAllRightsAndFolderByFolder([](bool hasAllRights) {
            tests::shell("mount -t tmpfs m /mnt && mkdir /mnt/one /mnt/two");
            Gate gate;
            const auto listener = listening(hasAllRights, [&] {
                auto volumes = VolumeList::targets();
                gate.pass();
                return volumes;
            });
            const int before = gate.arrived();
            gate.close();
            tests::mountTmpfs("/mnt/one");
            EXPECT_TRUE(gate.isReached(before + 1));
            tests::shell(
                "mount -t tmpfs two /mnt/two && mkdir /mnt/two/new /mnt/two/old && "
                "touch /mnt/two/new/early /mnt/two/old/before");
            age("/mnt/two/old");
            // The system's word comes within a second when nobody holds it up.
            const auto now = std::chrono::steady_clock::now();
            comesTrue([&] { return std::chrono::steady_clock::now() > now + 1500ms; });
            gate.open();
            EXPECT_TRUE(listener->hears("/mnt/two/new/early"));
            tests::shell("touch /mnt/two/old/after");
            EXPECT_TRUE(listener->hears("/mnt/two/old/after"));
            EXPECT_FALSE(listener->hasHeard("/mnt/two/old/before"));
            listener->stop();
            for (const char* place : {"/mnt/one", "/mnt/two", "/mnt"})
                unmountSoon(place);
        });
    });
}

INSTANTIATE_TEST_SUITE_P(OnKernels, Remounts, ::testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "From6_8" : "Before6_8"; });

}  // namespace
}  // namespace varnel
