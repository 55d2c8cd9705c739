// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/rules/RuleScope.h"

namespace varnel {

/// How the last component of a path is tested: the kind of comparison and the text to compare with.
///
/// A name and a suffix ignore case, a prefix and a glob do not. Only a name compares literally; the others take
/// canonically equivalent characters for equal.
struct RuleMatch {
    enum class Kind : std::uint8_t { name, prefix, suffix, glob };

    Kind kind = Kind::name;
    std::string text;

    static RuleMatch name(std::string text) { return {Kind::name, std::move(text)}; }
    static RuleMatch prefix(std::string text) { return {Kind::prefix, std::move(text)}; }
    static RuleMatch suffix(std::string text) { return {Kind::suffix, std::move(text)}; }
    static RuleMatch glob(std::string text) { return {Kind::glob, std::move(text)}; }

    bool operator==(const RuleMatch&) const = default;
};

/// Which entries a rule may match. Everything that is not a directory counts as a file, links included.
enum class RuleTarget : std::uint8_t { file, directory, any };

/// "file", "directory" or "any".
std::string_view rawValue(RuleTarget target);

/// The target of that raw value, in exactly that spelling; none for any other text.
std::optional<RuleTarget> ruleTargetFromRawValue(std::string_view raw);

/// One kind of litter.
struct Rule {
    std::string id;  ///< Stable; keys the tallies of a scan. Unique within a rule set.
    std::string label;
    RuleMatch match;
    RuleTarget target = RuleTarget::any;
    RuleScope scope;
    bool enabled = true;  ///< A disabled rule never claims anything.

    /// Whether target and match accept an entry of this name. Does not ask whether the rule is enabled or in scope.
    bool applies(std::string_view name, bool isDirectory) const;

    /// Whether the whole name matches the pattern, in which only "*" is special: any run of characters, also none.
    static bool glob(std::string_view pattern, std::string_view name);

    /// The same over texts that were split into characters before, each composed.
    static bool glob(const std::vector<std::string>& pattern, const std::vector<std::string>& name);

    /// The fourteen kinds of litter that Varnel knows, in the order in which they claim.
    static const std::vector<Rule>& builtIn();

    /// The extensions of fonts and print layouts, whose `._` companions hold resource forks. Lower case, without dot.
    static const std::set<std::string, std::less<>>& builtInProtectedExtensions();

    bool operator==(const Rule&) const = default;
};

}  // namespace varnel
