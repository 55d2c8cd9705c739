// SPDX-License-Identifier: MIT
#include "core/rules/RuleScope.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

namespace varnel {
namespace {

TEST(RuleScope, HasThreeNamedMembers) {
    EXPECT_EQ(RuleScope::watcher.rawValue, 1);
    EXPECT_EQ(RuleScope::adhoc.rawValue, 2);
    EXPECT_EQ(RuleScope::both.rawValue, 3);
    EXPECT_EQ(RuleScope{3}, RuleScope::both);
    EXPECT_TRUE(RuleScope{3}.contains(RuleScope::watcher));
    EXPECT_TRUE(RuleScope{3}.contains(RuleScope::adhoc));
}

TEST(RuleScope, IsEmptyAtZeroAndOverlapsNothing) {
    EXPECT_TRUE(RuleScope{0}.isEmpty());
    for (const RuleScope other : {RuleScope{0}, RuleScope::watcher, RuleScope::adhoc, RuleScope::both}) {
        EXPECT_FALSE(RuleScope{0}.overlaps(other)) << other.rawValue;
        EXPECT_FALSE(other.overlaps(RuleScope{0})) << other.rawValue;
    }
}

TEST(RuleScope, IsMadeFromMembers) {
    EXPECT_EQ(RuleScope::of({}), RuleScope{0});
    EXPECT_EQ(RuleScope::of({RuleScope::watcher}), RuleScope::watcher);
    EXPECT_EQ(RuleScope::of({RuleScope::adhoc, RuleScope::watcher}), RuleScope::both);
}

TEST(RuleScope, IsASetForEveryPairOfValues) {
    for (std::int64_t a = 0; a < 16; ++a) {
        for (std::int64_t b = 0; b < 16; ++b) {
            const RuleScope x{a};
            const RuleScope y{b};
            SCOPED_TRACE(std::to_string(a) + " and " + std::to_string(b));
            EXPECT_EQ(x.unionWith(y).rawValue, a | b);
            EXPECT_EQ((x | y).rawValue, a | b);
            EXPECT_EQ(x.intersection(y).rawValue, a & b);
            EXPECT_EQ(x.symmetricDifference(y).rawValue, a ^ b);
            EXPECT_EQ(x.subtracting(y).rawValue, a & ~b);
            EXPECT_EQ(x.overlaps(y), (a & b) != 0);
            EXPECT_EQ(x.isDisjointWith(y), (a & b) == 0);
            EXPECT_EQ(x.isSubsetOf(y), (a | b) == b);
            EXPECT_EQ(x.isSupersetOf(y), (a | b) == a);
            EXPECT_EQ(x.isStrictSubsetOf(y), (a | b) == b && a != b);
            EXPECT_EQ(x.isStrictSupersetOf(y), (a | b) == a && a != b);

            RuleScope changed = x;
            EXPECT_EQ(changed.insert(y), (a & b) != b);
            EXPECT_EQ(changed.rawValue, a | b);
            const auto present = (a & b) == 0 ? std::nullopt : std::optional<RuleScope>(RuleScope{a & b});
            changed = x;
            EXPECT_EQ(changed.update(y), present);
            EXPECT_EQ(changed.rawValue, a | b);
            changed = x;
            EXPECT_EQ(changed.remove(y), present);
            EXPECT_EQ(changed.rawValue, a & ~b);
        }
    }
}

}  // namespace
}  // namespace varnel
