// SPDX-License-Identifier: MIT
#include "core/scan/Scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "core/scan/FSInfo.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

Plan scan(const std::string& root, RuleScope scope = RuleScope::adhoc) {
    return Scanner{RuleSet::standard(), scope}.scan(root);
}

Texts itemPaths(const Plan& plan) {
    Texts paths;
    for (const MatchItem& item : plan.items)
        paths.push_back(item.path);
    std::sort(paths.begin(), paths.end());
    return paths;
}

TEST(Scanner, ListsLitterAndKeepsCompanionsOfFonts) {
    const TemporaryFolder folder;
    folder.file("a/._Font.ttf", "fork");
    folder.file("a/._notes.txt", "12");
    folder.file("a/.DS_Store", "123");
    folder.file("a/notes.txt", "mine");
    const Plan plan = scan(folder.path());
    ASSERT_EQ(plan.items.size(), 2U);
    for (const MatchItem& item : plan.items) {
        const bool isStore = item.name == ".DS_Store";
        EXPECT_EQ(item, (MatchItem{folder.at(isStore ? "a/.DS_Store" : "a/._notes.txt"),
                                   isStore ? ".DS_Store" : "._notes.txt", isStore ? "dsstore" : "appledouble", false,
                                   isStore ? 3 : 2}));
    }
    EXPECT_EQ(plan.protectedItems, Texts{folder.at("a/._Font.ttf")});
    ASSERT_EQ(plan.tallies.size(), 2U);
    EXPECT_EQ(plan.tallies[0].ruleID, plan.items[0].ruleID) << "tallies stand in the order of first claims";
    EXPECT_EQ(plan.tallies[1].ruleID, plan.items[1].ruleID);
    EXPECT_TRUE(plan.errors.empty());
}

TEST(Scanner, ClaimsAFolderWholeAndListsNothingInIt) {
    const TemporaryFolder folder;
    folder.file("__MACOSX/._a", "1234");
    folder.file("__MACOSX/deep/.DS_Store");
    const Plan plan = scan(folder.path());
    ASSERT_EQ(plan.items.size(), 1U);
    EXPECT_EQ(plan.items[0], (MatchItem{folder.at("__MACOSX"), "__MACOSX", "macosx-dir", true, 0}));
    EXPECT_EQ(plan.tallies, (std::vector<RuleTally>{{"macosx-dir", "__MACOSX folders", 1, 0, 1}}));
}

TEST(Scanner, NeverMatchesTheRootItself) {
    const TemporaryFolder folder;
    folder.file("__MACOSX/._a");
    EXPECT_EQ(itemPaths(scan(folder.at("__MACOSX"))), Texts{folder.at("__MACOSX/._a")});
}

TEST(Scanner, AppliesTheRulesOfItsScopeOnly) {
    const TemporaryFolder folder;
    folder.file(".Trashes/501/._x");
    folder.file(".fseventsd/log");
    EXPECT_EQ(itemPaths(scan(folder.path(), RuleScope::watcher)), Texts{folder.at(".Trashes/501/._x")});
    EXPECT_EQ(itemPaths(scan(folder.path(), RuleScope::adhoc)),
              (Texts{folder.at(".Trashes"), folder.at(".fseventsd")}));
    EXPECT_TRUE(scan(folder.path(), RuleScope{0}).items.empty());
}

TEST(Scanner, TakesLinksAndEverythingElseForFiles) {
    const TemporaryFolder folder;
    folder.folder("target");
    folder.link("._link", "target");
    folder.link("__MACOSX", "target");
    folder.link(".DS_Store", "nowhere");
    tests::shell("mkfifo '" + folder.at("._fifo") + "'");
    const Plan plan = scan(folder.path());
    EXPECT_EQ(itemPaths(plan), (Texts{folder.at(".DS_Store"), folder.at("._fifo"), folder.at("._link")}));
    for (const MatchItem& item : plan.items) {
        EXPECT_FALSE(item.isDirectory);
        if (item.name == "._link") {
            EXPECT_EQ(item.bytes, 6) << "the link's own length";
        }
    }
}

