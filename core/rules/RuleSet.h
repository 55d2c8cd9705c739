// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"

namespace varnel {

/// What counts as litter: rules in the order in which they claim, and the file types whose `._` companions are kept.
struct RuleSet {
    std::vector<Rule> rules;
    std::set<std::string, std::less<>> protectedExtensions;  ///< Lower case, without the dot.

    /// The enabled rules that share a member with `scope`, in table order.
    std::vector<Rule> active(RuleScope scope) const;

    /// The first enabled rule of `scope` that applies, in table order; null when none does.
    /// Valid as long as this set is alive and its rules are unchanged.
    const Rule* firstMatch(std::string_view name, bool isDirectory, RuleScope scope) const&;
    const Rule* firstMatch(std::string_view name, bool isDirectory, RuleScope scope) const&& = delete;

    /// Whether the name carries a protected extension, in any letter case.
    bool isProtected(std::string_view name) const;

    /// Whether a name that `rule` claims is kept all the same: companions of what carries a protected extension are.
    bool isKept(const Rule& rule, std::string_view name) const;

    /// The built-in rules with the built-in protected extensions.
    static const RuleSet& standard();
};

}  // namespace varnel
