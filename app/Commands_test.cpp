// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "app/Alert.h"
#include "app/AppDelegate.h"
#include "app/Desktop.h"
#include "app/Pasteboard.h"
#include "app/StatusMenu.h"
#include "core/base/SerialQueue.h"
#include "tests/support/AppRig.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::AppRig;
using Texts = std::vector<std::string>;

const std::string sweepQuestion = "Sweep all non-Mac volumes?";

TEST(ChooseFolder, ShowsAPanelAndCleansWhatIsChosen) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.desktop->chosen = rig.root + "/";
    rig.perform(MenuAction::chooseFolder);
    EXPECT_EQ(rig.desktop->panels, (std::vector<OpenPanel>{{.canChooseDirectories = true,
                                                            .canChooseFiles = true,
                                                            .allowsMultipleSelection = false,
                                                            .prompt = "Clean",
                                                            .message = "Choose a folder or volume to clean"}}));
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), Texts{"Clean " + rig.root + "?"}) << "it asks";
    EXPECT_TRUE(rig.tree.has("v/._a"));
    EXPECT_TRUE(rig.ejected.empty());
}

TEST(ChooseFolder, DoesNothingWhenThePanelIsCancelled) {
    AppRig rig;
    rig.perform(MenuAction::chooseFolder);
    EXPECT_EQ(rig.desktop->calls, Texts{"choose"});
    EXPECT_FALSE(rig.app().isBusy());
}

TEST(ChooseFolder, ShowsThePanelAlsoWhileAFlowIsAtWork) {
    AppRig rig;
    rig.request(rig.root);
    rig.desktop->chosen = rig.root;
    rig.perform(MenuAction::chooseFolder);
    EXPECT_EQ(rig.desktop->calls, Texts{"choose"});
    EXPECT_EQ(rig.desktop->waitingInBackground(), 1U) << "but drops the choice";
}

TEST(SweepAll, AsksAndSweepsEveryWatchedVolume) {
    AppRig rig;
    rig.targets.push_back({rig.tree.folder("w"), "vfat", true, true, false});
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.tree.file("v/.DS_Store");
    rig.tree.file("w/._b");
    rig.desktop->accept(sweepQuestion);
    rig.perform(MenuAction::sweepAll);
    EXPECT_EQ(rig.desktop->alerts,
              (std::vector<Alert>{{.message = sweepQuestion,
                                   .informativeText = "Scans every mounted non-Mac volume with the live rule set. This "
                                                      "can take a while on network shares.",
                                   .buttons = {"Sweep", "Cancel"}}}));
    EXPECT_TRUE(rig.tree.has("v/.DS_Store")) << "the watcher's queue does it";
    rig.runWatcher();
    EXPECT_FALSE(rig.tree.has("v/.DS_Store"));
    EXPECT_FALSE(rig.tree.has("w/._b"));
    EXPECT_EQ(rig.desktop->alerts.size(), 1U) << "no result is shown";
    EXPECT_EQ(rig.app().menuNeedsUpdate()[1].title, "Watcher removed 2 items this session");
}

TEST(SweepAll, DoesNothingWithoutAYes) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.tree.file("v/.DS_Store");
    rig.desktop->decline(sweepQuestion);
    rig.perform(MenuAction::sweepAll);
    rig.runWatcher();
    EXPECT_TRUE(rig.tree.has("v/.DS_Store"));
}

TEST(SweepAll, DoesNotLookAtWhatIsGoingOn) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.request(rig.root);
    ASSERT_TRUE(rig.app().isBusy());
    rig.tree.file("v/.DS_Store");
    rig.desktop->accept(sweepQuestion);
    rig.perform(MenuAction::sweepAll);
    rig.runWatcher();
    EXPECT_FALSE(rig.tree.has("v/.DS_Store"));
    EXPECT_TRUE(rig.app().isBusy());
}

TEST(SweepAll, FindsNoVolumesWhereTheWatcherNeverRan) {
    AppRig rig;
    rig.desktop->preferences["watcherEnabled"] = false;
    rig.app().applicationDidFinishLaunching();
    rig.tree.file("v/.DS_Store");
    rig.desktop->accept(sweepQuestion);
    rig.perform(MenuAction::sweepAll);
    rig.runWatcher();
    EXPECT_TRUE(rig.tree.has("v/.DS_Store"));
}

