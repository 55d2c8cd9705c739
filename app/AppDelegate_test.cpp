// SPDX-License-Identifier: MIT
//
// The start, the end and the menu of the application.
#include "app/AppDelegate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/StatusMenu.h"
#include "core/base/SerialQueue.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "tests/support/AppRig.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::AppRig;
using Texts = std::vector<std::string>;

TEST(AppLaunch, ShowsTheStatusItemAndOffersTheService) {
    AppRig rig;
    rig.app();
    EXPECT_TRUE(rig.desktop->calls.empty()) << "a delegate that was only made does nothing";
    EXPECT_EQ(rig.watchersMade, 0);
    EXPECT_FALSE(rig.app().isBusy());
    rig.app().applicationDidFinishLaunching();
    EXPECT_EQ(rig.desktop->calls, (Texts{"provideServices", "showStatusItem"}));
    EXPECT_EQ(
        rig.desktop->statusItems,
        (std::vector<StatusItem>{
            {.symbol = "sparkles", .accessibilityDescription = "Varnel", .isTemplate = true, .toolTip = "Varnel"}}));
    EXPECT_TRUE(rig.desktop->console.empty());
}

TEST(AppLaunch, StartsTheWatcherAsThePersonWantsIt) {
    const struct {
        const char* name;
        std::optional<bool> stored;
        bool isStarted;
        const char* line;
    } cases[] = {
        {"a new user", std::nullopt, true, "APP   launched (watcher on)"},
        {"switched on", true, true, "APP   launched (watcher on)"},
        {"switched off", false, false, "APP   launched (watcher off)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AppRig rig;
        if (c.stored) rig.desktop->preferences["watcherEnabled"] = *c.stored;
        rig.app().applicationDidFinishLaunching();
        EXPECT_EQ(rig.logged(), Texts{c.line}) << "starting is the watcher's own business, later";
        rig.runWatcher();
        EXPECT_EQ(rig.watchersMade, 1);
        EXPECT_EQ(rig.watcher->isRunning(), c.isStarted);
        EXPECT_TRUE(rig.watcher->onDelete) << "heard also when it is started later";
        EXPECT_EQ(rig.desktop->preferences.contains("watcherEnabled"), c.stored.has_value()) << "only read";
    }
}

TEST(AppLaunch, ReadsTheSettingAfreshForTheLine) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    EXPECT_EQ(rig.desktop->preferenceReads, 2);
}

TEST(AppLaunch, MakesTheWatcherOnceWithTheStandardRules) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.app().menuNeedsUpdate();
    rig.perform(MenuAction::toggleWatcher);
    rig.perform(MenuAction::toggleWatcher);
    rig.app().applicationWillTerminate();
    EXPECT_EQ(rig.watchersMade, 1);
    EXPECT_EQ(rig.watcherRules.rules, RuleSet::standard().rules);
    EXPECT_EQ(rig.watcherRules.protectedExtensions, RuleSet::standard().protectedExtensions);
    EXPECT_EQ(rig.watcherLatency, 0.25);
    EXPECT_EQ(rig.watcherLog, rig.ports.log);
}

TEST(AppLaunch, LogsWhatTheWatcherRemoves) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    const std::string litter = rig.tree.file("v/._a");
    rig.manualQueue->inside([&] { rig.stream.request.deliver(Texts{litter}, std::vector<std::uint32_t>{0}, 1); });
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_EQ(rig.logged(), (Texts{"APP   launched (watcher on)", "WATCH started latency=0.25s volumes=1",
                                   "WATCH appledouble  T/v/._a", "APP   deleted T/v/._a"}));
}

TEST(AppLaunch, LetsGoOfTheCallbackThatTheWatcherHadBefore) {
    AppRig rig;
    rig.app().menuNeedsUpdate();  // makes the watcher
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> before = held;
    rig.watcher->onDelete = [held = std::move(held)](const std::string&) {};
    ASSERT_FALSE(before.expired());
    rig.app().applicationDidFinishLaunching();
    EXPECT_TRUE(before.expired());
}

