// SPDX-License-Identifier: MIT
#include "core/base/RemovalFailure.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/ErrorTexts.h"

namespace varnel {
namespace {

TEST(RemovalFailureOnLinux, IsWhatTheCallSays) {
    const auto ofFolder = [](const std::string& path, int error) { return removalFailure(path, true, error); };
    const auto ofFile = [](const std::string& path, int error) { return removalFailure(path, false, error); };
    EXPECT_EQ(tests::compareErrorTexts("Linux", "removeItem", ofFolder), 7);
    EXPECT_EQ(tests::compareErrorTexts("Linux", "unlink", ofFile), 5);
}

}  // namespace
}  // namespace varnel