TEST(ToggleWatcher, SwitchesThereAndBackWithALineEach) {
    AppRig rig;
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.desktop->calls.clear();
    rig.perform(MenuAction::toggleWatcher);
    EXPECT_FALSE(rig.watcher->isRunning()) << "stopped when the call returns";
    rig.perform(MenuAction::toggleWatcher);
    rig.runWatcher();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_EQ(rig.desktop->calls, (Texts{"setPreference watcherEnabled false", "setPreference watcherEnabled true"}));
    EXPECT_EQ(rig.logged(),
              (Texts{"APP   launched (watcher on)", "WATCH started latency=0.25s volumes=1", "WATCH stopped",
                     "APP   watcher off", "APP   watcher on", "WATCH started latency=0.25s volumes=1"}));
}

TEST(ToggleWatcher, SwitchesOnWhatWasStoredAsOff) {
    AppRig rig;
    rig.desktop->preferences["watcherEnabled"] = false;
    rig.app().applicationDidFinishLaunching();
    rig.perform(MenuAction::toggleWatcher);
    rig.runWatcher();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_TRUE(rig.desktop->preferences.at("watcherEnabled"));
}

TEST(ToggleWatcher, ReadsTheSettingThreeTimes) {
    AppRig rig;
    rig.perform(MenuAction::toggleWatcher);
    EXPECT_EQ(rig.desktop->preferenceReads, 3);
}

TEST(ToggleWatcher, SwitchesOnWithoutALogToo) {
    AppRig rig(/*hasLog=*/false);
    rig.desktop->preferences["watcherEnabled"] = false;
    rig.app().applicationDidFinishLaunching();
    rig.perform(MenuAction::toggleWatcher);
    rig.runWatcher();
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_FALSE(rig.watcher->onDelete);
}

TEST(ToggleWatcher, KeepsTheMenuAliveWhileASweepIsAtWork) {
    AppRig rig;
    std::promise<void> release;
    const auto queue = SerialQueue::create("held");
    rig.watcherQueue = queue;
    rig.ports.menuPatience = 20ms;
    rig.app().applicationDidFinishLaunching();
    queue->async([released = release.get_future().share()] { released.wait(); });
    const auto begun = std::chrono::steady_clock::now();
    rig.perform(MenuAction::toggleWatcher);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, rig.ports.patience) << "that is for quitting";
    EXPECT_TRUE(rig.watcher->isRunning());
    EXPECT_FALSE(rig.desktop->preferences.at("watcherEnabled"));
    release.set_value();
    EXPECT_TRUE(tests::comesTrue([&] { return !rig.watcher->isRunning(); }));
    queue->sync([] {});
    const Texts lines = rig.logged();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ((Texts{lines[2], lines[3]}), (Texts{"APP   watcher off", "WATCH stopped"}))
        << "the wish, and then what came of it";
}

TEST(ToggleLoginItem, RegistersOrUnregistersByTheSystemsWord) {
    AppRig rig;
    rig.perform(MenuAction::toggleLoginItem);
    EXPECT_TRUE(rig.desktop->isLoginItem);
    rig.perform(MenuAction::toggleLoginItem);
    EXPECT_FALSE(rig.desktop->isLoginItem);
    EXPECT_EQ(rig.desktop->calls, (Texts{"register at login", "unregister at login"}));
    EXPECT_TRUE(rig.logged().empty());
}

TEST(ToggleLoginItem, ShowsWhyItCouldNot) {
    AppRig rig;
    rig.desktop->loginItemFailure = LoginItemFailure{.reason = "Operation not permitted"};
    rig.perform(MenuAction::toggleLoginItem);
    EXPECT_EQ(rig.desktop->alerts,
              (std::vector<Alert>{{.message = "Could not change login item",
                                   .informativeText = "Operation not permitted\n\nThis only works when Varnel is "
                                                      "installed in /Applications.",
                                   .buttons = {"OK"}}}));
    EXPECT_TRUE(rig.logged().empty());
    EXPECT_EQ(rig.app().menuNeedsUpdate()[9].checkState, MenuItem::CheckState::off);
}

TEST(ToggleLoginItem, GivesThePlatformsOwnAdvice) {
    AppRig rig;
    rig.desktop->loginItemFailure = LoginItemFailure{.reason = "Disk full", .advice = ""};
    rig.perform(MenuAction::toggleLoginItem);
    EXPECT_EQ(rig.desktop->alerts.at(0).informativeText, "Disk full");
}

