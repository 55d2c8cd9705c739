// SPDX-License-Identifier: MIT
#include "core/base/Base64.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "tests/support/Random.h"

namespace varnel {
namespace {

TEST(Base64, EncodesAndDecodesTheKnownTexts) {
    constexpr struct {
        std::string_view bytes, text;
    } cases[] = {{"", ""},
                 {"f", "Zg=="},
                 {"fo", "Zm8="},
                 {"foo", "Zm9v"},
                 {"foob", "Zm9vYg=="},
                 {"fooba", "Zm9vYmE="},
                 {"foobar", "Zm9vYmFy"},
                 {"\xff\xfe", "//4="}};
    for (const auto& c : cases) {
        EXPECT_EQ(Base64::encoded(c.bytes), c.text);
        EXPECT_EQ(Base64::decoded(c.text), c.bytes) << c.text;
    }
}

TEST(Base64, DecodesNothingElse) {
    for (const char* text :
         {"A", "AA", "AAA", "Zg=", "Zg===", "Z===", "Z!==", "Zh==", "Zm9=", "=AAA", "AA=A", "Zg==\n"}) {
        EXPECT_EQ(Base64::decoded(text), std::nullopt) << text;
    }
}

TEST(Base64, ReadsBackWhatItWrote) {
    tests::Random random;
    for (int round = 0; round < 2000; ++round) {
        std::string bytes;
        for (std::size_t length = random.below(40); length > 0; --length)
            bytes += static_cast<char>(random.below(256));
        ASSERT_EQ(Base64::decoded(Base64::encoded(bytes)), bytes);
    }
}

}  // namespace
}  // namespace varnel
