// SPDX-License-Identifier: MIT
//
// The application from its launch to its end, as AppKit drives it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/volumes/VolumeList.h"
#include "platform/macos/ObjectiveC.h"
#include "tests/macos/DesktopRig.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using ObjectiveC::string;
using ObjectiveC::text;
using Fakes::pasteboard;
using tests::DesktopRig;
using Texts = std::vector<std::string>;

/// One line for each entry: title, then what is said of it.
void describe(NSMenu* menu, const std::string& indent, id target, Texts& lines) {
    for (NSMenuItem* item in [menu itemArray]) {
        if ([item isSeparatorItem]) {
            lines.push_back(indent + "---");
            continue;
        }
        std::string line = indent + text([item title]);
        if ([item hasSubmenu]) {
            EXPECT_FALSE([[item submenu] autoenablesItems]) << line;
        } else if ([item action] != nullptr) {
            line += " " + text(NSStringFromSelector([item action]));
            EXPECT_EQ([item target], target) << line;
        } else {
            EXPECT_EQ([item target], nil) << line;
        }
        if ([item representedObject] != nil) line += " <" + text([item representedObject]) + ">";
        if (![item isEnabled]) line += " disabled";
        if ([item state] != NSControlStateValueOff) line += " checked";
        EXPECT_EQ(text([item keyEquivalent]), "") << line;
        lines.push_back(line);
        if ([item hasSubmenu]) describe([item submenu], indent + "  ", target, lines);
    }
}

Texts described(const DesktopRig& rig) {
    @autoreleasepool {
        Texts lines;
        describe(DesktopRig::openMenu(), "", rig.forwarder, lines);
        return lines;
    }
}

/// The path that the first alert names, which tells what reached the flow.
std::string firstAlert() {
    return Fakes::alerts.empty() ? "" : Fakes::alerts[0].message + ": " + Fakes::alerts[0].informativeText;
}

TEST(MacApplication, LaunchesWithItsServiceAndItsStatusItem) {
    DesktopRig rig;
    rig.launch();
    EXPECT_EQ(Fakes::desktopCalls, (Texts{"servicesProvider", "updateServices"}));
    EXPECT_EQ(Fakes::statusBar.items, 1) << "and it stays";
    EXPECT_EQ(Fakes::statusBar.length, -1);
    Fakes::readButton();
    EXPECT_EQ(Fakes::statusBar.symbol, "sparkles");
    EXPECT_EQ(Fakes::statusBar.description, "Varnel");
    EXPECT_TRUE(Fakes::statusBar.isTemplate);
    EXPECT_EQ(Fakes::statusBar.toolTip, "Varnel");
    EXPECT_FALSE([Fakes::statusBar.menu autoenablesItems]);
    EXPECT_EQ([Fakes::statusBar.menu numberOfItems], 0) << "until it opens";
}

TEST(MacApplication, LaunchesWithoutAButton) {
    DesktopRig rig;
    Fakes::statusBar.hasButton = false;
    rig.launch();
    EXPECT_EQ(Fakes::statusBar.items, 1);
    EXPECT_NE(Fakes::statusBar.menu, nil);
}

TEST(MacApplication, LaunchesWithoutALogAndThenWithoutAWatcher) {
    DesktopRig rig(DesktopRig::Logging::isImpossible);
    testing::internal::CaptureStderr();
    rig.launch();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Varnel: log unavailable\n"), std::string::npos);
    EXPECT_EQ(Fakes::statusBar.items, 1);
    EXPECT_EQ(described(rig).at(0), "Varnel disabled") << "the menu opens";
    rig.delegate->applicationWillTerminate();  // once what waits on the watcher's queue is done
    EXPECT_EQ(Fakes::streamCalls(), Texts{});
    EXPECT_EQ(Fakes::logged(), Texts{});
}

