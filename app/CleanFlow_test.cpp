// SPDX-License-Identifier: MIT
//
// The cleaning of one folder, step by step, on real folders.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/Alert.h"
#include "app/AppDelegate.h"
#include "app/StatusMenu.h"
#include "core/plan/PlanReport.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"
#include "core/scan/Scanner.h"
#include "tests/support/AppRig.h"
#include "tests/support/Environment.h"
#include "tests/support/PrivateMounts.h"

namespace varnel {
namespace {

using namespace std::chrono_literals;
using tests::AppRig;
using tests::Environment;
using Texts = std::vector<std::string>;

std::string question(const std::string& root) {
    return "Clean " + root + "?";
}

const Alert& last(const AppRig& rig) {
    return rig.desktop->alerts.back();
}

TEST(CleanFlow, ScansAsksRemovesAndReports) {
    AppRig rig;
    rig.tree.file("v/._a", "12345");
    rig.tree.file("v/d/.DS_Store", "123");
    rig.tree.file("v/keep");
    const std::string plan = PlanReport::prettyText(Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(rig.root), 40);
    rig.desktop->accept(question(rig.root), [&] {
        EXPECT_FALSE(rig.app().isBusy()) << "free while the person is asked";
        EXPECT_TRUE(rig.tree.has("v/._a"));
    });
    rig.perform(MenuAction::cleanVolume, rig.root);
    EXPECT_TRUE(rig.app().isBusy());
    EXPECT_TRUE(rig.desktop->alerts.empty());

    ASSERT_TRUE(rig.desktop->runBackground());
    EXPECT_TRUE(rig.app().isBusy()) << "until the main thread has heard of the plan";
    EXPECT_TRUE(rig.desktop->alerts.empty());

    ASSERT_TRUE(rig.desktop->runMain());
    EXPECT_TRUE(rig.app().isBusy());
    EXPECT_TRUE(rig.tree.has("v/._a"));

    ASSERT_TRUE(rig.desktop->runBackground());
    EXPECT_TRUE(rig.app().isBusy());
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_FALSE(rig.tree.has("v/d/.DS_Store"));
    EXPECT_TRUE(rig.tree.has("v/keep"));

    ASSERT_TRUE(rig.desktop->runMain());
    EXPECT_FALSE(rig.app().isBusy());
    EXPECT_FALSE(rig.desktop->runBackground() || rig.desktop->runMain());
    EXPECT_EQ(rig.desktop->alerts,
              (std::vector<Alert>{
                  {.message = question(rig.root),
                   .informativeText = "2 item(s), 8 bytes will be removed. This cannot be undone.",
                   .buttons = {"Clean", "Cancel"},
                   .style = Alert::Style::warning,
                   .report = plan},
                  {.message = "Clean finished", .informativeText = "removed 2 items, 8 bytes", .buttons = {"OK"}}}));
    EXPECT_EQ(rig.logged(), (Texts{"DEL   appledouble  T/v/._a", "DEL   dsstore  T/v/d/.DS_Store",
                                   "DONE  T/v  removed 2 items, 8 bytes"}))
        << "nothing but the removal's own lines";
    EXPECT_TRUE(rig.ejected.empty());
    EXPECT_EQ(rig.watchersMade, 0) << "the watcher hears nothing of it";
}

TEST(CleanFlow, TakesTheRulesForCleaningOnDemand) {
    AppRig rig;
    rig.tree.folder("v/.Trashes");
    rig.tree.file("v/.fseventsd/0");
    rig.desktop->accept(question(rig.root));
    rig.perform(MenuAction::cleanVolume, rig.root);
    rig.desktop->settle();
    EXPECT_FALSE(rig.tree.has("v/.Trashes"));
    EXPECT_FALSE(rig.tree.has("v/.fseventsd"));
}

TEST(CleanFlow, RemovesNothingWithoutAYes) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.desktop->decline(question(rig.root));
    for (const MenuAction action : {MenuAction::cleanVolume, MenuAction::cleanAndEject}) {
        rig.perform(action, rig.root);
        rig.desktop->settle();
        EXPECT_FALSE(rig.app().isBusy());
    }
    EXPECT_TRUE(rig.tree.has("v/._a"));
    EXPECT_EQ(rig.desktop->messages(), (Texts{question(rig.root), question(rig.root)})) << "the end is silent";
    EXPECT_TRUE(rig.ejected.empty());
    EXPECT_TRUE(rig.logged().empty());
}

TEST(CleanFlow, ScanRemovesAtOnceWithoutAsking) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.perform(MenuAction::scanVolume, rig.root);
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), Texts{"Clean finished"});
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_TRUE(rig.ejected.empty());
}

