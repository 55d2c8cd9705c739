// SPDX-License-Identifier: MIT
#include "core/watcher/LoopGuard.h"

#include <gtest/gtest.h>

#include <string>

namespace varnel {
namespace {

const std::string path = "/Volumes/USB/.DS_Store";

TEST(LoopGuard, RefusesTheSixthAttemptWithinAMinuteForGood) {
    LoopGuard guard;
    for (int attempt = 1; attempt <= 5; ++attempt) {
        EXPECT_TRUE(guard.admit(path, 1000.0 + attempt)) << attempt;
        EXPECT_FALSE(guard.isSuppressed(path)) << attempt;
    }
    EXPECT_FALSE(guard.admit(path, 1006.0));
    EXPECT_TRUE(guard.isSuppressed(path));
    EXPECT_FALSE(guard.isSuppressed("/Volumes/USB/other"));
}

TEST(LoopGuard, CountsFromTheFirstAttemptAndDoesNotSlide) {
    LoopGuard guard;
    for (const double now : {0.0, 20.0, 40.0, 59.0, 60.0})
        EXPECT_TRUE(guard.admit(path, now)) << now;
    EXPECT_TRUE(guard.admit(path, 60.1)) << "more than a minute after the first: a new interval";
    for (const double now : {61.0, 62.0, 63.0, 64.0})
        EXPECT_TRUE(guard.admit(path, now)) << now;
    EXPECT_FALSE(guard.admit(path, 120.1)) << "the last moment of the interval";
}

TEST(LoopGuard, KeepsPathsApartByTheirBytes) {
    LoopGuard guard;
    for (int attempt = 0; attempt < 5; ++attempt) {
        EXPECT_TRUE(guard.admit("/v/\u00e9", 0));
        EXPECT_TRUE(guard.admit("/v/e\u0301", 0));
    }
    EXPECT_FALSE(guard.admit("/v/\u00e9", 0));
    EXPECT_FALSE(guard.isSuppressed("/v/e\u0301"));
}

}  // namespace
}  // namespace varnel
