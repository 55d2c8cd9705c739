// SPDX-License-Identifier: MIT
#include "core/base/DoubleText.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/support/Random.h"
#include "tests/support/Vectors.h"

namespace varnel {
namespace {

TEST(DoubleText, FollowsTheRecordedAnswers) {
    tests::forEachVector("double-description.json", [](const nlohmann::json& v) {
        const std::uint64_t bits = std::stoull(v["input"]["bits"].get<std::string>(), nullptr, 16);
        EXPECT_EQ(DoubleText::text(std::bit_cast<double>(bits)), v["expected"].get<std::string>());
    });
}

TEST(DoubleText, ReadsBackAsTheSameNumber) {
    tests::Random random;
    for (int round = 0; round < 5000; ++round) {
        const auto bits = static_cast<std::uint64_t>(random.below(1U << 31U)) << 33U ^
                          static_cast<std::uint64_t>(random.below(1U << 31U)) << 11U ^ random.below(1U << 11U);
        const auto value = std::bit_cast<double>(bits);
        if (std::isnan(value) || std::isinf(value)) continue;
        EXPECT_EQ(std::strtod(DoubleText::text(value).c_str(), nullptr), value) << bits;
    }
}

}  // namespace
}  // namespace varnel
