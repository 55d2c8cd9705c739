// SPDX-License-Identifier: MIT
#include "core/plan/Plan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace varnel {
namespace {

TEST(Plan, IsEmptyWithoutItemsWhateverElseItHolds) {
    Plan plan;
    plan.protectedItems = {"/v/._x.ttf"};
    plan.errors = {"cannot open: /v/a"};
    EXPECT_TRUE(plan.isEmpty());
    EXPECT_EQ(plan.totalBytes(), 0);
    plan.items = {{"/v/._a", "._a", "appledouble", false, 0}};
    EXPECT_FALSE(plan.isEmpty());
}

TEST(PlanTotalBytes, IsTheSumOfTheItems) {
    Plan plan;
    plan.items = {{"/v/a", "a", "x", false, 3}, {"/v/b", "b", "x", true, 0}, {"/v/c", "c", "x", false, -1}};
    EXPECT_EQ(plan.totalBytes(), 2);
}

TEST(PlanTotalBytesDeathTest, TrapsOnOverflow) {
    Plan plan;
    plan.items = {{"/v/a", "a", "x", false, std::numeric_limits<std::int64_t>::max()}, {"/v/b", "b", "x", false, 1}};
    EXPECT_DEATH(static_cast<void>(plan.totalBytes()), "overflow");
}

TEST(Plan, ItemsAndTalliesAreEqualFieldByField) {
    const MatchItem item{"/v/a", "a", "x", false, 3};
    EXPECT_EQ(item, MatchItem(item));
    EXPECT_NE(item, (MatchItem{"/v/b", "a", "x", false, 3}));
    EXPECT_NE(item, (MatchItem{"/v/a", "a", "x", true, 3}));
    const RuleTally tally{"x", "X", 1, 2, 3};
    EXPECT_EQ(tally, RuleTally(tally));
    EXPECT_NE(tally, (RuleTally{"x", "X", 1, 2, 4}));
}

}  // namespace
}  // namespace varnel
