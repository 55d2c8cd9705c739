// SPDX-License-Identifier: MIT
//
// The application on the system itself, with a home folder of its own.
#include "app/AppPorts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "app/AppDelegate.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/volumes/VolumeList.h"
#include "tests/support/Environment.h"
#include "tests/support/RecordingDesktop.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;

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