TEST(AppLaunch, WithoutALogShowsTheItemAndWatchesNothing) {
    AppRig rig(/*hasLog=*/false);
    rig.desktop->preferences["watcherEnabled"] = true;
    rig.app().applicationDidFinishLaunching();
    EXPECT_EQ(rig.desktop->calls, (Texts{"provideServices", "showStatusItem"}));
    EXPECT_EQ(rig.desktop->console, Texts{"Varnel: log unavailable"});
    EXPECT_EQ(rig.watchersMade, 0);
    EXPECT_EQ(rig.app().menuNeedsUpdate().front().title, "Varnel");
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_FALSE(rig.watcher->onDelete);
}

TEST(AppLaunch, GoesOnWithoutAWatcherWhereTheSystemHasNoThreadForIt) {
    AppRig rig;
    rig.hasThreads = false;
    rig.desktop->answers["Sweep all non-Mac volumes?"] = [] { return true; };
    rig.app().applicationDidFinishLaunching();
    EXPECT_EQ(rig.desktop->console, Texts{"Varnel: no watcher: the system has no thread for it"});
    EXPECT_EQ(rig.app().menuNeedsUpdate()[1].title, "Watcher removed 0 items this session");
    rig.perform(MenuAction::sweepAll);
    EXPECT_EQ(rig.desktop->alerts.back().message, "Could not begin");
    rig.perform(MenuAction::toggleWatcher);  // off
    rig.perform(MenuAction::toggleWatcher);  // on
    EXPECT_EQ(rig.desktop->alerts.size(), 3U);

    rig.hasThreads = true;
    rig.perform(MenuAction::toggleWatcher);
    rig.perform(MenuAction::toggleWatcher);
    rig.runWatcher();
    EXPECT_EQ(rig.desktop->alerts.size(), 3U);
    ASSERT_TRUE(rig.watcher->isRunning());
    EXPECT_TRUE(rig.watcher->onDelete);
    rig.hasThreads = false;
    rig.app().applicationWillTerminate();
    EXPECT_FALSE(rig.watcher->isRunning());
}

TEST(AppTermination, StopsTheWatcherAndWritesNothingItself) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.app().applicationWillTerminate();
    EXPECT_FALSE(rig.watcher->isRunning());
    EXPECT_EQ(rig.stream.stopped, 1);
    EXPECT_EQ(rig.logged(),
              (Texts{"APP   launched (watcher on)", "WATCH started latency=0.25s volumes=1", "WATCH stopped"}));
    EXPECT_FALSE(rig.desktop->preferences.contains("watcherEnabled"));
}

TEST(AppTermination, MakesAWatcherInOrderToStopIt) {
    AppRig rig(/*hasLog=*/false);
    rig.app().applicationWillTerminate();
    EXPECT_EQ(rig.watchersMade, 1);
    EXPECT_FALSE(rig.watcher->isRunning());
}

TEST(AppTermination, WritesTheLogToTheEnd) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.app().applicationWillTerminate();
    EXPECT_NE(rig.tree.contents("log/varnel.log").find("APP   launched"), std::string::npos)
        << "without anybody's flush";
}

TEST(AppTermination, DoesNotWaitForEverForAWatcherAtWork) {
    AppRig rig;
    std::promise<void> release;
    const auto queue = SerialQueue::create("held");
    rig.watcherQueue = queue;
    rig.ports.patience = 20ms;
    rig.app().applicationDidFinishLaunching();
    queue->async([released = release.get_future().share()] { released.wait(); });
    rig.app().applicationWillTerminate();
    EXPECT_EQ(rig.stream.stopped, 0) << "it could not stop yet";
    release.set_value();
    EXPECT_TRUE(tests::comesTrue([&] { return !rig.watcher->isRunning(); })) << "and does later";
    queue->sync([] {});
}

