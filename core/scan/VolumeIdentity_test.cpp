// SPDX-License-Identifier: MIT
#include "core/scan/VolumeIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutUniqueMounts.h"

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

/// Runs the body in a namespace of its own, on kernels that tell one mount from the next by number and on those before.
void privately(const std::function<void(const tests::TemporaryFolder&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    for (const bool hasUniqueMounts : {true, false}) {
        SCOPED_TRACE(hasUniqueMounts ? "from 6.8" : "before 6.8");
        EXPECT_EQ(mounts.run([&] {
            if (!hasUniqueMounts) tests::takeUniqueMountsAway();
            const tests::TemporaryFolder folder;
            body(folder);
        }),
                  0);
    }
}

TEST(VolumeIdentity, TellsAnotherVolumeAtTheSamePlace) {
    privately([](const tests::TemporaryFolder& folder) {
        const auto place = folder.folder("place");
        const auto bare = VolumeIdentity::of(place);
        for (const std::string& root : {place, place + "/in"}) {
            tests::mountTmpfs(place);
            folder.folder("place/in");
            const auto first = VolumeIdentity::of(root);
            tests::unmount(place);
            tests::mountTmpfs(place);
            folder.folder("place/in");
            const auto second = VolumeIdentity::of(root);
            EXPECT_NE(bare, first);
            EXPECT_NE(first, second) << "device and mount id are given out again; this must not be enough";
            tests::unmount(place);
        }
        EXPECT_EQ(VolumeIdentity::of(place), bare);
    });
}

TEST(VolumeIdentity, IsTheSameForEveryFolderInsideTheVolume) {
    privately([](const tests::TemporaryFolder& folder) {
        tests::mountTmpfs(folder.folder("place"));
        const auto first = VolumeIdentity::of(folder.folder("place/a"));
        ASSERT_TRUE(first);
        const auto other = folder.folder("place/b/c");
        EXPECT_EQ(VolumeIdentity::of(other), first);
        std::filesystem::remove_all(folder.at("place/a"));
        EXPECT_EQ(VolumeIdentity::of(folder.folder("place/a")), first) << "made anew, on the same volume";
        tests::unmount(folder.at("place"));
    });
}

TEST(VolumeIdentity, StaysWhenADriverIsFirstAskedAboutItsRoot) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "this machine has no bindfs";
    privately([](const tests::TemporaryFolder& folder) {
        const auto place = folder.folder("place");
        tests::shell("bindfs '" + folder.folder("source") + "' '" + place + "'");
        const auto unasked = VolumeIdentity::of(place);
        ASSERT_TRUE(unasked);
        struct stat facts {};
        ASSERT_EQ(::stat(place.c_str(), &facts), 0);
        EXPECT_EQ(VolumeIdentity::of(place), unasked);
        tests::unmount(place);
    });
}

}  // namespace
}  // namespace varnel