TEST(CleanFlow, SaysThatThereIsNothingToClean) {
    for (const MenuAction action : {MenuAction::scanVolume, MenuAction::cleanVolume, MenuAction::cleanAndEject}) {
        AppRig rig;
        rig.tree.file("v/keep");
        rig.tree.file("v/._font.dfont");
        rig.perform(action, rig.root);
        rig.desktop->settle();
        EXPECT_EQ(rig.desktop->alerts, (std::vector<Alert>{{.message = "Nothing to clean",
                                                            .informativeText = "No macOS metadata found.",
                                                            .buttons = {"OK"}}}));
        EXPECT_FALSE(rig.app().isBusy());
        EXPECT_TRUE(rig.ejected.empty()) << "also where ejecting was asked for";
        EXPECT_TRUE(rig.logged().empty());
    }
}

TEST(CleanFlow, SaysWhyAnEmptyPlanIsEmpty) {
    AppRig rig;
    rig.perform(MenuAction::cleanVolume, rig.tree.at("gone"));
    rig.desktop->settle();
    EXPECT_EQ(last(rig).message, "Nothing to clean");
    EXPECT_EQ(rig.shortened(last(rig).informativeText), "cannot stat root: T/gone");
}

TEST(CleanFlow, DoesNothingWithoutAMountPoint) {
    AppRig rig;
    for (const MenuAction action : {MenuAction::scanVolume, MenuAction::cleanVolume, MenuAction::cleanAndEject})
        rig.perform(action);
    EXPECT_TRUE(rig.desktop->calls.empty());
    EXPECT_FALSE(rig.app().isBusy());
}