TEST(AppMenu, TellsOfTheMomentAtWhichItOpens) {
    AppRig rig;
    rig.targets.clear();
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].title, "No non-Mac volumes mounted");
    EXPECT_EQ(rig.watchersMade, 1) << "the counter is the watcher's";
    EXPECT_FALSE(rig.watcher->isRunning());

    rig.targets = {{"/Volumes/USB", "exfat", true, true, false}};
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].title, "USB — exfat, local");
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].submenu.size(), 3U);

    rig.desktop->preferences["watcherEnabled"] = false;
    rig.desktop->isLoginItem = true;
    const StatusMenu menu = rig.app().menuNeedsUpdate();
    EXPECT_EQ(menu[8].title, "Watcher: Off");
    EXPECT_EQ(menu[8].checkState, MenuItem::CheckState::off);
    EXPECT_EQ(menu[9].checkState, MenuItem::CheckState::on);
}

TEST(AppMenu, ShowsTheVolumesThatWereSeenLastWhereAServerDoesNotAnswer) {
    std::promise<void> release;
    const auto isDead = std::make_shared<std::atomic<bool>>(false);
    AppRig rig;
    rig.ports.menuPatience = 1s;
    rig.ports.targets = [isDead, released = release.get_future().share()] {
        if (*isDead) released.wait();
        return std::vector<Volume>{{"/Volumes/USB", "exfat", true, true, false}};
    };
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].title, "USB — exfat, local");
    *isDead = true;
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].title, "USB — exfat, local");
    release.set_value();
}

TEST(AppMenu, WaitsForTheFirstListOfVolumes) {
    std::promise<void> never;
    AppRig rig;
    rig.ports.menuPatience = 1ms;
    rig.ports.targets = [late = never.get_future().share()] {
        late.wait_for(200ms);  // as a disk does that has to spin up
        return std::vector<Volume>{{"/Volumes/USB", "exfat", true, true, false}};
    };
    EXPECT_EQ(rig.app().menuNeedsUpdate()[3].title, "USB — exfat, local");
}

TEST(AppMenu, ShowsANewUserThatTheWatcherIsOn) {
    AppRig rig;
    const StatusMenu menu = rig.app().menuNeedsUpdate();
    EXPECT_EQ(menu[8].title, "Watcher: On");
    EXPECT_EQ(menu[8].checkState, MenuItem::CheckState::on);
}

TEST(AppMenu, CountsWhatTheWatcherRemoved) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    EXPECT_EQ(rig.app().menuNeedsUpdate()[1].title, "Watcher removed 0 items this session");
    for (const char* name : {"v/._a", "v/.DS_Store"}) {
        const std::string litter = rig.tree.file(name);
        rig.manualQueue->inside([&] { rig.stream.request.deliver(Texts{litter}, std::vector<std::uint32_t>{0}, 1); });
    }
    EXPECT_EQ(rig.app().menuNeedsUpdate()[1].title, "Watcher removed 2 items this session");
}

TEST(AppThreads, StopTheProcessWhereTheApplicationIsTouchedOffTheMainThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::function<void(AppDelegate&)> calls[] = {
        [](AppDelegate& app) { app.applicationDidFinishLaunching(); },
        [](AppDelegate& app) { app.applicationWillTerminate(); },
        [](AppDelegate& app) { app.menuNeedsUpdate(); },
        [](AppDelegate& app) { app.perform(MenuAction::quit, std::nullopt); },
        [](AppDelegate& app) { app.cleanUsingVarnel({}); },
    };
    for (const auto& call : calls) {
        EXPECT_DEATH(
            {
                AppRig rig;
                AppDelegate& app = rig.app();
                std::thread([&] { call(app); }).join();
            },
            "off the main thread");
    }
}

}  // namespace
}  // namespace varnel
