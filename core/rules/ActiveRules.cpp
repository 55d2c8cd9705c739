// SPDX-License-Identifier: MIT
#include "core/rules/ActiveRules.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/base/Text.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel {
namespace {

constexpr unsigned char firstBeyondASCII = 0x80;

unsigned char otherCase(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned char>(c - 'A' + 'a');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned char>(c - 'a' + 'A');
    return c;
}

/// Whether a name that begins with the byte `first` can be claimed at all. Errs towards yes.
bool canClaim(const RuleMatch& match, unsigned char first) {
    if (match.text.empty() || first >= firstBeyondASCII) return true;
    const auto begin = static_cast<unsigned char>(match.text.front());
    if (begin >= firstBeyondASCII) return true;
    switch (match.kind) {
        case RuleMatch::Kind::name:
            return first == begin || first == otherCase(begin);
        case RuleMatch::Kind::prefix:
            return first == begin;
        case RuleMatch::Kind::suffix:
        case RuleMatch::Kind::glob:
            return true;
    }
    return true;
}

}  // namespace

ActiveRules::ActiveRules(const RuleSet& set, RuleScope scope) : rules_(set.active(scope)), globs_(rules_.size()) {
    for (std::size_t index = 0; index < rules_.size(); ++index) {
        const RuleMatch& match = rules_[index].match;
        if (match.kind == RuleMatch::Kind::glob) globs_[index] = Text::characters(match.text);
        const Candidate candidate = {static_cast<std::uint32_t>(index),
                                     match.kind == RuleMatch::Kind::name && Text::isASCII(match.text),
                                     static_cast<std::uint32_t>(match.text.size())};
        for (std::size_t first = 0; first < candidates_.size(); ++first) {
            if (canClaim(match, static_cast<unsigned char>(first))) candidates_[first].push_back(candidate);
        }
    }
}

const Rule* ActiveRules::firstMatch(std::string_view name, bool isDirectory) const {
    // No entry bears the empty name, but a pattern of stars matches it.
    const unsigned char first = name.empty() ? firstBeyondASCII : static_cast<unsigned char>(name.front());
    const auto& candidates = candidates_[first];
    if (candidates.empty()) return nullptr;
    const bool isASCII = Text::isASCII(name);
    for (const Candidate& candidate : candidates) {
        // Between ASCII texts, case changes no length; and no folding makes a text longer than its bytes.
        const bool isWrongLength = isASCII ? name.size() != candidate.nameLength : name.size() < candidate.nameLength;
        if (candidate.isASCIIName && isWrongLength) continue;
        if (applies(candidate, name, isDirectory)) return &rules_[candidate.index];
    }
    return nullptr;
}

bool ActiveRules::applies(const Candidate& candidate, std::string_view name, bool isDirectory) const {
    const Rule& rule = rules_[candidate.index];
    if (rule.match.kind != RuleMatch::Kind::glob) return rule.applies(name, isDirectory);
    if (rule.target == (isDirectory ? RuleTarget::file : RuleTarget::directory)) return false;
    return Rule::glob(globs_[candidate.index], Text::characters(name));
}

}  // namespace varnel