TEST(CleanFlow, EjectsAfterwardsWhereAskedTo) {
    const struct {
        const char* name;
        std::optional<std::string> failure;
        const char* report;
    } cases[] = {
        {"ejected", std::nullopt, "removed 1 items, 1 byte\n\nEjected."},
        {"not ejected", "Volume USB is in use.", "removed 1 items, 1 byte\n\nEject failed: Volume USB is in use."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AppRig rig;
        rig.tree.file("v/._a");
        rig.ejectFailure = c.failure;
        rig.desktop->accept(question(rig.root));
        rig.perform(MenuAction::cleanAndEject, rig.root);
        rig.desktop->settle();
        EXPECT_EQ(rig.ejected, Texts{rig.root}) << "once, without force";
        EXPECT_EQ(last(rig).informativeText, c.report);
        EXPECT_FALSE(rig.app().isBusy());
    }
}

TEST(CleanFlow, ListsFiveFailuresAndEjectsAllTheSame) {
    AppRig rig;
    for (int i = 1; i <= 7; ++i)
        rig.tree.file("v/d/._" + std::to_string(i));
    rig.tree.file("v/._a");
    rig.desktop->accept(question(rig.root), [&] {
        std::filesystem::rename(rig.tree.at("v/d"), rig.tree.at("v/e"));
        std::filesystem::create_directory_symlink(rig.tree.at("v/e"), rig.tree.at("v/d"));
    });
    rig.perform(MenuAction::cleanAndEject, rig.root);
    rig.desktop->settle();
    const std::string report = rig.shortened(last(rig).informativeText);
    EXPECT_TRUE(report.starts_with("removed 1 items, 1 byte, 7 failed\n\n7 item(s) could not be removed.\n  T/v/d/._"))
        << report;
    EXPECT_TRUE(report.ends_with(" — skipped: symlink\n\nEjected.")) << report;
    std::size_t lines = 0;
    for (std::size_t at = report.find("\n  "); at != std::string::npos; at = report.find("\n  ", at + 1))
        ++lines;
    EXPECT_EQ(lines, 5U) << report;
    EXPECT_TRUE(rig.tree.has("v/e/._7"));
    EXPECT_EQ(rig.ejected, Texts{rig.root});
}

TEST(CleanFlow, WorksWithoutALog) {
    AppRig rig(/*hasLog=*/false);
    rig.tree.file("v/._a");
    rig.perform(MenuAction::scanVolume, rig.root);
    rig.desktop->settle();
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_EQ(last(rig).message, "Clean finished");
}

TEST(CleanFlowPath, IsStandardisedBeforeAnythingElse) {
    AppRig rig;
    const Environment home("HOME", rig.tree.folder("home"));
    rig.tree.folder("home/Downloads");
    rig.tree.file("home/Desktop/._a");
    const std::string desktop = rig.tree.at("home/Desktop");
    rig.desktop->accept(question(desktop));
    rig.perform(MenuAction::cleanAndEject, "~/Downloads/..//./Desktop/");
    rig.desktop->settle();
    EXPECT_EQ(rig.typesAsked, Texts{desktop});
    EXPECT_EQ(rig.desktop->messages(), (Texts{question(desktop), "Clean finished"}));
    EXPECT_EQ(rig.ejected, Texts{desktop});
    EXPECT_FALSE(rig.tree.has("home/Desktop/._a"));
}

TEST(CleanFlowGuard, RefusesProtectedPathsBeforeAnythingIsRead) {
    AppRig rig;
    const Environment home("HOME", rig.tree.folder("home"));
    const std::pair<std::string, std::string> cases[] = {
        {"/", "/"},
        {"/usr/local/../share", "/usr/share"},
        {"/System", "/System"},
        {"~", rig.tree.at("home")},
        {rig.tree.at("v/../home/"), rig.tree.at("home")},
    };
    for (const auto& [path, shown] : cases) {
        rig.desktop->alerts.clear();
        for (const MenuAction action : {MenuAction::scanVolume, MenuAction::cleanVolume, MenuAction::cleanAndEject})
            rig.perform(action, path);
        const Alert refused = {
            .message = "Refused", .informativeText = shown + " is a protected system path.", .buttons = {"OK"}};
        EXPECT_EQ(rig.desktop->alerts, (std::vector<Alert>{refused, refused, refused})) << path;
        EXPECT_FALSE(rig.app().isBusy()) << path;
    }
    EXPECT_TRUE(rig.typesAsked.empty());
    EXPECT_EQ(rig.desktop->waitingInBackground(), 0U);
}

TEST(CleanFlowGuard, RefusesAPathThatLeadsToAProtectedPlace) {
    AppRig rig;
    const Environment home("HOME", rig.tree.folder("home"));
    rig.tree.file("home/._a");
    rig.tree.link("v/user", "/usr");
    rig.tree.link("v/mine", rig.tree.at("home"));
    rig.tree.link("v/inside", rig.tree.path());
    for (const char* below : {"v/user", "v/user/share", "v/mine", "v/inside/home"}) {
        const std::string path = rig.tree.at(below);
        rig.desktop->alerts.clear();
        rig.perform(MenuAction::scanVolume, path);
        EXPECT_TRUE(rig.desktop->alerts.empty()) << "links are followed in the background";
        rig.desktop->settle();
        EXPECT_EQ(rig.desktop->alerts, (std::vector<Alert>{{.message = "Refused",
                                                            .informativeText = path + " is a protected system path.",
                                                            .buttons = {"OK"}}}));
        EXPECT_FALSE(rig.app().isBusy());
    }
    EXPECT_TRUE(rig.tree.has("home/._a"));
}

TEST(CleanFlowGuard, AsksBeforeItTouchesAMacFormat) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.fileSystemType = "hfs";
    const std::string warning = rig.root + " is on a hfs volume";
    rig.desktop->decline(warning, [&] { EXPECT_FALSE(rig.app().isBusy()); });
    for (const MenuAction action : {MenuAction::scanVolume, MenuAction::cleanVolume, MenuAction::cleanAndEject}) {
        rig.perform(action, rig.root);
        EXPECT_FALSE(rig.app().isBusy());
    }
    EXPECT_EQ(rig.desktop->messages(), (Texts{warning, warning, warning}));
    EXPECT_EQ(last(rig).informativeText,
              "This is a Mac format. Deleting metadata here only affects Finder cosmetics, but it is unusual. Clean "
              "anyway?");
    EXPECT_EQ(last(rig).buttons, (Texts{"Clean Anyway", "Cancel"}));
    EXPECT_EQ(last(rig).style, Alert::Style::warning);
    EXPECT_EQ(rig.desktop->waitingInBackground(), 0U);

    rig.desktop->alerts.clear();
    rig.desktop->accept(warning);
    rig.perform(MenuAction::scanVolume, rig.root);
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), (Texts{warning, "Clean finished"}));
    EXPECT_FALSE(rig.tree.has("v/._a"));
}

