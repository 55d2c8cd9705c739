// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel {

/// The rules of one scope, prepared once for a question that is asked for every entry of a tree.
///
/// Gives exactly the answers of RuleSet::firstMatch. A name's first byte picks the few rules that can claim it, most
/// often none, and its second byte and its length leave hardly any of those; glob patterns are split beforehand.
class ActiveRules {
public:
    ActiveRules(const RuleSet& set, RuleScope scope);

    /// The first rule, in table order, that applies; null when none does. Points into this object.
    const Rule* firstMatch(std::string_view name, bool isDirectory) const;

    const std::vector<Rule>& rules() const { return rules_; }

private:
    /// A rule that can claim a name with a certain first byte, with what rejects most of those names at once.
    struct Candidate {
        std::uint32_t index = 0;       // into rules_
        bool isASCIIName = false;      // compares the whole name, caselessly, with an ASCII text
        unsigned char second = 0;      // of that text in lower case, where it has two bytes
        std::uint32_t nameLength = 0;  // of that text
    };

    static bool canEqual(const Candidate& candidate, std::string_view name);
    bool applies(const Candidate& candidate, std::string_view name, bool isDirectory) const;

    std::vector<Rule> rules_;
    std::vector<std::vector<std::string>> globs_;  // parallel to rules_, empty but for globs
    std::array<std::vector<Candidate>, 256> candidates_;
};

}  // namespace varnel
