// SPDX-License-Identifier: MIT
//
// Each operation of the desktop by itself.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/macos/DesktopRig.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using tests::DesktopRig;
using Texts = std::vector<std::string>;

TEST(MacDesktopAlert, ShowsTextsAndButtonsInTheirOrder) {
    DesktopRig rig;
    Fakes::answers = {0, 1, -1};
    const Alert alert = {.message = "Caf\u00e9?", .informativeText = "100 %@ & more", .buttons = {"Clean", "Cancel"}};
    EXPECT_TRUE(rig.desktop->ask(alert)) << "the first button";
    EXPECT_FALSE(rig.desktop->ask(alert)) << "the second";
    EXPECT_FALSE(rig.desktop->ask(alert)) << "none";
    const Fakes::ShownAlert shown = {"Caf\u00e9?", "100 %@ & more", false, {"Clean", "Cancel"}, std::nullopt, ""};
    EXPECT_EQ(Fakes::alerts, (std::vector<Fakes::ShownAlert>{shown, shown, shown}));
}

TEST(MacDesktopAlert, WarnsAndShowsAReport) {
    DesktopRig rig;
    rig.desktop->ask({.message = "Clean?",
                      .informativeText = "2 items",
                      .buttons = {"Clean"},
                      .style = Alert::Style::warning,
                      .report = "line one\n  line two\n"});
    ASSERT_EQ(Fakes::alerts.size(), 1U);
    EXPECT_TRUE(Fakes::alerts[0].isWarning);
    EXPECT_EQ(Fakes::alerts[0].report, "line one\n  line two\n");
    EXPECT_EQ(Fakes::alerts[0].reportForm, "520x240 fills scroller bezel plain read-only monospaced 11");
}

TEST(MacDesktopPanel, ChoosesOneFileOrFolder) {
    DesktopRig rig;
    const OpenPanel panel = {.prompt = "Clean", .message = "Choose a folder or volume to clean"};
    EXPECT_EQ(rig.desktop->choose(panel), std::nullopt) << "cancelled";
    Fakes::chosen = "/Volumes/My Disk/\u00fc";
    EXPECT_EQ(rig.desktop->choose(panel), "/Volumes/My Disk/\u00fc");
    ASSERT_EQ(Fakes::panels.size(), 2U);
    EXPECT_TRUE(Fakes::panels[0].directories && Fakes::panels[0].files);
    EXPECT_FALSE(Fakes::panels[0].multiple);
    EXPECT_EQ(Fakes::panels[0].prompt, "Clean");
    EXPECT_EQ(Fakes::panels[0].message, "Choose a folder or volume to clean");
}

TEST(MacDesktop, OpensAFileByItsURL) {
    DesktopRig rig;
    rig.desktop->openFile("/tmp/a b.log");
    EXPECT_EQ(Fakes::desktopCalls, Texts{"open file:///tmp/a%20b.log"});
}

TEST(MacDesktopPreference, IsNoneUntilItIsStored) {
    DesktopRig rig;
    EXPECT_EQ(rig.desktop->preference("watcherEnabled"), std::nullopt);
    rig.desktop->setPreference("watcherEnabled", false);
    EXPECT_EQ(rig.desktop->preference("watcherEnabled"), false);
    rig.desktop->setPreference("watcherEnabled", true);
    EXPECT_EQ(rig.desktop->preference("watcherEnabled"), true);
    EXPECT_EQ(Fakes::desktopCalls, (Texts{"synchronize", "synchronize"})) << "stored at once";
}

TEST(MacDesktopLogin, IsOnOnlyWhereTheSystemSaysEnabled) {
    DesktopRig rig;
    for (int status = 0; status <= 3; ++status) {
        Fakes::loginStatus = status;
        EXPECT_EQ(rig.desktop->opensAtLogin(), status == 1) << status;
    }
}

TEST(MacDesktopLogin, IsSwitchedOrSaysWhyNot) {
    DesktopRig rig;
    EXPECT_TRUE(rig.desktop->setOpensAtLogin(true));
    EXPECT_EQ(Fakes::loginStatus, 1);
    EXPECT_TRUE(rig.desktop->setOpensAtLogin(false));
    EXPECT_EQ(Fakes::loginStatus, 0);
    Fakes::loginRefusal = "Operation not permitted";
    const auto refused = rig.desktop->setOpensAtLogin(true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().reason, "Operation not permitted");
    EXPECT_EQ(refused.error().advice, "This only works when Varnel is installed in /Applications.");
}

TEST(MacDesktopURL, GivesThePathOfAFileAndOfNothingElse) {
    DesktopRig rig;
    EXPECT_EQ(rig.desktop->pathOfURL("file:///Volumes/My%20Disk/a"), "/Volumes/My Disk/a");
    EXPECT_EQ(rig.desktop->pathOfURL("file://localhost/a"), "/a");
    for (const char* const url : {"", "a", "https://example.org/a", "file://server/a", "file:///a%00b", "file:///a%2"})
        EXPECT_EQ(rig.desktop->pathOfURL(url), std::nullopt) << url;
}

TEST(MacDesktopURL, OfANumberedFileIsResolvedByTheSystem) {
    DesktopRig rig;
    Fakes::numberedFiles["file:///.file/id=6571367.42"] = "/Volumes/My Disk/\u00fc";
    EXPECT_EQ(rig.desktop->pathOfURL("file:///.file/id=6571367.42"), "/Volumes/My Disk/\u00fc");
    EXPECT_EQ(rig.desktop->pathOfURL("file:///.file/id=6571367.43"), std::nullopt) << "gone by now";
}

TEST(MacDesktopWork, ComesToTheMainThreadInOrderAndNotAtOnce) {
    DesktopRig rig;
    EXPECT_TRUE(rig.desktop->isMainThread());
    std::vector<int> order;
    rig.desktop->onMain([&] { order.push_back(1); });
    rig.desktop->onMain([&] { order.push_back(2); });
    EXPECT_TRUE(order.empty());
    while (Fakes::runMainItem(std::chrono::milliseconds(0))) {
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(MacDesktopWork, LeavesTheMainThreadForTheBackground) {
    DesktopRig rig;
    std::atomic<bool> wasMain{true};
    rig.desktop->inBackground([&] {
        wasMain = rig.desktop->isMainThread();
        rig.desktop->onMain([] {});
    });
    ASSERT_TRUE(Fakes::runMainItem(std::chrono::seconds(20)));
    EXPECT_FALSE(wasMain);
}

TEST(MacDesktop, TerminatesForNobodyInParticular) {
    DesktopRig rig;
    rig.desktop->terminate();
    EXPECT_EQ(Fakes::desktopCalls, Texts{"terminate"});
}

TEST(MacDesktop, WritesALineToTheConsoleAsItStands) {
    DesktopRig rig;
    testing::internal::CaptureStderr();
    rig.desktop->writeToConsole("Varnel: 100%@ \u00fc");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Varnel: 100%@ \u00fc\n"), std::string::npos);
}

}  // namespace
}  // namespace varnel
