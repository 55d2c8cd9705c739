// SPDX-License-Identifier: MIT
#include "core/rules/ActiveRules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Random.h"

namespace varnel {
namespace {

std::string idOf(const Rule* rule) {
    return rule == nullptr ? "none" : rule->id;
}

void expectSameAnswers(const RuleSet& set, RuleScope scope, const ActiveRules& active, const std::string& name) {
    for (const bool isDirectory : {false, true}) {
        EXPECT_EQ(idOf(active.firstMatch(name, isDirectory)), idOf(set.firstMatch(name, isDirectory, scope)))
            << name << (isDirectory ? " as a folder" : " as a file");
    }
}

TEST(ActiveRules, AnswerLikeTheRuleSetForTheBuiltInRules) {
    tests::Random random;
    std::vector<std::string> pieces = {"._",     ".",      "_",    "a", "s",      "S",          "k", "\u017f",
                                       "\u212a", "\u0301", "\xff", "",  "\u00df", "\U0001f469", " ", "$"};
    for (const Rule& rule : Rule::builtIn()) {
        pieces.push_back(rule.match.text);
        pieces.push_back(rule.match.text.substr(0, rule.match.text.size() / 2));
    }
    for (const RuleScope scope : {RuleScope::watcher, RuleScope::adhoc, RuleScope::both, RuleScope{0}}) {
        const RuleSet& set = RuleSet::standard();
        const ActiveRules active(set, scope);
        EXPECT_EQ(active.rules(), set.active(scope));
        for (int round = 0; round < 5000; ++round)
            expectSameAnswers(set, scope, active, random.text(pieces, 3));
        for (int byte = 0; byte < 256; ++byte) {
            expectSameAnswers(set, scope, active, std::string(1, static_cast<char>(byte)));
            expectSameAnswers(set, scope, active, std::string(1, static_cast<char>(byte)) + "_MACOSX");
        }
        expectSameAnswers(set, scope, active, "");
    }
}

TEST(ActiveRules, AnswerLikeTheRuleSetForAnyRules) {
    tests::Random random;
    const std::vector<std::string> pieces = {"",       "a",      "A",      "k",      "K",  "s", "\u017f",
                                             "\u212a", "\u00df", "ss",     "\u0301", "*",  ";", "\u037e",
                                             ".",      "_",      "\ufb05", "\xc3",   "\r", "\n"};
    for (int round = 0; round < 300; ++round) {
        RuleSet set;
        for (std::size_t count = random.below(6); count > 0; --count) {
            const auto kind = static_cast<RuleMatch::Kind>(random.below(4));
            const auto target = static_cast<RuleTarget>(random.below(3));
            set.rules.push_back({std::to_string(count), "", RuleMatch{kind, random.text(pieces, 3)}, target,
                                 RuleScope{static_cast<std::int64_t>(random.below(4))}, random.chance(0.8)});
        }
        const RuleScope scope{static_cast<std::int64_t>(random.below(4))};
        const ActiveRules active(set, scope);
        for (int name = 0; name < 50; ++name)
            expectSameAnswers(set, scope, active, random.text(pieces, 4));
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace
}  // namespace varnel
