// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/base/Text.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel::cli {
namespace {

std::string_view kindText(RuleMatch::Kind kind) {
    switch (kind) {
        case RuleMatch::Kind::name:
            return "name";
        case RuleMatch::Kind::prefix:
            return "prefix";
        case RuleMatch::Kind::suffix:
            return "suffix";
        case RuleMatch::Kind::glob:
            return "glob";
    }
    return {};
}

std::string json(const RuleSet& set) {
    nlohmann::ordered_json all;
    for (const Rule& rule : set.rules) {
        nlohmann::ordered_json scope = nlohmann::ordered_json::array();
        if (rule.scope.contains(RuleScope::watcher)) scope.push_back("watcher");
        if (rule.scope.contains(RuleScope::adhoc)) scope.push_back("adhoc");
        nlohmann::ordered_json match;
        match["kind"] = kindText(rule.match.kind);
        match["text"] = rule.match.text;
        nlohmann::ordered_json object;
        object["id"] = rule.id;
        object["label"] = rule.label;
        object["match"] = match;
        object["target"] = rawValue(rule.target);
        object["scope"] = scope;
        object["enabled"] = rule.enabled;
        all["rules"].push_back(object);
    }
    all["protectedExtensions"] = set.protectedExtensions;
    return all.dump() + '\n';
}

std::string table(const RuleSet& set) {
    std::int64_t idWidth = 0;
    std::int64_t labelWidth = 0;
    std::int64_t matchWidth = 0;
    const auto matchText = [](const Rule& rule) {
        return std::string(kindText(rule.match.kind)) + " \"" + rule.match.text + '"';
    };
    for (const Rule& rule : set.rules) {
        idWidth = std::max(idWidth, Text::characterCount(rule.id));
        labelWidth = std::max(labelWidth, Text::characterCount(rule.label));
        matchWidth = std::max(matchWidth, Text::characterCount(matchText(rule)));
    }
    std::string text;
    for (const Rule& rule : set.rules) {
        text += Text::padRight(rule.id, idWidth) + "  " + Text::padRight(rule.label, labelWidth) + "  " +
                Text::padRight(matchText(rule), matchWidth) + "  " + Text::padRight(rawValue(rule.target), 9) + "  " +
                (rule.scope.contains(RuleScope::watcher) ? "live, on demand" : "on demand") + '\n';
    }
    text += "\nprotected extensions (their ._ companions are kept):";
    for (const std::string& extension : set.protectedExtensions)
        text += ' ' + extension;
    return text + '\n';
}

}  // namespace

ExitStatus runRules(const RulesArguments& arguments) {
    const RuleSet& set = RuleSet::standard();
    Output::result(arguments.json ? json(set) : table(set));
    return ExitStatus::done;
}

}  // namespace varnel::cli
