// SPDX-License-Identifier: MIT
#include "core/plan/ExecResult.h"

#include <gtest/gtest.h>

#include <string_view>

namespace varnel {
namespace {

TEST(ExecResult, BeginsEmptyAndOk) {
    const ExecResult result;
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.summary(/*dryRun=*/false), "removed 0 items, Zero KB");
    EXPECT_EQ(result.summary(/*dryRun=*/true), "would remove 0 items, Zero KB");
}

TEST(ExecResult, IsOkUntilSomethingFails) {
    ExecResult result;
    result.skipped = {"/v/a"};
    EXPECT_TRUE(result.ok());
    result.failures = {{"/v/b", "Permission denied"}};
    EXPECT_FALSE(result.ok());
}

TEST(ExecResultSummary, NamesWhatIsThere) {
    const struct {
        ExecResult result;
        std::string_view summary;
    } cases[] = {
        {{1, 0, 1, {}, {}}, "removed 1 items, 1 byte"},
        {{1, 1, 0, {}, {}}, "removed 1 items (1 dirs), Zero KB"},
        {{3, 2, 1'500'000, {}, {}}, "removed 3 items (2 dirs), 1.5 MB"},
        {{0, 0, 0, {{"/a", "x"}}, {}}, "removed 0 items, Zero KB, 1 failed"},
        {{0, 0, 0, {}, {"/a", "/b"}}, "removed 0 items, Zero KB, 2 skipped"},
        {{2, 1, 5, {{"/a", "x"}, {"/b", "y"}}, {"/c"}}, "removed 2 items (1 dirs), 5 bytes, 2 failed, 1 skipped"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.result.summary(/*dryRun=*/false), c.summary);
}

}  // namespace
}  // namespace varnel