TEST(CleanFlowGuard, KnowsMacFormatsInAnyCaseAndAsksOfNoOther) {
    const std::pair<std::optional<std::string>, bool> cases[] = {
        {"apfs", true},  {"APFS", true},   {"hfs", true},    {"hfsx", true},        {"Hfs", true},
        {"hfs+", false}, {"exfat", false}, {"msdos", false}, {std::nullopt, false}, {"unknown", false},
    };
    for (const auto& [type, isAsked] : cases) {
        AppRig rig;
        rig.fileSystemType = type;
        rig.perform(MenuAction::cleanVolume, rig.root);
        EXPECT_NE(rig.app().isBusy(), isAsked) << type.value_or("none");
        const Texts expected = isAsked ? Texts{rig.root + " is on a " + *type + " volume"} : Texts{};
        EXPECT_EQ(rig.desktop->messages(), expected);
    }
}

TEST(CleanFlowGuard, AsksAfterTheScanWhereTheVolumeTurnsOutToBeAMacs) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << mounts.reason();
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "bindfs is missing";
    EXPECT_EQ(mounts.run([] {
        AppRig rig;
        rig.tree.file("source/._a");
        tests::shell("bindfs -o subtype=apfs '" + rig.tree.at("source") + "' '" + rig.root + "'");
        rig.fileSystemType = "autofs";  // as it was before the first use mounted it
        const std::string warning = rig.root + " is on a apfs volume";
        rig.perform(MenuAction::scanVolume, rig.root);
        rig.desktop->settle();
        EXPECT_EQ(rig.desktop->messages(), Texts{warning});
        EXPECT_FALSE(rig.app().isBusy());
        EXPECT_TRUE(rig.tree.has("source/._a"));

        rig.desktop->accept(warning);
        rig.perform(MenuAction::scanVolume, rig.root);
        rig.desktop->settle();
        EXPECT_EQ(rig.desktop->messages(), (Texts{warning, warning, "Clean finished"}));
        EXPECT_FALSE(rig.tree.has("source/._a"));
    }),
              0);
}

TEST(CleanFlowGuard, DoesNotWaitForEverForAServerAndAsksAfterTheScan) {
    std::promise<void> release;
    AppRig rig;
    rig.tree.file("v/._a");
    rig.ports.menuPatience = 20ms;
    rig.ports.fileSystemType = [released = release.get_future().share()](const std::string&) {
        released.wait();
        return std::optional<std::string>("hfs");
    };
    rig.desktop->decline(question(rig.root));
    rig.request(rig.root);
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), Texts{question(rig.root)});
    release.set_value();
}

