// SPDX-License-Identifier: MIT
#include "core/scan/PathGuard.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

TEST(PathGuard, HasTwelvePathsEverywhere) {
    constexpr const char* expected[] = {"/System",       "/usr", "/bin",   "/sbin", "/private", "/Library",
                                        "/Applications", "/opt", "/cores", "/dev",  "/etc",     "/var"};
    ASSERT_EQ(PathGuard::forbidden.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(PathGuard::forbidden[i], expected[i]);
    for (const std::string path : expected) {
        EXPECT_TRUE(PathGuard::isForbidden(path)) << path;
        EXPECT_TRUE(PathGuard::isForbidden(path + "/")) << path;
        EXPECT_TRUE(PathGuard::isForbidden(path + "/below/it")) << path;
        EXPECT_FALSE(PathGuard::isForbidden(path + "x")) << path;
    }
}

TEST(PathGuard, ComparesStandardisedPathsByteByByte) {
    constexpr struct {
        const char* path;
        bool expected;
    } cases[] = {
        {"/", true},
        {"//", true},
        {"/usr/", true},
        {"/usr/local/x", true},
        {"/var", true},
        {"/Systemic", false},
        {"/system", false},
        {"/System", true},
        {"/System/Library", true},
        {"/Volumes", false},
        {"/Volumes/USB", false},
        {"/Users", false},
        {"/Volumes/../usr", true},
        {"/Volumes/USB/../../etc", true},
        {"/tmp/a", false},
        {"/usr\u0301", false},
        {"/..", true},
        {"/./bin", true},
        {"usr", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PathGuard::isForbidden(c.path), c.expected) << c.path;
}

TEST(PathGuard, RefusesTheHomeFolderItselfAndNothingInIt) {
    const char* const before = std::getenv("HOME");
    const std::optional<std::string> saved = before == nullptr ? std::nullopt : std::optional<std::string>(before);
    ::setenv("HOME", "/srv/people/ana/", 1);
    EXPECT_TRUE(PathGuard::isForbidden("/srv/people/ana"));
    EXPECT_TRUE(PathGuard::isForbidden("/srv/people/ana/"));
    EXPECT_TRUE(PathGuard::isForbidden("~"));
    EXPECT_FALSE(PathGuard::isForbidden("~/USB"));
    EXPECT_FALSE(PathGuard::isForbidden("/srv/people/ana/USB"));
    EXPECT_FALSE(PathGuard::isForbidden("/srv/people"));
    if (saved) {
        ::setenv("HOME", saved->c_str(), 1);
    } else {
        ::unsetenv("HOME");
    }
}

TEST(PathGuard, AddsTheFoldersOfThisSystem) {
    constexpr struct {
        const char* path;
        bool expected;
    } cases[] = {
        {"/boot", true},
        {"/boot/efi", true},
        {"/lib", true},
        {"/lib/x", true},
        {"/lib32", true},
        {"/lib64/x", true},
        {"/libx32", true},
        {"/library", false},
        {"/proc/1", true},
        {"/sys", true},
        {"/run", true},
        {"/run/user/1000", true},
        {"/run/media", true},
        {"/run/media/ana", false},
        {"/run/media/ana/USB", false},
        {"/run/mediaX", true},
        {"/root", true},
        {"/root/x", true},
        {"/home", true},
        {"/home/ana2", false},
        {"/media", true},
        {"/media/ana/USB", false},
        {"/mnt", false},
        {"/srv", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PathGuard::isForbidden(c.path), c.expected) << c.path;
}

TEST(PathGuard, FollowsLinksToForbiddenPlaces) {
    const tests::TemporaryFolder tree;
    const tests::Environment environment("HOME", tree.link("way home", tree.folder("ana")));
    tree.link("system", "/usr");
    tree.link("twice", tree.at("system"));
    tree.link("nowhere", tree.at("gone"));
    tree.link("allowed", tree.folder("stick"));
    tree.folder("ana/USB");
    const struct {
        std::string path;
        bool expected;
    } cases[] = {
        {"/usr", true},
        {"/usr/gone", true},
        {tree.at("system"), true},
        {tree.at("system/bin"), true},
        {tree.at("twice"), true},
        {tree.at("ana"), true},
        {tree.at("way home"), true},
        {tree.at("ana/USB"), false},
        {tree.at("way home/USB"), false},
        {tree.at("allowed"), false},
        {tree.at("stick"), false},
        {tree.at("nowhere"), false},
        {tree.at("gone"), false},
        {"", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PathGuard::leadsToForbidden(c.path), c.expected) << c.path;
}

}  // namespace
}  // namespace varnel
