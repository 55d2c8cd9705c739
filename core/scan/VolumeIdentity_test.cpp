// SPDX-License-Identifier: MIT
#include "core/scan/VolumeIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

TEST(VolumeIdentity, StaysWhileTheVolumeStays) {
    const tests::TemporaryFolder folder;
    const auto first = VolumeIdentity::of(folder.path());
    ASSERT_TRUE(first);
    folder.file("new");
    EXPECT_EQ(VolumeIdentity::of(folder.path()), first);
    EXPECT_EQ(VolumeIdentity::of(folder.at("none")), std::nullopt);
    EXPECT_EQ(VolumeIdentity::of(folder.at("new")), std::nullopt) << "a file is no folder";
}

TEST(VolumeIdentity, TellsAnotherVolumeAtTheSamePlace) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const tests::TemporaryFolder folder;
    EXPECT_EQ(mounts.run([&] {
        const auto place = folder.folder("place");
        const auto bare = VolumeIdentity::of(place);
        tests::mountTmpfs(place);
        const auto first = VolumeIdentity::of(place);
        tests::unmount(place);
        tests::mountTmpfs(place);
        const auto second = VolumeIdentity::of(place);
        EXPECT_NE(bare, first);
        EXPECT_NE(first, second) << "device and mount id are given out again; this must not be enough";
        tests::unmount(place);
        EXPECT_EQ(VolumeIdentity::of(place), bare);
    }),
              0);
}

TEST(VolumeIdentity, StaysWhenADriverIsFirstAskedAboutItsRoot) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "this machine has no bindfs";
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const tests::TemporaryFolder folder;
    EXPECT_EQ(mounts.run([&] {
        const auto place = folder.folder("place");
        tests::shell("bindfs '" + folder.folder("source") + "' '" + place + "'");
        const auto unasked = VolumeIdentity::of(place);
        ASSERT_TRUE(unasked);
        struct stat facts {};
        ASSERT_EQ(::stat(place.c_str(), &facts), 0);
        EXPECT_EQ(VolumeIdentity::of(place), unasked);
    }),
              0);
}

}  // namespace
}  // namespace varnel