TEST(CleanFlowGuard, LeavesAnotherVolumeAloneThatTookThePlace) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        AppRig rig;
        tests::mountTmpfs(rig.root);
        rig.tree.file("v/._a");
        rig.desktop->accept(question(rig.root), [&] {
            tests::unmount(rig.root);
            tests::mountTmpfs(rig.root);
            rig.tree.file("v/._a");
        });
        rig.perform(MenuAction::cleanAndEject, rig.root);
        rig.desktop->settle();
        EXPECT_TRUE(rig.tree.has("v/._a"));
        EXPECT_EQ(rig.shortened(last(rig).informativeText),
                  "removed 0 items, Zero KB, 1 failed\n\n1 item(s) could not be removed.\n  T/v/._a — skipped: parent "
                  "is on a different volume\n\nEject failed: The volume that was scanned is not mounted there any "
                  "more.");
        EXPECT_TRUE(rig.ejected.empty());
    }),
              0);
}

// --- One flow at a time ---

TEST(CleanFlowBusy, DropsRequestsInSilenceWhileAStepIsAtWork) {
    AppRig rig;
    rig.tree.file("v/._a");
    const std::string other = rig.tree.folder("w");
    rig.desktop->accept(question(rig.root));
    const auto expectDropped = [&](const char* when) {
        const std::size_t alerts = rig.desktop->alerts.size();
        const std::size_t background = rig.desktop->waitingInBackground();
        const std::size_t main = rig.desktop->waitingOnMain();
        for (const MenuAction action : {MenuAction::scanVolume, MenuAction::cleanVolume, MenuAction::cleanAndEject})
            rig.perform(action, other);
        rig.request(other);
        rig.request("/usr");
        EXPECT_EQ(rig.desktop->alerts.size(), alerts) << when;
        EXPECT_EQ(rig.desktop->waitingInBackground(), background) << when;
        EXPECT_EQ(rig.desktop->waitingOnMain(), main) << when;
        EXPECT_TRUE(rig.app().isBusy()) << when;
    };
    rig.perform(MenuAction::cleanVolume, rig.root);
    expectDropped("before the scan");
    rig.desktop->runBackground();
    expectDropped("after the scan");
    rig.desktop->runMain();
    expectDropped("before the removal");
    rig.desktop->runBackground();
    expectDropped("after the removal");
    rig.desktop->runMain();
    EXPECT_FALSE(rig.app().isBusy());
    EXPECT_EQ(rig.typesAsked, Texts{rig.root}) << "nothing was even asked of the other";
    EXPECT_EQ(rig.logged(), (Texts{"DEL   appledouble  T/v/._a", "DONE  T/v  removed 1 items, 1 byte"}));
}

TEST(CleanFlowBusy, IsFreeWhileAnAlertIsOpen) {
    AppRig rig;
    const Environment home("HOME", rig.tree.folder("home"));
    rig.tree.file("v/._a");
    rig.tree.link("v/home", rig.tree.at("home"));
    int seen = 0;
    const auto seeFree = [&] {
        ++seen;
        EXPECT_FALSE(rig.app().isBusy()) << last(rig).message;
    };
    for (const std::string& message : {std::string("Refused"), rig.root + " is on a hfs volume", question(rig.root),
                                       std::string("Clean finished"), std::string("Nothing to clean")}) {
        rig.desktop->accept(message, seeFree);
    }
    rig.request("/usr");
    rig.request(rig.tree.at("v/home"));
    rig.desktop->settle();
    rig.fileSystemType = "hfs";
    rig.request(rig.root);
    rig.desktop->settle();
    rig.fileSystemType = "exfat";
    rig.request(rig.root);
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), (Texts{"Refused", "Refused", rig.root + " is on a hfs volume",
                                              question(rig.root), "Clean finished", "Nothing to clean"}));
    EXPECT_EQ(seen, 6);
}

TEST(CleanFlowBusy, StartsAnotherFlowWhileTheQuestionIsOpen) {
    for (const bool nests : {true, false}) {
        SCOPED_TRACE(nests ? "an open alert lets the main thread's other work through" : "that work has to wait");
        AppRig rig;
        rig.desktop->nests = nests;
        rig.tree.file("v/._a");
        const std::string other = rig.tree.folder("w");
        rig.tree.file("w/._b");
        rig.desktop->accept(question(other));
        rig.desktop->accept(question(rig.root), [&] {
            rig.request(other);
            EXPECT_TRUE(rig.app().isBusy());
            rig.desktop->settle();
            EXPECT_EQ(rig.app().isBusy(), !nests);
            EXPECT_EQ(rig.tree.has("w/._b"), !nests);
        });
        rig.request(rig.root);
        rig.desktop->settle();
        EXPECT_EQ(rig.desktop->messages(),
                  (Texts{question(rig.root), question(other), "Clean finished", "Clean finished"}));
        EXPECT_FALSE(rig.tree.has("v/._a"));
        EXPECT_FALSE(rig.tree.has("w/._b"));
        EXPECT_FALSE(rig.app().isBusy());
    }
}

