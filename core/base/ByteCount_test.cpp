// SPDX-License-Identifier: MIT
#include "core/base/ByteCount.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "tests/support/Vectors.h"

namespace varnel {
namespace {

TEST(ByteCount, FollowsTheRecordedAnswers) {
    tests::forEachVector("byte-count.json", [](const nlohmann::json& v) {
        EXPECT_EQ(ByteCount::text(std::stoll(v["input"].get<std::string>())), v["expected"].get<std::string>());
    });
}

TEST(ByteCount, TakesTheExtremes) {
    EXPECT_EQ(ByteCount::text(std::numeric_limits<std::int64_t>::max()), "9.22 EB");
    EXPECT_EQ(ByteCount::text(std::numeric_limits<std::int64_t>::min()), "-9.22 EB");
}

}  // namespace
}  // namespace varnel
