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

unsigned char lower(char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

/// Whether a name that begins with the byte `first` can be claimed at all. Errs towards yes.
bool canClaim(const RuleMatch& match, unsigned char first) {
    if (match.text.empty() || first >= firstBeyondASCII) return true;
    const char begin = match.text.front();
    if (static_cast<unsigned char>(begin) >= firstBeyondASCII) return true;
    switch (match.kind) {
        case RuleMatch::Kind::name:
            return lower(static_cast<char>(first)) == lower(begin);
        case RuleMatch::Kind::prefix:
            return static_cast<char>(first) == begin;
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
        const Candidate candidate = {.index = static_cast<std::uint32_t>(index),
                                     .isASCIIName = match.kind == RuleMatch::Kind::name && Text::isASCII(match.text),
                                     .second = lower(match.text.size() < 2 ? '\0' : match.text[1]),
                                     .nameLength = static_cast<std::uint32_t>(match.text.size())};
        for (std::size_t first = 0; first < candidates_.size(); ++first) {
            if (canClaim(match, static_cast<unsigned char>(first))) candidates_[first].push_back(candidate);
        }
    }
}

const Rule* ActiveRules::firstMatch(std::string_view name, bool isDirectory) const {
    // No entry bears the empty name, but a pattern of stars matches it.
    const unsigned char first = name.empty() ? firstBeyondASCII : static_cast<unsigned char>(name.front());
    for (const Candidate& candidate : candidates_[first]) {
        if (candidate.isASCIIName && !canEqual(candidate, name)) continue;
        if (applies(candidate, name, isDirectory)) return &rules_[candidate.index];
    }
    return nullptr;
}

/// Whether the name can equal the candidate's ASCII text. Errs towards yes.
bool ActiveRules::canEqual(const Candidate& candidate, std::string_view name) {
    // What folds to ASCII is never shorter, in bytes, than what it folds to; and ASCII folds byte by byte.
    if (name.size() < candidate.nameLength) return false;
    if (candidate.nameLength > 1) {
        const unsigned char second = lower(name[1]);
        if (second < firstBeyondASCII && second != candidate.second) return false;
    }
    return name.size() == candidate.nameLength || !Text::isASCII(name);
}

bool ActiveRules::applies(const Candidate& candidate, std::string_view name, bool isDirectory) const {
    const Rule& rule = rules_[candidate.index];
    if (rule.match.kind != RuleMatch::Kind::glob) return rule.applies(name, isDirectory);
    if (rule.target == (isDirectory ? RuleTarget::file : RuleTarget::directory)) return false;
    return Rule::glob(globs_[candidate.index], Text::characters(name));
}

}  // namespace varnel
