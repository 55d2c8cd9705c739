// SPDX-License-Identifier: MIT
#include "platform/linux/WatchedFolders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace varnel {
namespace {

WatchedFolders tree() {
    WatchedFolders folders;
    folders.reset(1, "/mnt/disk");
    folders.add(2, 1, "a");
    folders.add(3, 2, "b");
    folders.add(4, 3, "c");
    folders.add(5, 1, "a b");
    return folders;
}

TEST(WatchedFolders, KnowPathsAndWatchesOfEachOther) {
    const WatchedFolders folders = tree();
    constexpr struct {
        int watch;
        const char* path;
    } cases[] = {{1, "/mnt/disk"}, {2, "/mnt/disk/a"}, {4, "/mnt/disk/a/b/c"}, {5, "/mnt/disk/a b"}};
    for (const auto& c : cases) {
        EXPECT_EQ(folders.path(c.watch), c.path);
        EXPECT_EQ(folders.watchOf(c.path), c.watch);
    }
    for (const char* path : {"/mnt/disk2", "/mnt", "/mnt/disk/a/c", "/mnt/disk/b", "", "/"})
        EXPECT_LT(folders.watchOf(path), 0) << path;
    EXPECT_TRUE(folders.isRoot(1));
    EXPECT_FALSE(folders.isRoot(2));
}

TEST(WatchedFolders, TellWhetherAFolderIsNew) {
    WatchedFolders folders = tree();
    EXPECT_FALSE(folders.add(3, 2, "b"));
    EXPECT_FALSE(folders.add(1, 2, "root again"));
    EXPECT_TRUE(folders.add(6, 2, "d"));
    EXPECT_TRUE(folders.add(3, 1, "moved")) << "the same watch in another place";
    EXPECT_EQ(folders.path(4), "/mnt/disk/moved/c");
    EXPECT_TRUE(folders.add(7, 2, "d")) << "another watch in the same place";
    EXPECT_FALSE(folders.contains(6));
    folders.remove(6);
    EXPECT_EQ(folders.path(7), "/mnt/disk/a/d");
}

TEST(WatchedFolders, KnowNoPathBelowAFolderThatGaveWay) {
    WatchedFolders folders = tree();
    EXPECT_TRUE(folders.add(9, 1, "a")) << "another folder in the place of 2";
    EXPECT_EQ(folders.path(9), "/mnt/disk/a");
    EXPECT_TRUE(folders.contains(4));
    EXPECT_EQ(folders.path(4), std::nullopt);
    EXPECT_TRUE(folders.add(2, 1, "moved"));
    EXPECT_EQ(folders.path(4), "/mnt/disk/moved/b/c");
}

TEST(WatchedFolders, ForgetAFolderWithAllBelowIt) {
    WatchedFolders folders = tree();
    std::vector<int> gone = folders.removeBelow(1, "a");
    std::sort(gone.begin(), gone.end());
    EXPECT_EQ(gone, (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(folders.size(), 2U);
    EXPECT_TRUE(folders.contains(5));
    EXPECT_TRUE(folders.removeBelow(1, "a").empty());
    folders.remove(99);
    EXPECT_EQ(folders.size(), 2U);
}

}  // namespace
}  // namespace varnel
