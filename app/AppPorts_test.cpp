// SPDX-License-Identifier: MIT
//
// The application on the system itself, with a home folder of its own.
#include "app/AppPorts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/volumes/VolumeList.h"
#include "tests/support/Environment.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/RecordingDesktop.h"
#include "tests/support/SystemBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::LoopDevice;
using tests::RealUDisks;
using tests::SystemBus;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

struct SystemRig {
    tests::TemporaryFolder home;
    tests::Environment environment{"HOME", home.path()};
    std::shared_ptr<tests::RecordingDesktop> desktop = std::make_shared<tests::RecordingDesktop>();
    AppPorts ports = AppPorts::ofSystem(desktop);

    static constexpr const char* log = "Library/Logs/Varnel/varnel.log";
};

TEST(AppPorts, AreTheSystemsOwn) {
    const SystemRig rig;
    ASSERT_TRUE(rig.ports.log);
    EXPECT_EQ(rig.ports.log->path(), rig.home.at(SystemRig::log));
    EXPECT_EQ(rig.ports.targets(), VolumeList::targets());
    EXPECT_EQ(rig.ports.fileSystemType(rig.home.path()), FSInfo::type(rig.home.path()));
    EXPECT_EQ(rig.ports.patience, 5s);
    EXPECT_EQ(rig.ports.menuPatience, 1s);
}

TEST(AppPorts, HaveNoLogWhereNoneCanBeOpened) {
    const tests::TemporaryFolder home;
    home.file("Library");
    const tests::Environment environment("HOME", home.path());
    EXPECT_FALSE(AppPorts::ofSystem(std::make_shared<tests::RecordingDesktop>()).log);
}

TEST(AppPorts, MakeAWatcherThatRestsUntilItIsStarted) {
    const SystemRig rig;
    const auto watcher = rig.ports.createWatcher(RuleSet::standard(), 0.25, rig.ports.log);
    ASSERT_TRUE(watcher);
    EXPECT_FALSE(watcher->isRunning());
    watcher->stop();
    rig.ports.log->flush();
    EXPECT_EQ(rig.home.contents(SystemRig::log), "");
}

TEST(AppPorts, EjectNothingThatIsNoVolume) {
    const SystemRig rig;
    const auto ejected = rig.ports.eject(rig.home.folder("folder"), /*force=*/false);
    ASSERT_FALSE(ejected);
    EXPECT_EQ(ejected.error().message, "It is not a mounted volume.");
}

/// Runs `body` in a mount namespace of its own, with a device on /media/card once `prepare` has run.
template <typename Prepare>
void withCard(Prepare prepare, const std::function<void(const LoopDevice&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const TemporaryFolder folder;
    const LoopDevice device(folder.at("image"));
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/media");
        const auto udisks = prepare(folder, device);
        tests::shell("mkdir /media/card && mount " + device.path() + " /media/card && touch /media/card/._a");
        body(device);
    }),
              0);
}

TEST(AppPorts, EjectAMountedVolume) {
    if (const std::string missing = SystemBus::missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    SystemBus* seen = nullptr;
    withCard(
        [&](const TemporaryFolder& folder, const LoopDevice& device) {
            auto bus = std::make_unique<SystemBus>(folder.path());
            bus->startUDisks({{"drives", {{"stick", {{"CanPowerOff", true}, {"Ejectable", false}}}}},
                              {"blocks", {{"disk", {{"number", device.number()}, {"drive", "stick"}}}}},
                              {"do", {{"Unmount disk", "umount " + device.path()}}},
                              {"failures", {{"PowerOff stick", {"one", "two"}}}}});
            seen = bus.get();
            return bus;
        },
        [&](const LoopDevice& device) {
            const SystemRig rig;
            const auto inside = rig.ports.eject("/media/card/lost+found", /*force=*/false);
            ASSERT_FALSE(inside);
            EXPECT_EQ(inside.error().message, "It is not a mounted volume.");
            EXPECT_EQ(seen->calls(), Texts{});
            const auto stays = rig.ports.eject("/media/card", /*force=*/true);
            ASSERT_FALSE(stays);
            EXPECT_EQ(stays.error().message, "two");
            tests::shell("mount " + device.path() + " /media/card");
            EXPECT_TRUE(rig.ports.eject("/media/card", /*force=*/false));
            EXPECT_EQ(seen->calls(), (Texts{"Unmount disk force", "PowerOff stick", "PowerOff stick", "Unmount disk",
                                            "PowerOff stick"}));
        });
}

TEST(AppOnTheSystem, EjectsTheVolumeThatItCleaned) {
    if (const std::string missing = RealUDisks::missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    withCard(
        [](const TemporaryFolder& folder, const LoopDevice& device) {
            auto udisks = std::make_unique<RealUDisks>(folder.path());
            RealUDisks::add(device);
            return udisks;
        },
        [](const LoopDevice& device) {
            ASSERT_TRUE(RealUDisks::knowsMount(device.path(), "/media/card"));
            const SystemRig rig;
            const auto app = AppDelegate::create(rig.desktop, rig.ports);
            rig.desktop->accept("Clean /media/card?");
            app->perform(MenuAction::cleanAndEject, "/media/card");
            rig.desktop->settle();
            EXPECT_EQ(rig.desktop->alerts.back().informativeText, "removed 1 items, Zero KB\n\nEjected.");
            EXPECT_FALSE(FSInfo::isMountPoint("/media/card"));
            EXPECT_TRUE(device.isFreed());
        });
}

TEST(AppOnTheSystem, LaunchesWatchesCleansAndEnds) {
    if (!VolumeList::targets().empty()) GTEST_SKIP() << "there are volumes here that the watcher would clean";
    const SystemRig rig;
    const tests::TemporaryFolder tree;
    tree.file("._a");
    const auto app = AppDelegate::create(rig.desktop, rig.ports);
    app->applicationDidFinishLaunching();
    EXPECT_EQ(app->menuNeedsUpdate()[1].title, "Watcher removed 0 items this session");
    app->perform(MenuAction::scanVolume, tree.path());
    rig.desktop->settle();
    EXPECT_FALSE(tree.has("._a"));
    EXPECT_TRUE(tests::comesTrue([&] {
        rig.ports.log->flush();
        return rig.home.contents(SystemRig::log).find("WATCH started latency=0.25s volumes=0\n") != std::string::npos;
    }));
    app->applicationWillTerminate();
    const std::string log = rig.home.contents(SystemRig::log);
    EXPECT_NE(log.find(" APP   launched (watcher on)\n"), std::string::npos) << log;
    EXPECT_NE(log.find(" DEL   appledouble  " + tree.at("._a") + "\n"), std::string::npos) << log;
    EXPECT_TRUE(log.ends_with(" WATCH stopped\n")) << log;
}

}  // namespace
}  // namespace varnel