TEST(MacApplicationMenu, IsDrawnEntryByEntry) {
    DesktopRig rig;
    const std::string share = rig.tree.folder("share");
    const std::string disk = rig.tree.folder("disk");
    Fakes::setMounted({.volumes = {{.path = rig.root, .isRemovable = true},
                                   {.path = share, .isLocal = false},
                                   {.path = disk, .isInternal = true}}});
    rig.launch();
    const std::string type = VolumeList::targets().at(0).fsType;
    const Texts fixed = {"---",
                         "Clean Folder… chooseFolder:",
                         "Sweep All Volumes… sweepAll:",
                         "---",
                         "Watcher: On toggleWatcher: checked",
                         "Open at Login toggleLoginItem:",
                         "Show Log showLog:",
                         "---",
                         "Quit Varnel quit: <q>"};
    Texts expected = {"Varnel disabled",
                      "Watcher removed 0 items this session disabled",
                      "---",
                      "disk — " + type + ", local",
                      "  Scan… scanVolume: <" + disk + ">",
                      "  Clean… cleanVolume: <" + disk + ">",
                      "share — " + type + ", network",
                      "  Scan… scanVolume: <" + share + ">",
                      "  Clean… cleanVolume: <" + share + ">",
                      "  Clean & Eject cleanAndEject: <" + share + ">",
                      "v — " + type + ", local",
                      "  Scan… scanVolume: <" + rig.root + ">",
                      "  Clean… cleanVolume: <" + rig.root + ">",
                      "  Clean & Eject cleanAndEject: <" + rig.root + ">"};
    expected.insert(expected.end(), fixed.begin(), fixed.end());
    EXPECT_EQ(described(rig), expected);
    Fakes::setMounted({});
    Fakes::settings["watcherEnabled"] = false;
    Fakes::loginStatus = 1;
    const Texts again = described(rig);
    ASSERT_EQ(again.size(), 13U) << "emptied and drawn again";
    EXPECT_EQ(again[3], "No non-Mac volumes mounted disabled");
    EXPECT_EQ(again[8], "Watcher: Off toggleWatcher:");
    EXPECT_EQ(again[9], "Open at Login toggleLoginItem: checked");
}

TEST(MacApplicationMenu, CleansAndEjectsWhatIsChosen) {
    DesktopRig rig;
    rig.launch();
    rig.tree.file("v/.DS_Store", "1234");
    rig.tree.file("v/keep.txt");
    DesktopRig::chooseEntry("Clean & Eject");
    ASSERT_TRUE(DesktopRig::untilAlerts(2));
    EXPECT_EQ(Fakes::alerts[0].message, "Clean " + rig.root + "?");
    EXPECT_EQ(Fakes::alerts[0].buttons, (Texts{"Clean", "Cancel"}));
    EXPECT_TRUE(Fakes::alerts[0].report && Fakes::alerts[0].report->find(".DS_Store") != std::string::npos);
    EXPECT_EQ(Fakes::alerts[1].message, "Clean finished");
    EXPECT_EQ(Fakes::alerts[1].informativeText, "removed 1 items, 4 bytes\n\nEjected.");
    EXPECT_FALSE(rig.tree.has("v/.DS_Store"));
    EXPECT_TRUE(rig.tree.has("v/keep.txt"));
    EXPECT_EQ(rig.ejected, Texts{rig.root});
}

TEST(MacApplicationMenu, ScansWithoutAskingAndAsksForAClean) {
    DesktopRig rig;
    rig.launch();
    rig.tree.file("v/._a");
    Fakes::answers = {1};
    DesktopRig::chooseEntry("Clean…");
    ASSERT_TRUE(DesktopRig::untilAlerts(1));
    EXPECT_TRUE(rig.tree.has("v/._a")) << "cancelled";
    DesktopRig::chooseEntry("Scan…");
    ASSERT_TRUE(DesktopRig::untilAlerts(2));
    EXPECT_EQ(Fakes::alerts[1].message, "Clean finished");
    EXPECT_FALSE(rig.tree.has("v/._a"));
}

