// SPDX-License-Identifier: MIT
#include "core/base/RemovalFailure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "tests/support/ErrorTexts.h"

namespace varnel {
namespace {

TEST(MacRemovalFailure, OfAFolderIsWhatTheFileManagerSays) {
    const auto ofFolder = [](const std::string& path, int error) { return removalFailure(path, true, error); };
    EXPECT_EQ(tests::compareErrorTexts("macOS", "removeItem", ofFolder), 3);
    EXPECT_EQ(removalFailure("/Volumes/USB/a b", true, ENOTEMPTY),
              "“a b” couldn’t be removed because you don’t have permission to access it.");
    EXPECT_EQ(removalFailure("/Volumes/USB/ü", true, EIO), "“ü” couldn’t be removed.");
}

TEST(MacRemovalFailure, OfAnythingElseIsWhatTheCallSays) {
    EXPECT_EQ(removalFailure("/Volumes/USB/.DS_Store", false, EACCES), "Permission denied");
    EXPECT_EQ(removalFailure("/Volumes/USB/.DS_Store", false, EROFS), "Read-only file system");
}

}  // namespace
}  // namespace varnel