TEST(CleanFlowBusy, GoesOnAfterTheQuestionThoughAnotherFlowHasBegun) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.tree.file("w/._b");
    const std::string other = rig.tree.at("w");
    rig.desktop->accept(question(other));
    rig.desktop->accept(question(rig.root), [&] { rig.request(other); });
    rig.request(rig.root);
    rig.desktop->runBackground();
    rig.desktop->runMain();
    EXPECT_EQ(rig.desktop->waitingInBackground(), 2U) << "the other's scan, and this removal";
    EXPECT_TRUE(rig.app().isBusy());

    rig.desktop->runBackground();  // the other is scanned
    rig.desktop->runMain();        // and confirmed
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->runBackground();  // this one is removed
    rig.desktop->runMain();        // and reported
    EXPECT_FALSE(rig.app().isBusy()) << "whoever ends first frees the flag";
    EXPECT_EQ(rig.desktop->waitingInBackground(), 1U);
    rig.desktop->settle();
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_FALSE(rig.tree.has("w/._b"));
    EXPECT_FALSE(rig.app().isBusy());
}

TEST(CleanFlowBusy, GoesOnAfterTheMacFormatWarningThoughAnotherFlowHasBegun) {
    AppRig rig;
    rig.fileSystemType = "apfs";
    rig.tree.file("v/._a");
    rig.tree.file("w/._b");
    rig.desktop->accept(rig.root + " is on a apfs volume", [&] {
        rig.fileSystemType = "exfat";
        rig.perform(MenuAction::scanVolume, rig.tree.at("w"));
    });
    rig.perform(MenuAction::scanVolume, rig.root);
    EXPECT_EQ(rig.desktop->waitingInBackground(), 2U);
    EXPECT_TRUE(rig.app().isBusy());
    rig.desktop->settle();
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_FALSE(rig.tree.has("w/._b"));
    EXPECT_FALSE(rig.app().isBusy());
}

TEST(CleanFlowBusy, TakesANewRequestWhileTheReportIsOpen) {
    AppRig rig;
    rig.tree.file("v/._a");
    bool isFirst = true;
    rig.desktop->accept("Clean finished", [&] {
        if (!std::exchange(isFirst, false)) return;
        rig.tree.file("v/._b");
        rig.perform(MenuAction::scanVolume, rig.root);
        EXPECT_TRUE(rig.app().isBusy());
    });
    rig.perform(MenuAction::scanVolume, rig.root);
    rig.desktop->settle();
    EXPECT_FALSE(rig.tree.has("v/._b"));
    EXPECT_FALSE(rig.app().isBusy());
    EXPECT_EQ(rig.desktop->messages(), (Texts{"Clean finished", "Clean finished"}));
}

TEST(CleanFlowBusy, IsFreeAgainWhereAStepCannotBegin) {
    const Alert notBegun = {
        .message = "Could not begin",
        .informativeText = "The system has no room for more work at the moment. Please try again later.",
        .buttons = {"OK"}};
    AppRig rig;
    rig.tree.file("v/._a");
    rig.desktop->canBegin = false;
    rig.request(rig.root);
    EXPECT_EQ(rig.desktop->alerts, std::vector<Alert>{notBegun}) << "the scan";
    EXPECT_FALSE(rig.app().isBusy());

    rig.desktop->canBegin = true;
    rig.desktop->accept(question(rig.root), [&] { rig.desktop->canBegin = false; });
    rig.request(rig.root);
    rig.desktop->settle();
    EXPECT_EQ(last(rig), notBegun) << "the removal";
    EXPECT_FALSE(rig.app().isBusy());
    EXPECT_TRUE(rig.tree.has("v/._a"));

    rig.desktop->canBegin = true;
    rig.desktop->accept(question(rig.root));
    rig.request(rig.root);
    rig.desktop->settle();
    EXPECT_EQ(last(rig).message, "Clean finished");
    EXPECT_FALSE(rig.tree.has("v/._a"));
}

