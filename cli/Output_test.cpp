// SPDX-License-Identifier: MIT
#include "cli/Output.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/base/Text.h"
#include "tests/support/Random.h"

namespace varnel::cli {
namespace {

TEST(EscapedForTerminal, ShowsWhatCouldDriveATerminal) {
    const struct {
        std::string bytes, shown;
    } cases[] = {
        {"plain \u00e9 \u6771 \U0001f469\u200d\U0001f467", "plain \u00e9 \u6771 \U0001f469\u200d\U0001f467"},
        {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
        {std::string("\0\x1b\x7f", 3), "\\x00\\x1B\\x7F"},
        {"\u009b31m", "\\u{009B}31m"},
        {"\u202e\u2066\u200e\u061c\u2028\ufeff", "\\u{202E}\\u{2066}\\u{200E}\\u{061C}\\u{2028}\\u{FEFF}"},
        {"\xff\xc3(\xe2\x82", "\\xFF\\xC3(\\xE2\\x82"},
        {"e\u0301", "e\u0301"},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(escapedForTerminal(c.bytes), c.shown);
}

TEST(EscapedForTerminal, NeverLetsAControlByteOut) {
    tests::Random random;
    for (int round = 0; round < 3000; ++round) {
        std::string bytes;
        for (std::size_t length = random.below(30); length > 0; --length)
            bytes += static_cast<char>(random.below(256));
        const std::string shown = escapedForTerminal(bytes);
        EXPECT_TRUE(Text::isValidUTF8(shown));
        for (const char c : shown)
            ASSERT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
    }
}

}  // namespace
}  // namespace varnel::cli