TEST(ShowLog, OpensTheFile) {
    AppRig rig;
    rig.perform(MenuAction::showLog);
    EXPECT_EQ(rig.desktop->calls, Texts{"openFile " + rig.tree.at("log/varnel.log")});
}

TEST(ShowLog, DoesNothingWithoutALog) {
    AppRig rig(/*hasLog=*/false);
    rig.perform(MenuAction::showLog);
    EXPECT_TRUE(rig.desktop->calls.empty());
}

TEST(Quit, AsksTheDesktopToEndAndIgnoresTheRepresentedObject) {
    AppRig rig;
    rig.perform(MenuAction::quit, "q");
    rig.perform(MenuAction::quit);
    EXPECT_EQ(rig.desktop->calls, (Texts{"terminate", "terminate"}));
    EXPECT_EQ(rig.watchersMade, 0) << "ending is the desktop's to begin";
}

// Which file a pasteboard leads to shows in the question that is asked, or in the refusal of it.
TEST(Service, TakesTheFirstFormOfThePasteboardThatNamesAFile) {
    const struct {
        const char* name;
        Pasteboard pasteboard;
        Texts refused;
    } cases[] = {
        {"nothing", {{}, std::nullopt}, {}},
        {"a list of another kind", {{std::nullopt}, std::nullopt}, {}},
        {"an empty list", {{}, Texts{}}, {}},
        {"URLs in their order", {{"file:///usr/a", "file:///etc"}, std::nullopt}, {"/usr/a", "/etc"}},
        {"an item without a URL", {{std::nullopt, "file:///usr"}, std::nullopt}, {"/usr"}},
        {"an item that is no URL", {{"no url", "file:///usr"}, Texts{"/etc"}}, {"/usr"}},
        {"URLs and names", {{"file:///usr"}, Texts{"/etc", "/var"}}, {"/usr"}},
        {"no URL but names", {{"no url", std::nullopt}, Texts{"/etc", "/var"}}, {"/etc", "/var"}},
        {"names alone", {{}, Texts{"/etc"}}, {"/etc"}},
        {"escapes", {{"file:///usr/a%20b"}, std::nullopt}, {"/usr/a b"}},
        {"a name that only looks escaped", {{}, Texts{"/usr/a%20b"}}, {"/usr/a%20b"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AppRig rig;
        rig.app().cleanUsingVarnel(c.pasteboard);
        Texts refused;
        for (const Alert& alert : rig.desktop->alerts) {
            EXPECT_EQ(alert.message, "Refused");
            refused.push_back(alert.informativeText.substr(0, alert.informativeText.find(" is a protected")));
        }
        EXPECT_EQ(refused, c.refused);
        EXPECT_FALSE(rig.app().isBusy());
    }
}

TEST(Service, CleansTheFirstFileThatMayBeCleanedAndDropsTheRest) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.tree.file("w/._b");
    rig.desktop->accept("Clean " + rig.root + "?");
    rig.app().cleanUsingVarnel(
        {.fileURLs = {"file:///usr", "file://" + rig.root, "file:///etc", "file://" + rig.tree.at("w")},
         .fileNames = std::nullopt});
    EXPECT_EQ(rig.desktop->messages(), Texts{"Refused"}) << "the one before; what follows is not even refused";
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), (Texts{"Refused", "Clean " + rig.root + "?", "Clean finished"}));
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_TRUE(rig.tree.has("w/._b"));
    EXPECT_TRUE(rig.ejected.empty());
}

TEST(Service, GoesOnAfterAMacFormatThatIsDeclined) {
    AppRig rig;
    rig.fileSystemType = "hfs";
    rig.desktop->decline(rig.root + " is on a hfs volume", [&] { rig.fileSystemType = "exfat"; });
    const std::string other = rig.tree.folder("w");
    rig.app().cleanUsingVarnel({.fileURLs = {}, .fileNames = {{rig.root, other}}});
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->settle();
    EXPECT_EQ(rig.typesAsked, (Texts{rig.root, other}));
    EXPECT_EQ(rig.desktop->messages(), (Texts{rig.root + " is on a hfs volume", "Nothing to clean"}));
}

}  // namespace
}  // namespace varnel
