// SPDX-License-Identifier: MIT
#include "app/FileURL.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/Random.h"

namespace varnel {
namespace {

TEST(FileURL, NamesAPath) {
    const struct {
        std::string url, path;
    } cases[] = {
        {"file:///media/ana/USB", "/media/ana/USB"},
        {"file:///media/ana/USB/", "/media/ana/USB/"},
        {"file:/media/USB", "/media/USB"},
        {"FILE:///media/USB", "/media/USB"},
        {"file://localhost/media/USB", "/media/USB"},
        {"file://LocalHost/media/USB", "/media/USB"},
        {"file:///", "/"},
        {"file:///a%20b%2Fc%25%23%3f", "/a b/c%#?"},
        {"file:///a+b&c=d;e", "/a+b&c=d;e"},
        {"file:///caf%C3%A9", "/café"},
        {"file:///café", "/café"},
        {"file:///%ff%Fe", "/\xff\xfe"},
        {"file:///a%0Ab", "/a\nb"},
        {"file:///~/x", "/~/x"},
        {"file:///a/../b", "/a/../b"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FileURL::path(c.url), c.path) << c.url;
}

TEST(FileURL, RefusesWhateverMightMeanSomethingElse) {
    const std::string cases[] = {
        "",
        "/media/USB",
        "media/USB",
        "file",
        "file:",
        "file://",
        "file:media",
        "file:./media",
        "file://server/share",
        "file://localhost",
        "file://localhostile/x",
        "file://server//share",
        "file:////server/share",
        "http://localhost/media",
        "smb://server/share",
        "file:///a%",
        "file:///a%2",
        "file:///a%zz",
        "file:///a%0",
        "file:///a%00b",
        "file:///a?b",
        "file:///a#b",
        std::string("file:///a\0b", 11),
        " file:///a",
        "not a url",
    };
    for (const std::string& url : cases)
        EXPECT_EQ(FileURL::path(url), std::nullopt) << url;
}

TEST(FileURL, GivesBackEveryPathThatWasEscaped) {
    tests::Random random;
    for (int round = 0; round < 2000; ++round) {
        std::string path = "/x";
        std::string url = "file:///x";
        for (std::size_t count = random.below(20); count > 0; --count) {
            const auto byte = static_cast<unsigned char>(1 + random.below(255));
            path += static_cast<char>(byte);
            constexpr const char* digits = "0123456789ABCDEF";
            url += {'%', digits[byte / 16], digits[byte % 16]};
        }
        EXPECT_EQ(FileURL::path(url), path) << url;
    }
}

}  // namespace
}  // namespace varnel
