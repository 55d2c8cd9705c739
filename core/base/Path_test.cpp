// SPDX-License-Identifier: MIT
#include "core/base/Path.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/HomeFolder.h"
#include "core/base/Text.h"
#include "tests/support/Random.h"
#include "tests/support/Vectors.h"

namespace varnel {
namespace {

using nlohmann::json;
using tests::forEachVector;

TEST(PathStandardized, FollowsTheRecordedAnswers) {
    forEachVector("standardize-path.json", [](const json& v) {
        const json& input = v["input"];
        const auto home = [&](std::string_view user) -> std::optional<std::string> {
            if (user.empty()) return input["home"].get<std::string>();
            const auto found = input["users"].find(std::string(user));
            if (found == input["users"].end()) return std::nullopt;
            return found->get<std::string>();
        };
        EXPECT_EQ(Path::standardized(input["path"].get<std::string>(), home), v["expected"].get<std::string>());
    });
}

TEST(PathStandardized, ExpandsTheTildeToTheHomeFolder) {
    EXPECT_EQ(Path::standardized("~/x"), Path::standardized(HomeFolder::current() + "/x"));
    EXPECT_EQ(Path::standardized("~no-such-user/x"), "~no-such-user/x");
}

TEST(PathStandardized, IsIdempotentAndLeavesNothingToStandardise) {
    tests::Random random;
    const std::vector<std::string> pieces = {"/", "/", ".", "..", "a", "\xff", "e\u0301", " ", "...", "b~"};
    const auto nobody = [](std::string_view) { return std::optional<std::string>(); };
    for (int round = 0; round < 20000; ++round) {
        const std::string path = "/" + random.text(pieces, 12);
        const std::string once = Path::standardized(path, nobody);
        SCOPED_TRACE(path);
        ASSERT_EQ(Path::standardized(once, nobody), once);
        ASSERT_LE(once.size(), path.size());
        ASSERT_EQ(once.find("//"), std::string::npos);
        ASSERT_EQ((once + "/").find("/./"), std::string::npos);
        ASSERT_EQ((once + "/").find("/../"), std::string::npos);
        ASSERT_TRUE(once == "/" || !once.ends_with('/'));
    }
}

TEST(PathParts, FollowTheRecordedAnswers) {
    forEachVector("path-components.json", [](const json& v) {
        const std::string path = v["input"]["path"];
        const bool isLast = v["input"]["op"] == "lastPathComponent";
        EXPECT_EQ(isLast ? Path::lastComponent(path) : Path::withoutLastComponent(path),
                  v["expected"].get<std::string>());
    });
}

TEST(PathExtension, FollowsTheRecordedAnswers) {
    forEachVector("protected-name.json", [](const json& v) {
        EXPECT_EQ(Text::lowercased(Path::extension(v["input"].get<std::string>())),
                  v["expected"]["extension"].get<std::string>());
    });
}

TEST(PathIsAtOrBelow, ComparesWholeComponentsOfBytes) {
    constexpr struct {
        std::string_view path, folder;
        bool expected;
    } cases[] = {
        {"/a", "/a", true},         {"/a/b", "/a", true}, {"/ab", "/a", false},
        {"/", "/", true},           {"/a", "/", true},    {"/a", "/a/b", false},
        {"/A/b", "/a", false},      {"", "/", false},     {"/\u00e9/x", "/e\u0301", false},
        {"/a/\u0301x", "/a", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Path::isAtOrBelow(c.path, c.folder), c.expected) << c.path << " in " << c.folder;
}

TEST(PathJoined, PutsOneSlashBetween) {
    EXPECT_EQ(Path::joined("/a", "b"), "/a/b");
    EXPECT_EQ(Path::joined("/", "b"), "/b");
}

TEST(HomeFolder, IsWhatTheEnvironmentSaysAndAllHomesCount) {
    const char* const before = std::getenv("HOME");
    const std::optional<std::string> saved = before == nullptr ? std::nullopt : std::optional<std::string>(before);
    ::setenv("HOME", "/somewhere/else", 1);
    EXPECT_EQ(HomeFolder::current(), "/somewhere/else");
    EXPECT_EQ(HomeFolder::all().front(), "/somewhere/else");
    EXPECT_GE(HomeFolder::all().size(), 2U) << "the user database has its own answer";
    ::setenv("HOME", "relative", 1);
    EXPECT_NE(HomeFolder::current(), "relative") << "a home folder is absolute";
    if (saved) {
        ::setenv("HOME", saved->c_str(), 1);
    } else {
        ::unsetenv("HOME");
    }
    EXPECT_EQ(HomeFolder::of("root"), "/root");
    EXPECT_EQ(HomeFolder::of("no-such-user"), std::nullopt);
}

}  // namespace
}  // namespace varnel