TEST(CleanFlowBusy, StaysWithTheOtherFlowWhereAStepCannotBegin) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.desktop->accept(question(rig.root), [&] {
        rig.request(rig.tree.folder("w"));
        rig.desktop->canBegin = false;
    });
    rig.request(rig.root);
    rig.desktop->runBackground();
    rig.desktop->runMain();
    EXPECT_EQ(last(rig).message, "Could not begin");
    EXPECT_TRUE(rig.app().isBusy()) << "the other's scan still waits";
    rig.desktop->settle();
    EXPECT_FALSE(rig.app().isBusy());
}

// --- When the application goes ---

TEST(CleanFlowLifetime, GivesUpBeforeTheScanWhereTheApplicationIsGone) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.perform(MenuAction::scanVolume, rig.root);
    rig.delegate.reset();
    rig.desktop->settle();
    EXPECT_TRUE(rig.desktop->alerts.empty());
    EXPECT_TRUE(rig.tree.has("v/._a"));
}

TEST(CleanFlowLifetime, KeepsTheApplicationFromTheScanOn) {
    AppRig rig;
    rig.tree.file("v/._a");
    rig.perform(MenuAction::scanVolume, rig.root);
    rig.desktop->runBackground();
    const std::weak_ptr<AppDelegate> app = rig.delegate;
    rig.delegate.reset();
    EXPECT_FALSE(app.expired());
    rig.desktop->settle();
    EXPECT_EQ(rig.desktop->messages(), Texts{"Clean finished"});
    EXPECT_FALSE(rig.tree.has("v/._a"));
    EXPECT_TRUE(app.expired()) << "and lets go of it in the end";
}

TEST(CleanFlowLifetime, EndsARemovalAfterItsItemAndWritesTheLogBeforeTheProcessEnds) {
    std::promise<void> removing;
    std::promise<void> ending;
    std::promise<void> ended;
    std::atomic<bool> isRemoving{false};
    std::atomic<std::thread::id> removalThread;
    // The removal stands still at its first line until the application is ending, and at its last for as long as
    // nobody may have left without it.
    const std::function<std::int64_t()> clock = [&]() -> std::int64_t {
        if (isRemoving.exchange(false)) {
            removalThread = std::this_thread::get_id();
            removing.set_value();
            ending.get_future().wait();
        } else if (removalThread == std::this_thread::get_id()) {
            EXPECT_EQ(ended.get_future().wait_for(200ms), std::future_status::timeout) << "it was not waited for";
        }
        return 0;
    };
    AppRig rig(/*hasLog=*/true, clock);
    for (const char* name : {"v/._a", "v/._b", "v/._c"})
        rig.tree.file(name);
    rig.app().applicationDidFinishLaunching();
    rig.runWatcher();
    rig.stream.onStop = [&] { ending.set_value(); };
    rig.desktop->accept(question(rig.root));
    rig.perform(MenuAction::cleanAndEject, rig.root);
    rig.desktop->runBackground();
    rig.desktop->runMain();
    isRemoving = true;
    std::thread removal = rig.desktop->beginBackground();
    removing.get_future().wait();
    rig.app().applicationWillTerminate();
    const std::string log = rig.tree.contents("log/varnel.log");
    ended.set_value();
    removal.join();
    EXPECT_NE(log.find("DONE  " + rig.root + "  removed 1 items, 1 byte\n"), std::string::npos) << log;
    EXPECT_EQ(rig.tree.has("v/._a") + rig.tree.has("v/._b") + rig.tree.has("v/._c"), 2);
    EXPECT_TRUE(rig.ejected.empty()) << "nobody is there any more to be told";
}

}  // namespace
}  // namespace varnel
