// SPDX-License-Identifier: MIT
#include "core/scan/Directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using Directory::Links;
using Directory::Purpose;
using tests::onBothRoads;
using tests::TemporaryFolder;

int errorOf(const auto& result) {
    return result ? 0 : result.error();
}

TEST(DirectoryOpen, FollowsLinksAtTheRootOnlyWhenAsked) {
    const TemporaryFolder folder;
    folder.folder("folder");
    folder.link("link", "folder");
    EXPECT_TRUE(Directory::openRoot(folder.at("link"), Links::follow, Purpose::list));
    EXPECT_TRUE(Directory::openRoot(folder.at("link"), Links::follow, Purpose::lookUp));
    const int error = errorOf(Directory::openRoot(folder.at("link"), Links::refuse, Purpose::list));
    EXPECT_TRUE(error == ELOOP || error == ENOTDIR) << error;
    EXPECT_NE(errorOf(Directory::openRoot(folder.at("link"), Links::refuse, Purpose::lookUp)), 0);
    EXPECT_EQ(errorOf(Directory::openRoot(folder.at("none"), Links::follow, Purpose::list)), ENOENT);
}

TEST(DirectoryOpen, TakesTheOtherRoadHoweverTheCallIsRefused) {
    const TemporaryFolder folder;
    folder.folder("a/b");
    folder.link("a/link", "b");
    for (const int refusal : {ENOSYS, EPERM, E2BIG, EINVAL}) {
        EXPECT_EQ(tests::runInChild([&] {
                      tests::takeOpenat2Away(refusal);
                      const auto root = Directory::openRoot(folder.at("a"), Links::refuse, Purpose::list);
                      EXPECT_EQ(errorOf(Directory::openChild(root->get(), "b")), 0);
                      EXPECT_EQ(errorOf(Directory::openBeneath(root->get(), "b", Purpose::lookUp)), 0);
                      EXPECT_NE(errorOf(Directory::openChild(root->get(), "link")), 0);
                      EXPECT_NE(errorOf(Directory::openBeneath(root->get(), "link", Purpose::lookUp)), 0);
                  }),
                  0)
            << refusal;
    }
}

TEST(DirectoryPhysicalPath, IsTheOneBehindTheLinks) {
    const TemporaryFolder folder;
    folder.folder("a/b");
    folder.link("link", "a");
    const auto opened = Directory::openRoot(folder.at("link/b"), Links::follow, Purpose::lookUp);
    ASSERT_TRUE(opened);
    EXPECT_EQ(Directory::physicalPath(opened->get()), folder.at("a/b"));
    EXPECT_FALSE(Directory::physicalPath(-1));
}

TEST(DirectoryOpen, EntersNoLinkFileOrParentBelow) {
    const TemporaryFolder folder;
    folder.file("a/b/file");
    folder.folder("outside");
    folder.link("a/link", "../outside");
    folder.link("a/self", "b");
    onBothRoads([&] {
        const auto root = Directory::openRoot(folder.at("a"), Links::refuse, Purpose::list);
        ASSERT_TRUE(root);
        const auto below = [&](const char* path) {
            return errorOf(Directory::openBeneath(root->get(), path, Purpose::lookUp));
        };
        const auto child = [&](const char* name) { return errorOf(Directory::openChild(root->get(), name)); };
        EXPECT_EQ(below(""), 0);
        EXPECT_EQ(below("b"), 0);
        EXPECT_EQ(below("b/file"), ENOTDIR);
        EXPECT_EQ(below("none"), ENOENT);
        EXPECT_NE(below("link"), 0);
        EXPECT_NE(below("self"), 0);
        EXPECT_NE(below(".."), 0);
        EXPECT_NE(below("b/../../outside"), 0);
        EXPECT_EQ(child("b"), 0);
        EXPECT_EQ(child("none"), ENOENT);
        for (const char* name : {"link", "self"}) {
            EXPECT_TRUE(child(name) == ELOOP || child(name) == ENOTDIR) << name << " " << child(name);
        }
        const auto inner = Directory::openBeneath(root->get(), "b", Purpose::list);
        EXPECT_EQ(errorOf(Directory::openChild(inner->get(), "file")), ENOTDIR);
    });
}

TEST(DirectoryOpen, EntersNoMount) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const TemporaryFolder folder;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs(folder.folder("tmpfs"));
        folder.folder("tmpfs/inside");
        tests::bindMount(folder.folder("from/inside"), folder.folder("bound"));
        onBothRoads([&] {
            const auto root = Directory::openRoot(folder.path(), Links::refuse, Purpose::list);
            for (const char* name : {"tmpfs", "bound"}) {
                EXPECT_EQ(errorOf(Directory::openChild(root->get(), name)), EXDEV) << name;
                EXPECT_EQ(errorOf(Directory::openBeneath(root->get(), name, Purpose::lookUp)), EXDEV) << name;
                const auto facts = Directory::facts(root->get(), name);
                EXPECT_TRUE(facts && facts->isMountRoot) << name;
            }
            EXPECT_EQ(errorOf(Directory::openBeneath(root->get(), "tmpfs/inside", Purpose::list)), EXDEV);
        });
    }),
              0);
}

