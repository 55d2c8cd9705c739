// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>

namespace varnel {

/// The set of modes in which a rule is active.
struct RuleScope {
    std::int64_t rawValue = 0;

    static const RuleScope watcher;  ///< Applied live, as entries appear.
    static const RuleScope adhoc;    ///< Applied by scans on demand.
    static const RuleScope both;

    /// The union of the members.
    static constexpr RuleScope of(std::initializer_list<RuleScope> members) {
        RuleScope all;
        for (const RuleScope member : members)
            all.rawValue |= member.rawValue;
        return all;
    }

    /// Whether two scopes share a member: the one question that decides whether a rule is active.
    constexpr bool overlaps(RuleScope other) const { return (rawValue & other.rawValue) != 0; }

    constexpr bool isEmpty() const { return rawValue == 0; }
    constexpr bool contains(RuleScope other) const { return (rawValue & other.rawValue) == other.rawValue; }
    constexpr bool isSubsetOf(RuleScope other) const { return other.contains(*this); }
    constexpr bool isSupersetOf(RuleScope other) const { return contains(other); }
    constexpr bool isStrictSubsetOf(RuleScope other) const { return isSubsetOf(other) && *this != other; }
    constexpr bool isStrictSupersetOf(RuleScope other) const { return other.isStrictSubsetOf(*this); }
    constexpr bool isDisjointWith(RuleScope other) const { return !overlaps(other); }

    constexpr RuleScope unionWith(RuleScope other) const { return {rawValue | other.rawValue}; }
    constexpr RuleScope intersection(RuleScope other) const { return {rawValue & other.rawValue}; }
    constexpr RuleScope symmetricDifference(RuleScope other) const { return {rawValue ^ other.rawValue}; }
    constexpr RuleScope subtracting(RuleScope other) const { return {rawValue & ~other.rawValue}; }

    /// Adds `member`; answers whether it was missing.
    constexpr bool insert(RuleScope member) {
        const bool wasMissing = !contains(member);
        rawValue |= member.rawValue;
        return wasMissing;
    }

    /// Takes `member` out; gives the part of it that was present, if any was.
    constexpr std::optional<RuleScope> remove(RuleScope member) {
        const RuleScope present = intersection(member);
        rawValue &= ~member.rawValue;
        if (present.isEmpty()) return std::nullopt;
        return present;
    }

    /// Adds `member` whether present or not; gives the part of it that was present before, if any was.
    constexpr std::optional<RuleScope> update(RuleScope member) {
        const RuleScope present = intersection(member);
        rawValue |= member.rawValue;
        if (present.isEmpty()) return std::nullopt;
        return present;
    }

    friend constexpr bool operator==(RuleScope, RuleScope) = default;
    friend constexpr RuleScope operator|(RuleScope a, RuleScope b) { return a.unionWith(b); }
};

inline constexpr RuleScope RuleScope::watcher{1};
inline constexpr RuleScope RuleScope::adhoc{2};
inline constexpr RuleScope RuleScope::both{3};

}  // namespace varnel
