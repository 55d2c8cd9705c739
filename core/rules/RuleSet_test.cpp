// SPDX-License-Identifier: MIT
#include "core/rules/RuleSet.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Vectors.h"

namespace varnel {
namespace {

std::vector<std::string> ids(const std::vector<Rule>& rules) {
    std::vector<std::string> result;
    for (const Rule& rule : rules)
        result.push_back(rule.id);
    return result;
}

TEST(RuleSetStandard, HoldsTheBuiltInRulesAndExtensions) {
    EXPECT_EQ(RuleSet::standard().rules.size(), 14U);
    EXPECT_EQ(RuleSet::standard().protectedExtensions.size(), 9U);
    EXPECT_EQ(RuleSet::standard().rules, Rule::builtIn());
    EXPECT_EQ(RuleSet::standard().protectedExtensions, Rule::builtInProtectedExtensions());
}

TEST(RuleSetActive, KeepsEnabledRulesOfTheScopeInTableOrder) {
    RuleSet set = RuleSet::standard();
    const std::vector<std::string> all = ids(set.rules);
    EXPECT_EQ(ids(set.active(RuleScope::watcher)), std::vector<std::string>(all.begin(), all.begin() + 8));
    EXPECT_EQ(ids(set.active(RuleScope::adhoc)), all);
    EXPECT_EQ(ids(set.active(RuleScope::both)), all);
    EXPECT_TRUE(set.active(RuleScope{0}).empty());
    EXPECT_TRUE(set.active(RuleScope{4}).empty());
    set.rules[1].enabled = false;
    EXPECT_EQ(set.active(RuleScope::adhoc).size(), 13U);
}

TEST(RuleSetFirstMatch, GivesTheEarlierOfTwoRules) {
    const Rule first{"first", "", RuleMatch::glob("*a"), RuleTarget::any, RuleScope::both, true};
    const Rule second{"second", "", RuleMatch::glob("a*"), RuleTarget::any, RuleScope::both, true};
    EXPECT_EQ((RuleSet{{first, second}, {}}).rules.size(), 2U);
    const RuleSet forward{{first, second}, {}};
    const RuleSet backward{{second, first}, {}};
    EXPECT_EQ(forward.firstMatch("aa", /*isDirectory=*/false, RuleScope::both)->id, "first");
    EXPECT_EQ(backward.firstMatch("aa", /*isDirectory=*/false, RuleScope::both)->id, "second");
    EXPECT_EQ(forward.firstMatch("ab", /*isDirectory=*/false, RuleScope::both)->id, "second");
}

TEST(RuleSetFirstMatch, ClaimsByNameKindAndScope) {
    const RuleSet& set = RuleSet::standard();
    EXPECT_EQ(set.firstMatch(".DS_Store", /*isDirectory=*/false, RuleScope::watcher)->id, "dsstore");
    EXPECT_EQ(set.firstMatch("._.DS_Store", /*isDirectory=*/false, RuleScope::watcher)->id, "appledouble");
    EXPECT_EQ(set.firstMatch("._x", /*isDirectory=*/true, RuleScope::adhoc), nullptr);
    EXPECT_EQ(set.firstMatch(".Trashes", /*isDirectory=*/true, RuleScope::watcher), nullptr);
    EXPECT_EQ(set.firstMatch(".Trashes", /*isDirectory=*/true, RuleScope::adhoc)->id, "trashes");
    EXPECT_EQ(set.firstMatch("photo.jpg", /*isDirectory=*/false, RuleScope::both), nullptr);
}

TEST(RuleSetFirstMatch, NeverGivesADisabledRule) {
    RuleSet set = RuleSet::standard();
    set.rules[1].enabled = false;
    EXPECT_TRUE(set.rules[1].applies(".DS_Store", /*isDirectory=*/false));
    EXPECT_EQ(set.firstMatch(".DS_Store", /*isDirectory=*/false, RuleScope::both), nullptr);
}

TEST(RuleSetFirstMatch, GivesNothingForAnEmptyScope) {
    for (const Rule& rule : Rule::builtIn()) {
        EXPECT_EQ(RuleSet::standard().firstMatch(rule.match.text, /*isDirectory=*/true, RuleScope{0}), nullptr);
        EXPECT_EQ(RuleSet::standard().firstMatch(rule.match.text, /*isDirectory=*/false, RuleScope{0}), nullptr);
    }
}

TEST(RuleSetIsProtected, FollowsTheRecordedAnswers) {
    tests::forEachVector("protected-name.json", [](const nlohmann::json& v) {
        EXPECT_EQ(RuleSet::standard().isProtected(v["input"].get<std::string>()), v["expected"]["protected"]);
    });
}

TEST(RuleSetIsProtected, LooksAtTheLowerCasedExtensionAlone) {
    EXPECT_TRUE(RuleSet::standard().isProtected("._x.TTF"));
    EXPECT_FALSE(RuleSet::standard().isProtected("._x.ttf.zip"));
    EXPECT_FALSE(RuleSet::standard().isProtected("._x."));
    EXPECT_FALSE((RuleSet{Rule::builtIn(), {}}).isProtected("._x.ttf"));
}

}  // namespace
}  // namespace varnel
