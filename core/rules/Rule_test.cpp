// SPDX-License-Identifier: MIT
#include "core/rules/Rule.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Vectors.h"

namespace varnel {
namespace {

using nlohmann::json;
using Kind = RuleMatch::Kind;
using Target = RuleTarget;

TEST(RuleBuiltIn, IsThisTable) {
    constexpr struct {
        std::string_view id, label;
        Kind kind;
        std::string_view text;
        Target target;
        std::int64_t scope;
    } table[] = {
        {"appledouble", "._ AppleDouble files", Kind::prefix, "._", Target::file, 3},
        {"dsstore", ".DS_Store", Kind::name, ".DS_Store", Target::any, 3},
        {"apdisk", ".apdisk", Kind::name, ".apdisk", Target::file, 3},
        {"volumeicon", ".VolumeIcon.icns", Kind::name, ".VolumeIcon.icns", Target::file, 3},
        {"thumbsdb", "Thumbs.db (Windows)", Kind::name, "Thumbs.db", Target::file, 3},
        {"desktopini", "desktop.ini (Windows)", Kind::name, "desktop.ini", Target::file, 3},
        {"appledouble-dir", ".AppleDouble folders", Kind::name, ".AppleDouble", Target::directory, 3},
        {"macosx-dir", "__MACOSX folders", Kind::name, "__MACOSX", Target::directory, 3},
        {"fseventsd", ".fseventsd", Kind::name, ".fseventsd", Target::directory, 2},
        {"spotlight", ".Spotlight-V100", Kind::name, ".Spotlight-V100", Target::directory, 2},
        {"temporaryitems", ".TemporaryItems", Kind::name, ".TemporaryItems", Target::directory, 2},
        {"trashes", ".Trashes", Kind::name, ".Trashes", Target::directory, 2},
        {"recyclebin", "$Recycle.bin (Windows)", Kind::name, "$Recycle.bin", Target::directory, 2},
        {"sysvolinfo", "System Volume Information (Windows)", Kind::name, "System Volume Information",
         Target::directory, 2},
    };
    ASSERT_EQ(Rule::builtIn().size(), std::size(table));
    for (std::size_t i = 0; i < std::size(table); ++i) {
        const auto& row = table[i];
        const Rule expected{std::string(row.id), std::string(row.label), RuleMatch{row.kind, std::string(row.text)},
                            row.target,          RuleScope{row.scope},   true};
        EXPECT_EQ(Rule::builtIn()[i], expected) << row.id;
    }
    EXPECT_EQ(&Rule::builtIn(), &Rule::builtIn()) << "built once";
}

TEST(RuleBuiltInProtectedExtensions, AreTheseNine) {
    const std::set<std::string, std::less<>> expected = {"ttf", "otf", "ttc",  "dfont", "eps",
                                                         "ps",  "ai",  "indd", "qxd"};
    EXPECT_EQ(Rule::builtInProtectedExtensions(), expected);
}

TEST(RuleTarget, HasRawTextsInExactlyTheirSpelling) {
    EXPECT_EQ(rawValue(Target::file), "file");
    EXPECT_EQ(rawValue(Target::directory), "directory");
    EXPECT_EQ(rawValue(Target::any), "any");
    EXPECT_EQ(ruleTargetFromRawValue("file"), Target::file);
    EXPECT_EQ(ruleTargetFromRawValue("directory"), Target::directory);
    EXPECT_EQ(ruleTargetFromRawValue("any"), Target::any);
    for (const char* raw : {"File", "FILE", "folder", "", " file", "any "}) {
        EXPECT_EQ(ruleTargetFromRawValue(raw), std::nullopt) << raw;
    }
}

TEST(Rule, IsEqualFieldByField) {
    const Rule rule{"a", "A", RuleMatch::name("x"), Target::file, RuleScope::both, true};
    std::vector<Rule> others(6, rule);
    others[0].id = "b";
    others[1].label = "B";
    others[2].match = RuleMatch::prefix("x");
    others[3].target = Target::any;
    others[4].scope = RuleScope::adhoc;
    others[5].enabled = false;
    EXPECT_EQ(rule, Rule(rule));
    for (std::size_t i = 0; i < others.size(); ++i)
        EXPECT_NE(rule, others[i]) << "field " << i;
    EXPECT_NE(RuleMatch::suffix("x"), RuleMatch::suffix("y"));
    EXPECT_NE(RuleMatch::suffix("x"), RuleMatch::glob("x"));
}

bool applies(const RuleMatch& match, Target target, std::string_view name, bool isDirectory) {
    return Rule{"id", "label", match, target, RuleScope::both, true}.applies(name, isDirectory);
}

TEST(RuleApplies, TestsTheTargetFirst) {
    const RuleMatch all = RuleMatch::glob("*");
    EXPECT_TRUE(applies(all, Target::file, "x", /*isDirectory=*/false));
    EXPECT_FALSE(applies(all, Target::file, "x", /*isDirectory=*/true));
    EXPECT_FALSE(applies(all, Target::directory, "x", /*isDirectory=*/false));
    EXPECT_TRUE(applies(all, Target::directory, "x", /*isDirectory=*/true));
    EXPECT_TRUE(applies(all, Target::any, "x", /*isDirectory=*/false));
    EXPECT_TRUE(applies(all, Target::any, "x", /*isDirectory=*/true));
}

TEST(RuleApplies, MatchesByItsKind) {
    const struct {
        RuleMatch match;
        std::string_view name;
        bool expected;
    } cases[] = {
        {RuleMatch::name("Thumbs.db"), "Thumbs.db", true},
        {RuleMatch::name("Thumbs.db"), "THUMBS.DB", true},
        {RuleMatch::name("Thumbs.db"), "thumbs.db", true},
        {RuleMatch::name("Thumbs.db"), "Thumb\u017f.db", true},
        {RuleMatch::name("Thumbs.db"), "Thumbs.dbx", false},
        {RuleMatch::name("\u00e9"), "e\u0301", false},
        {RuleMatch::name("\u00e9"), "\u00c9", true},
        {RuleMatch::prefix("._"), "._Report.pdf", true},
        {RuleMatch::prefix("._"), "._", true},
        {RuleMatch::prefix("._"), "_.x", false},
        {RuleMatch::prefix("._"), "._\u0301x", false},
        {RuleMatch::prefix("ab"), "ABc", false},
        {RuleMatch::prefix("\u00e9"), "e\u0301x", true},
        {RuleMatch::suffix(".TMP"), "a.tmp", true},
        {RuleMatch::suffix(".tmp"), "A.TMP", true},
        {RuleMatch::suffix(".tmp"), "a.tmp.b", false},
        {RuleMatch::suffix("\u00e9"), "CAFE\u0301", true},
        {RuleMatch::glob("A*"), "abc", false},
        {RuleMatch::glob("a*"), "abc", true},
        {RuleMatch::glob("*\u00e9"), "cafe\u0301", true},
        {RuleMatch::name(".DS_Store"), ".DS_Store\xff", false},
        {RuleMatch::prefix("._"), "._\xff", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(applies(c.match, Target::any, c.name, /*isDirectory=*/false), c.expected)
            << c.match.text << " against " << c.name;
    }
}

TEST(RuleApplies, DoesNotLookAtEnabledOrScope) {
    Rule rule{"id", "label", RuleMatch::name("x"), Target::any, RuleScope{0}, false};
    EXPECT_TRUE(rule.applies("x", /*isDirectory=*/false));
}

TEST(RuleApplies, OfTheBuiltInRules) {
    constexpr struct {
        std::size_t rule;
        std::string_view name;
        bool asFile, asFolder;
    } cases[] = {
        {1, ".DS_Store", true, true},  {1, ".ds_store", true, true},
        {7, "__MACOSX", false, true},  {0, "._", true, false},
        {11, ".Trashes", false, true}, {12, "$RECYCLE.BIN", false, true},
        {2, ".APDISK", true, false},   {13, "system volume information", false, true},
    };
    for (const auto& c : cases) {
        const Rule& rule = Rule::builtIn()[c.rule];
        EXPECT_EQ(rule.applies(c.name, /*isDirectory=*/false), c.asFile) << c.name;
        EXPECT_EQ(rule.applies(c.name, /*isDirectory=*/true), c.asFolder) << c.name;
    }
}

TEST(RuleGlob, FollowsTheRecordedAnswers) {
    tests::forEachVector("glob.json", [](const json& v) {
        EXPECT_EQ(Rule::glob(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()), v["expected"]);
    });
}

TEST(RuleGlob, MatchesTheWholeName) {
    constexpr struct {
        std::string_view pattern, name;
        bool expected;
    } cases[] = {
        {"*.tmp", "a.tmp", true}, {"*", "", true},          {"", "", true},      {"a*", "", false},
        {"A*", "abc", false},     {"a*b*c", "aXbYc", true}, {"?x", "ax", false}, {"*.*", "abc", false},
        {"**", "abc", true},      {"a*c", "ac", true},      {"a", "a/b", false}, {"a*b", "a/b", true},
        {"*a", "aab", false},     {"[a]", "a", false},      {"\\*", "*", false}, {"", "a", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Rule::glob(c.pattern, c.name), c.expected) << c.pattern << " on " << c.name;
}

TEST(RuleGlob, TakesPolynomialTime) {
    const std::string name(2000, 'a');
    std::string pattern;
    for (int i = 0; i < 500; ++i)
        pattern += "*a";
    EXPECT_FALSE(Rule::glob(pattern + "b", name));
    EXPECT_TRUE(Rule::glob(pattern, name));
}

}  // namespace
}  // namespace varnel
