// SPDX-License-Identifier: MIT
//
// Where the macOS layer adds to what the platform's strings do.
#include "core/base/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/base/Path.h"

namespace varnel {
namespace {

TEST(MacText, CountsALineEndOfTwoOnce) {
    EXPECT_EQ(Text::characterCount("\u00e9\r\n\u00e9"), 3);
    EXPECT_EQ(Text::characterCount("\u00e9\r"), 2);
    EXPECT_EQ(Text::characterCount("\u00e9\n\r"), 3);
    EXPECT_EQ(Text::characters("e\u0301\r\n"), (std::vector<std::string>{"\u00e9", "\r\n"}));
}

TEST(MacPath, HasNoSlashAtTheEndWhateverTheSystemLeaves) {
    EXPECT_EQ(Path::standardized("/tmp/no-such-folder/x/.."), "/tmp/no-such-folder");
    EXPECT_EQ(Path::standardized("/usr/../usr/"), "/usr");
}

TEST(MacPath, StandardisesBytesThatAreNoText) {
    EXPECT_EQ(Path::standardized("/Volumes//\xff/./a/"), "/Volumes/\xff/a");
}

}  // namespace
}  // namespace varnel
