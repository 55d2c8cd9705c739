// SPDX-License-Identifier: MIT
#include "core/base/Checked.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace varnel {
namespace {

constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

TEST(AddOrTrap, AddsWhateverFits) {
    EXPECT_EQ(addOrTrap(2, 3), 5);
    EXPECT_EQ(addOrTrap(greatest, 0), greatest);
    EXPECT_EQ(addOrTrap(greatest, least), -1);
}

TEST(AddOrTrapDeathTest, StopsTheProcessOnOverflow) {
    EXPECT_DEATH(addOrTrap(greatest, 1), "arithmetic overflow");
    EXPECT_DEATH(addOrTrap(least, -1), "arithmetic overflow");
}

}  // namespace
}  // namespace varnel
