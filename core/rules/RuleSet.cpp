// SPDX-License-Identifier: MIT
#include "core/rules/RuleSet.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"

namespace varnel {
namespace {

/// The one rule that consults the protected extensions.
constexpr std::string_view companionRule = "appledouble";

bool isActive(const Rule& rule, RuleScope scope) {
    return rule.enabled && rule.scope.overlaps(scope);
}

}  // namespace

std::vector<Rule> RuleSet::active(RuleScope scope) const {
    std::vector<Rule> result;
    std::copy_if(rules.begin(), rules.end(), std::back_inserter(result),
                 [scope](const Rule& rule) { return isActive(rule, scope); });
    return result;
}

const Rule* RuleSet::firstMatch(std::string_view name, bool isDirectory, RuleScope scope) const& {
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const Rule& rule) {
        return isActive(rule, scope) && rule.applies(name, isDirectory);
    });
    return found == rules.end() ? nullptr : &*found;
}

bool RuleSet::isProtected(std::string_view name) const {
    const std::string_view extension = Path::extension(name);
    return !extension.empty() && protectedExtensions.contains(Text::lowercased(extension));
}

bool RuleSet::isKept(const Rule& rule, std::string_view name) const {
    return rule.id == companionRule && isProtected(name);
}

const RuleSet& RuleSet::standard() {
    static const RuleSet set = {Rule::builtIn(), Rule::builtInProtectedExtensions()};
    return set;
}

}  // namespace varnel