TEST(MacApplicationMenu, RunsEveryCommand) {
    DesktopRig rig;
    rig.launch();
    Fakes::chosen = "/usr/share";
    DesktopRig::chooseEntry("Clean Folder…");
    EXPECT_EQ(firstAlert(), "Refused: /usr/share is a protected system path.");
    DesktopRig::chooseEntry("Sweep All Volumes…");
    EXPECT_EQ(Fakes::alerts.back().message, "Sweep all non-Mac volumes?");
    DesktopRig::chooseEntry("Watcher: On");
    EXPECT_EQ(Fakes::settings["watcherEnabled"], false);
    EXPECT_EQ(Fakes::streamCalls().back(), "release");
    DesktopRig::chooseEntry("Open at Login");
    EXPECT_EQ(Fakes::loginStatus, 1);
    DesktopRig::chooseEntry("Show Log");
    EXPECT_EQ(Fakes::desktopCalls.back(), "open file://" + rig.tree.at("home/Library/Logs/Varnel/varnel.log"));
    DesktopRig::chooseEntry("Quit Varnel");
    EXPECT_EQ(Fakes::desktopCalls.back(), "terminate");
}

TEST(MacApplicationMenu, DoesNothingForAnEntryWithoutAPath) {
    DesktopRig rig;
    rig.launch();
    for (id const object : {static_cast<id>(nil), static_cast<id>([NSNumber numberWithInt:1])}) {
        NSMenuItem* const item = [[[NSMenuItem alloc] init] autorelease];
        [item setRepresentedObject:object];
        [rig.forwarder cleanVolume:item];
    }
    [rig.forwarder cleanVolume:rig.forwarder];
    EXPECT_FALSE(Fakes::runMainItem(std::chrono::milliseconds(50)));
    EXPECT_TRUE(Fakes::alerts.empty());
}

TEST(MacApplicationService, TakesFileURLsFirst) {
    DesktopRig rig;
    rig.launch();
    @autoreleasepool {
        NSString* error = nil;
        [rig.forwarder cleanUsingVarnel:pasteboard({"", "file:///usr/bin"}, @[ @"/etc" ]) userData:nil error:&error];
        EXPECT_EQ(error, nil);
    }
    EXPECT_EQ(firstAlert(), "Refused: /usr/bin is a protected system path.");
    EXPECT_EQ(Fakes::alerts.size(), 1U);
}

TEST(MacApplicationService, FallsBackOnTheListOfNames) {
    DesktopRig rig;
    rig.launch();
    @autoreleasepool {
        [rig.forwarder cleanUsingVarnel:pasteboard({"not a URL"}, @[ @"/etc", @"/usr" ])];
    }
    ASSERT_EQ(Fakes::alerts.size(), 2U);
    EXPECT_EQ(firstAlert(), "Refused: /etc is a protected system path.");
}

TEST(MacApplicationService, IgnoresWhatIsNoListOfNames) {
    DesktopRig rig;
    rig.launch();
    @autoreleasepool {
        [rig.forwarder cleanUsingVarnel:pasteboard({})];
        [rig.forwarder cleanUsingVarnel:pasteboard({}, @"/etc")];
        [rig.forwarder cleanUsingVarnel:pasteboard({}, @[ @"/etc", [NSNumber numberWithInt:1] ])];
    }
    EXPECT_TRUE(Fakes::alerts.empty());
}

TEST(MacApplicationDeathTest, EndsInOrderAndAtOnce) {
    EXPECT_EXIT(
        {
            DesktopRig rig;
            rig.launch();
            NSNotification* const ending = [NSNotification notificationWithName:NSApplicationWillTerminateNotification
                                                                         object:nil];
            std::atexit([] { ::_exit(9); });
            [rig.forwarder applicationWillTerminate:ending];
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace varnel

int main(int argc, char** argv) {
    /// AppKit's application, which wants a display.
    class Application : public testing::Environment {
    public:
        void SetUp() override {
            if (std::getenv("DISPLAY") == nullptr) {
                // Said to CTest by the status: where the environment skips, each test counts as passed.
                std::puts("SKIPPED: needs a display, DISPLAY is not set");
                std::fflush(nullptr);
                ::_exit(77);
            }
            [NSApplication sharedApplication];
        }
    };
    @autoreleasepool {
        testing::InitGoogleTest(&argc, argv);
        testing::AddGlobalTestEnvironment(new Application);
        const int result = RUN_ALL_TESTS();
        // As the application does: the threads of the queues are not waited for, so nothing may be torn down under
        // them.
        std::fflush(nullptr);
        ::_exit(result);
    }
}