TEST(Scanner, ProtectsNothingButCompanions) {
    const TemporaryFolder folder;
    RuleSet rules = RuleSet::standard();
    rules.rules.push_back({"fonts", "Fonts", RuleMatch::suffix(".ttf"), RuleTarget::file, RuleScope::both, true});
    folder.file("x.ttf");
    folder.file("._x.ttf");
    const Plan plan = Scanner{rules, RuleScope::adhoc}.scan(folder.path());
    EXPECT_EQ(itemPaths(plan), Texts{folder.at("x.ttf")});
    EXPECT_EQ(plan.protectedItems, Texts{folder.at("._x.ttf")});
}

TEST(Scanner, MakesUpTheVolumeFromTheRoot) {
    const TemporaryFolder folder;
    const Plan plan = scan(folder.path());
    EXPECT_EQ(plan.volume, (Volume{folder.path(), *FSInfo::type(folder.path()), true, false, false}));
}

TEST(Scanner, TellsOfARootThatIsNotThere) {
    const TemporaryFolder folder;
    const Plan plan = scan(folder.at("missing"));
    EXPECT_EQ(plan.errors, Texts{"cannot stat root: " + folder.at("missing")});
    EXPECT_EQ(plan.volume, (Volume{folder.at("missing"), "unknown", true, false, false}));
    EXPECT_TRUE(plan.items.empty() && plan.tallies.empty() && plan.protectedItems.empty());
}

TEST(Scanner, StandardisesTheRoot) {
    const TemporaryFolder folder;
    folder.file("._a");
    for (const char* ending : {"", "/", "/.", "//", "/x/.."}) {
        const Plan plan = scan(folder.path() + ending);
        EXPECT_EQ(plan.root, folder.path()) << ending;
        EXPECT_EQ(itemPaths(plan), Texts{folder.at("._a")}) << ending;
    }
}

TEST(Scanner, TalliesCountBytesAndFoldersPerRule) {
    const TemporaryFolder folder;
    folder.file("a/.DS_Store", "12345");
    folder.file("b/.ds_store", "123");
    folder.file("c/.DS_Store/inside", "1234567");
    folder.file("c/._x", "12");
    std::vector<RuleTally> tallies = scan(folder.path()).tallies;
    std::sort(tallies.begin(), tallies.end(), [](const auto& a, const auto& b) { return a.ruleID < b.ruleID; });
    EXPECT_EQ(tallies, (std::vector<RuleTally>{{"appledouble", "._ AppleDouble files", 1, 2, 0},
                                               {"dsstore", ".DS_Store", 3, 8, 1}}));
}

TEST(Scanner, FindsNamesOfAnyBytes) {
    const TemporaryFolder folder;
    const Texts names = {"._\xff", "._new\nline", "._" + std::string(253, 'n'), "Thumb\u017f.db", "THUMBS.DB"};
    for (const std::string& name : names)
        folder.file(name);
    folder.file("._\u0301x");  // another character than the underscore
    folder.file("_.x");
    Texts expected;
    for (const std::string& name : names)
        expected.push_back(folder.at(name));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(itemPaths(scan(folder.path())), expected);
}

TEST(Scanner, LeavesDisabledRulesOut) {
    const TemporaryFolder folder;
    folder.file("._a");
    folder.file(".DS_Store");
    RuleSet rules = RuleSet::standard();
    rules.rules[0].enabled = false;
    EXPECT_EQ(itemPaths(Scanner{rules, RuleScope::adhoc}.scan(folder.path())), Texts{folder.at(".DS_Store")});
}

TEST(ScannerDeathTest, StopsOnTwoRulesOfOneId) {
    const TemporaryFolder folder;
    RuleSet rules = RuleSet::standard();
    rules.rules.push_back(rules.rules.front());
    rules.rules.back().enabled = false;
    EXPECT_DEATH(static_cast<void>(Scanner(rules, RuleScope::adhoc).scan(folder.path())), "same id");
}

TEST(Scanner, TellsItsProgress) {
    const TemporaryFolder folder;
    for (int i = 0; i < 5000; ++i)
        folder.file("f" + std::to_string(i), "");
    std::int64_t last = 0;
    int calls = 0;
    Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(folder.path(), [&](const ScanProgress& now) {
        EXPECT_GT(now.entries, last);
        last = now.entries;
        ++calls;
    });
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace varnel
