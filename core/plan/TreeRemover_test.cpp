// SPDX-License-Identifier: MIT
#include "core/plan/TreeRemover.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>

#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using tests::Manifest;
using tests::onBothRoads;
using tests::TemporaryFolder;

int removeIn(const std::string& folder, const std::string& name) {
    const auto parent = Directory::openRoot(folder, Directory::Links::refuse, Directory::Purpose::lookUp);
    return TreeRemover().remove(parent->get(), name);
}

TEST(TreeRemover, RemovesEverythingInAFolderAndTheFolder) {
    onBothRoads([] {
        const TemporaryFolder folder;
        for (const char* name : {"t/a/b/c", "t/a/d", "t/\xff", "t/e/f"})
            folder.file(name);
        folder.folder("t/empty/emptier");
        folder.file("beside");
        const Manifest before = Manifest::of(folder.path());
        EXPECT_EQ(removeIn(folder.path(), "t"), 0);
        EXPECT_ONLY_GONE(before, Manifest::of(folder.path()), {"t"});
    });
}

TEST(TreeRemover, UnlinksLinksAndLeavesTheirTargets) {
    onBothRoads([] {
        const TemporaryFolder folder;
        folder.file("canary/a");
        folder.link("t/to folder", "../canary");
        folder.link("t/to file", "../canary/a");
        folder.link("t/to nowhere", "nowhere");
        folder.link("t/loop", ".");
        const Manifest before = Manifest::of(folder.path());
        EXPECT_EQ(removeIn(folder.path(), "t"), 0);
        EXPECT_ONLY_GONE(before, Manifest::of(folder.path()), {"t"});
    });
}

TEST(TreeRemover, OpensNothingButFolders) {
    const TemporaryFolder folder;
    folder.folder("t");
    tests::shell("mkfifo '" + folder.at("t/fifo") + "'");
    folder.file("kept", "contents");
    ASSERT_EQ(::link(folder.at("kept").c_str(), folder.at("t/hard").c_str()), 0);
    EXPECT_EQ(removeIn(folder.path(), "t"), 0);
    EXPECT_EQ(folder.contents("kept"), "contents") << "the other name of a file is another file's business";
}

TEST(TreeRemover, IsNoRemoverOfFilesOrLinks) {
    const TemporaryFolder folder;
    folder.file("file");
    folder.link("link", "file");
    EXPECT_EQ(removeIn(folder.path(), "file"), ENOTDIR);
    EXPECT_NE(removeIn(folder.path(), "link"), 0);
    EXPECT_EQ(removeIn(folder.path(), "none"), 0) << "gone by somebody else's hand";
    EXPECT_TRUE(folder.has("file") && folder.has("link"));
}

TEST(TreeRemover, StopsAtMountsAndTakesTheRest) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        onBothRoads([] {
            const TemporaryFolder folder;
            folder.file("canary/precious");
            folder.file("t/a/x");
            folder.file("t/z");
            tests::bindMount(folder.at("canary"), folder.folder("t/a/bound"));
            tests::mountTmpfs(folder.folder("t/tmpfs"));
            folder.file("t/tmpfs/precious");
            const Manifest before = Manifest::of(folder.path());
            EXPECT_EQ(removeIn(folder.path(), "t"), EXDEV);
            EXPECT_ONLY_GONE(before, Manifest::of(folder.path()), {"t/a/x", "t/z"});
            tests::unmount(folder.at("t/a/bound"));
            tests::unmount(folder.at("t/tmpfs"));
        });
    }),
              0);
}

TEST(TreeRemover, GivesTheFirstErrorAndGoesOn) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("t/closed/x");
    folder.file("t/open/y");
    folder.file("t/z");
    folder.folder("t/unreadable but empty");
    for (const char* name : {"", "t", "t/open"})
        ::chmod(folder.at(name).c_str(), 0777);
    ::chmod(folder.at("t/closed").c_str(), 0755);
    ::chmod(folder.at("t/unreadable but empty").c_str(), 0700);
    const Manifest before = Manifest::of(folder.path());
    EXPECT_EQ(tests::runUnprivileged([&] { EXPECT_EQ(removeIn(folder.path(), "t"), EACCES); }), 0);
    EXPECT_ONLY_GONE(before, Manifest::of(folder.path()), {"t/open", "t/z", "t/unreadable but empty"});
}

TEST(TreeRemover, GoesAsDeepAsTheTreeWithFewDescriptors) {
    const TemporaryFolder folder;
    folder.folder("t");
    int here = ::open(folder.at("t").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < 10000; ++level) {
        ASSERT_EQ(::mkdirat(here, "d", 0755), 0);
        if (level % 7 == 0) ::close(::openat(here, "f", O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        const int next = ::openat(here, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(here);
        here = next;
    }
    ::close(here);
    EXPECT_EQ(tests::runInChild([&] {
                  const rlimit limit{100, 100};
                  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
                  EXPECT_EQ(removeIn(folder.path(), "t"), 0);
              }),
              0);
    EXPECT_FALSE(folder.has("t"));
}

TEST(TreeRemover, EmptiesAWideFolder) {
    const TemporaryFolder folder;
    folder.folder("t");
    const int wide = ::open(folder.at("t").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < 50000; ++i) {
        ::close(::openat(wide, ("._f" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    }
    ::close(wide);
    EXPECT_EQ(removeIn(folder.path(), "t"), 0);
    EXPECT_FALSE(folder.has("t"));
}

}  // namespace
}  // namespace varnel