TEST(DirectoryOpen, TakesPathsOfAnyLength) {
    const TemporaryFolder folder;
    auto here = Directory::openRoot(folder.path(), Links::refuse, Purpose::list);
    std::string path;
    const std::string name(200, 'n');
    for (int level = 0; level < 60; ++level) {
        ASSERT_EQ(::mkdirat(here->get(), name.c_str(), 0755), 0);
        auto next = Directory::openChild(here->get(), name);
        ASSERT_TRUE(next);
        here = std::move(next->descriptor);
        path += (path.empty() ? "" : "/") + name;
    }
    ASSERT_GT(path.size(), 12000U);
    const auto bottom = Directory::factsOf(here->get());
    onBothRoads([&] {
        const auto root = Directory::openRoot(folder.path(), Links::refuse, Purpose::lookUp);
        const auto again = Directory::openBeneath(root->get(), path, Purpose::list);
        ASSERT_TRUE(again);
        EXPECT_TRUE(Directory::factsOf(again->get())->isSameFolder(*bottom));
        EXPECT_EQ(errorOf(Directory::openBeneath(root->get(), path + "/x", Purpose::list)), ENOENT);
    });
    tests::shell("rm -rf '" + folder.path() + "'");
}

TEST(DirectoryOpen, KnowsAFolderThatCannotBeSearched) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("odd/a");
    folder.file("plain/a");
    ::chmod(folder.at("odd").c_str(), 0744);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const auto check = [&] {
                      const auto root = Directory::openRoot(folder.path(), Links::refuse, Purpose::list);
                      const auto odd = Directory::openChild(root->get(), "odd");
                      ASSERT_TRUE(odd);
                      EXPECT_FALSE(odd->isSearchable);
                      const auto plain = Directory::openChild(root->get(), "plain");
                      ASSERT_TRUE(plain);
                      EXPECT_TRUE(plain->isSearchable);
                  };
                  check();
                  tests::takeOpenat2Away();
                  check();
              }),
              0);
}

TEST(DirectoryOpen, FindsTheParent) {
    const TemporaryFolder folder;
    folder.folder("a/b");
    const auto child = Directory::openRoot(folder.at("a/b"), Links::refuse, Purpose::list);
    const auto parent = Directory::openParent(child->get());
    ASSERT_TRUE(parent);
    EXPECT_TRUE(Directory::factsOf(parent->get())->isSameFolder(*Directory::facts(folder.at("a"))));
    EXPECT_FALSE(Directory::factsOf(parent->get())->isSameFolder(*Directory::facts(folder.at("a/b"))));
}

TEST(DirectoryRemove, GivesTheSystemsErrors) {
    const TemporaryFolder folder;
    folder.file("full/file");
    folder.folder("empty");
    folder.link("link", "full");
    const auto root = Directory::openRoot(folder.path(), Links::refuse, Purpose::lookUp);
    EXPECT_EQ(Directory::removeEntry(root->get(), "full"), EISDIR);
    EXPECT_EQ(Directory::removeFolder(root->get(), "full"), ENOTEMPTY);
    EXPECT_EQ(Directory::removeFolder(root->get(), "link"), ENOTDIR);
    EXPECT_EQ(Directory::removeEntry(root->get(), "link"), 0);
    EXPECT_EQ(Directory::removeFolder(root->get(), "empty"), 0);
    EXPECT_EQ(Directory::removeEntry(root->get(), "none"), ENOENT);
    EXPECT_TRUE(folder.has("full/file"));
}

TEST(DirectoryListing, ServesOneFolderAfterTheOther) {
    const TemporaryFolder folder;
    folder.file("a/1");
    folder.folder("a/2");
    folder.link("a/3", "x");
    folder.file("b/4");
    Directory::Listing listing;
    const auto names = [&](const char* name) {
        const auto opened = Directory::openRoot(folder.at(name), Links::refuse, Purpose::list);
        std::vector<std::string> result;
        listing.begin(opened->get());
        for (Directory::ListedEntry entry; listing.next(entry);) {
            const auto kind = entry.kind == Directory::ListedKind::directory ? "d"
                              : entry.kind == Directory::ListedKind::symlink ? "l"
                                                                             : "f";
            result.push_back(std::string(entry.name) + kind);
        }
        EXPECT_EQ(listing.error(), 0);
        std::sort(result.begin(), result.end());
        return result;
    };
    EXPECT_EQ(names("a"), (std::vector<std::string>{"1f", "2d", "3l"}));
    EXPECT_EQ(names("b"), std::vector<std::string>{"4f"});
    EXPECT_EQ(names("a"), (std::vector<std::string>{"1f", "2d", "3l"}));
    listing.begin(-1);
    Directory::ListedEntry entry;
    EXPECT_FALSE(listing.next(entry));
    EXPECT_EQ(listing.error(), EBADF);
}

}  // namespace
}  // namespace varnel
