// SPDX-License-Identifier: MIT
//
// Removal by the calls that macOS has: it follows no link and enters no mount.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "core/plan/TreeRemover.h"
#include "core/scan/Directory.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

int removeIn(const std::string& folder, const std::string& name) {
    const auto opened = Directory::openRoot(folder, Directory::Links::follow, Directory::Purpose::lookUp);
    EXPECT_TRUE(opened);
    return TreeRemover().remove(opened->get(), name);
}

TEST(MacRemoval, TakesALinkAndLeavesItsTarget) {
    const TemporaryFolder folder;
    folder.file("canary/precious");
    folder.link("t/a/link", folder.at("canary"));
    EXPECT_EQ(removeIn(folder.path(), "t"), 0);
    EXPECT_FALSE(folder.has("t"));
    EXPECT_TRUE(folder.has("canary/precious"));
}

TEST(MacRemoval, StopsAtAMountAndTakesTheRest) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        const TemporaryFolder folder;
        folder.file("t/a/x");
        folder.file("t/z");
        tests::mountTmpfs(folder.folder("t/a/disk"));
        folder.file("t/a/disk/precious");
        EXPECT_EQ(removeIn(folder.path(), "t"), EXDEV);
        EXPECT_TRUE(folder.has("t/a/disk/precious"));
        EXPECT_FALSE(folder.has("t/a/x"));
        EXPECT_FALSE(folder.has("t/z"));
        tests::unmount(folder.at("t/a/disk"));
    }),
              0);
}

TEST(MacFolders, AreNotOpenedThroughLinksOrMounts) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        using Directory::Purpose;
        const TemporaryFolder folder;
        folder.link("link", folder.folder("a/b"));
        tests::mountTmpfs(folder.folder("disk"));
        folder.folder("disk/c");
        const auto root = Directory::openRoot(folder.path(), Directory::Links::refuse, Purpose::list);
        ASSERT_TRUE(root);
        EXPECT_TRUE(Directory::openBeneath(root->get(), "a/b", Purpose::lookUp));
        for (const char* const path : {"disk", "disk/c", "a/../disk"})
            EXPECT_EQ(Directory::openBeneath(root->get(), path, Purpose::lookUp).error(), EXDEV) << path;
        EXPECT_EQ(Directory::openChild(root->get(), "disk").error(), EXDEV);
        const int linkError = Directory::openChild(root->get(), "link").error();
        EXPECT_TRUE(linkError == ELOOP || linkError == ENOTDIR) << linkError;
        EXPECT_FALSE(Directory::openRoot(folder.at("link"), Directory::Links::refuse, Purpose::list));
        EXPECT_TRUE(Directory::openRoot(folder.at("link"), Directory::Links::follow, Purpose::list));
        tests::unmount(folder.at("disk"));
    }),
              0);
}

TEST(MacRemoval, DoesNotBeginAtAMount) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        const TemporaryFolder folder;
        tests::mountTmpfs(folder.folder("disk"));
        folder.file("disk/precious");
        EXPECT_EQ(removeIn(folder.path(), "disk"), EXDEV);
        EXPECT_TRUE(folder.has("disk/precious"));
        tests::unmount(folder.at("disk"));
    }),
              0);
}

}  // namespace
}  // namespace varnel
