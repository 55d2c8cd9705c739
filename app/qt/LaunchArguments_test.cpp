// SPDX-License-Identifier: MIT
#include "app/qt/LaunchArguments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/FileURL.h"

namespace varnel {
namespace {

using Words = std::vector<std::string>;

std::expected<LaunchArguments, std::string> parse(const Words& words) {
    return LaunchArguments::parse(words, "/where/I am");
}

TEST(LaunchArguments, MakesAURLOfEveryPath) {
    const struct {
        std::string word, url;
    } cases[] = {
        {"/media/STICK", "file:///media/STICK"},
        {"STICK", "file:///where/I%20am/STICK"},
        {"../a", "file:///where/I%20am/../a"},
        {"/100%", "file:///100%25"},
        {"/a?b#c", "file:///a%3Fb%23c"},
        {"/\xff\n", "file:///%FF%0A"},
        {"/ä", "file:///%C3%A4"},
        {"a:b", "file:///where/I%20am/a%3Ab"},
        {"file:///media/a%20b", "file:///media/a%20b"},
        {"file:relative", "file:relative"},
        {"sftp://server/folder", "sftp://server/folder"},
        {"://x", "file:///where/I%20am/%3A//x"},
        {"a b://x", "file:///where/I%20am/a%20b%3A//x"},
    };
    for (const auto& [word, url] : cases) {
        const auto arguments = parse({word});
        ASSERT_TRUE(arguments) << word;
        EXPECT_EQ(arguments->urls, Words{url}) << word;
    }
}

TEST(LaunchArguments, GivesURLsFromWhichThePathComesBack) {
    std::string everyByte = "/";
    for (int byte = 1; byte < 256; ++byte)
        everyByte += static_cast<char>(byte);
    EXPECT_EQ(FileURL::path(fileURL(everyByte)), everyByte);
}

TEST(LaunchArguments, ReadsOptions) {
    EXPECT_EQ(parse({})->request, LaunchArguments::Request::run);
    EXPECT_FALSE(parse({})->isInBackground);
    EXPECT_TRUE(parse({"--background"})->isInBackground);
    EXPECT_EQ(parse({"--help"})->request, LaunchArguments::Request::showHelp);
    EXPECT_EQ(parse({"-h"})->request, LaunchArguments::Request::showHelp);
    EXPECT_EQ(parse({"--version"})->request, LaunchArguments::Request::showVersion);
    EXPECT_EQ(parse({"--action", "show-log"})->action, "show-log");
    EXPECT_EQ(parse({"/a", "--background", "/b"})->urls, (Words{"file:///a", "file:///b"}));
}

TEST(LaunchArguments, TakesEverythingBehindTwoDashesForPaths) {
    EXPECT_EQ(parse({"--", "--background", "-x"})->urls,
              (Words{"file:///where/I%20am/--background", "file:///where/I%20am/-x"}));
    EXPECT_FALSE(parse({"--", "--background"})->isInBackground);
}

TEST(LaunchArguments, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(parse({"--backgruond"}).error(), "unknown option --backgruond");
    EXPECT_EQ(parse({"-x"}).error(), "unknown option -x");
    EXPECT_EQ(parse({"--action"}).error(), "--action needs a name");
}

}  // namespace
}  // namespace varnel
