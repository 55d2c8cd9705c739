// SPDX-License-Identifier: MIT
#include "core/plan/TreeRemover.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>

#include "core/base/FileDescriptor.h"
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

TEST(TreeRemover, RemovesAFolderThatIsStillBeingFilled) {
    constexpr int files = 60;
    for (int round = 0; round < 100; ++round) {
        const TemporaryFolder folder;
        folder.file("t/deep/first");
        const FileDescriptor top(::open(folder.at("t").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        std::atomic<bool> hasBegun{false};
        std::thread writer([&] {
            for (int i = 0; i < files; ++i) {
                const std::string name = (i % 2 == 0 ? "" : "deep/") + std::to_string(i);
                const FileDescriptor made(::openat(top.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
                hasBegun = true;
            }
        });
        while (!hasBegun)
            std::this_thread::yield();
        EXPECT_EQ(removeIn(folder.path(), "t"), 0) << round;
        writer.join();
        ASSERT_FALSE(folder.has("t")) << round;
    }
}

TEST(TreeRemover, SharesATreeWithAnotherRemover) {
    constexpr int rounds = 20;
    constexpr int folders = 20;
    constexpr int filesEach = 5;
    onBothRoads([] {
        for (int round = 0; round < rounds; ++round) {
            const TemporaryFolder folder;
            for (int i = 0; i < folders * filesEach; ++i) {
                const std::string number = std::to_string(i % folders);
                folder.file("t/" + number + "/in/" + std::to_string(i));
            }
            std::atomic<int> ready{0};
            const auto remove = [&](int& error) {
                ++ready;
                while (ready < 2)
                    std::this_thread::yield();
                error = removeIn(folder.path(), "t");
            };
            int first = -1;
            int second = -1;
            std::thread other([&] { remove(first); });
            remove(second);
            other.join();
            EXPECT_TRUE(first == 0 || second == 0) << round;
            for (const int error : {first, second})
                EXPECT_TRUE(error == 0 || error == ENOENT) << round << ": " << error;
            EXPECT_FALSE(folder.has("t")) << round;
            if (::testing::Test::HasFailure()) return;
        }
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
    EXPECT_EQ(removeIn(folder.path(), "none"), ENOENT) << "somebody else's work is not told as one's own";
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

/// Adds a chain of `levels` folders "d" below an open folder, a file "f" in every seventh; gives the deepest, open.
int addChain(int folder, int levels) {
    int here = ::dup(folder);
    for (int level = 0; level < levels; ++level) {
        EXPECT_EQ(::mkdirat(here, "d", 0755), 0);
        if (level % 7 == 0) ::close(::openat(here, "f", O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        const int next = ::openat(here, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(here);
        here = next;
    }
    return here;
}

void addFiles(int folder, int count) {
    for (int i = 0; i < count; ++i) {
        ::close(::openat(folder, ("._f" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    }
}

TEST(TreeRemover, GoesAsDeepAsTheTreeWithFewDescriptors) {
    onBothRoads([] {
        const TemporaryFolder folder;
        const FileDescriptor top(::open(folder.folder("t").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ::close(addChain(top.get(), 10000));
        EXPECT_EQ(tests::runInChild([&] {
                      const rlimit limit{100, 100};
                      ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
                      EXPECT_EQ(removeIn(folder.path(), "t"), 0);
                  }),
                  0);
        EXPECT_FALSE(folder.has("t"));
    });
}

TEST(TreeRemover, TakesABushOfDeepBranches) {
    onBothRoads([] {
        const TemporaryFolder folder;
        for (const char* branch : {"t/a", "t/b", "t/c/d/e", "t/c/d/f"}) {
            const FileDescriptor root(::open(folder.folder(branch).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            const FileDescriptor middle(addChain(root.get(), 150));
            for (const char* twig : {"x", "y", "z"}) {
                ASSERT_EQ(::mkdirat(middle.get(), twig, 0755), 0);
                const FileDescriptor start(::openat(middle.get(), twig, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
                ::close(addChain(start.get(), 350));
            }
        }
        folder.file("beside/kept");
        const Manifest beside = Manifest::of(folder.at("beside"));
        EXPECT_EQ(removeIn(folder.path(), "t"), 0);
        EXPECT_FALSE(folder.has("t"));
        EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});
    });
}

TEST(TreeRemover, StopsWhereTheFolderAboveIsAnotherOneByNow) {
    onBothRoads([] {
        const TemporaryFolder folder;
        folder.file("elsewhere/precious");
        const FileDescriptor top(::open(folder.folder("t").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const FileDescriptor bottom(addChain(top.get(), 100));
        addFiles(bottom.get(), 20000);
        // Level 20 is one of those that were given up on the way down. It is moved as soon as something is gone from
        // the bottom, long before the removal comes back to it.
        std::string level;
        for (int i = 0; i < 20; ++i)
            level += i == 0 ? "d" : "/d";
        struct stat before {};
        ASSERT_EQ(::fstat(bottom.get(), &before), 0);
        std::atomic<bool> isOver{false};
        std::thread mover([&] {
            struct stat now = before;
            while (!isOver && now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
                   now.st_mtim.tv_nsec == before.st_mtim.tv_nsec) {
                ::fstat(bottom.get(), &now);
            }
            EXPECT_EQ(::rename(folder.at("t/" + level).c_str(), folder.at("elsewhere/d").c_str()), 0);
        });
        EXPECT_EQ(removeIn(folder.path(), "t"), ESTALE);
        isOver = true;
        mover.join();
        EXPECT_TRUE(folder.has("elsewhere/precious"));
        EXPECT_TRUE(folder.has("elsewhere/d")) << "its name is in a folder that is none of ours";
        EXPECT_FALSE(folder.has("elsewhere/d/d"));
        EXPECT_TRUE(folder.has("t/d/d")) << "nobody can tell any more how to get back there";
    });
}

TEST(TreeRemover, EmptiesAWideFolder) {
    const TemporaryFolder folder;
    const FileDescriptor wide(::open(folder.folder("t").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    addFiles(wide.get(), 70000);
    EXPECT_EQ(removeIn(folder.path(), "t"), 0);
    EXPECT_FALSE(folder.has("t"));
}

}  // namespace
}  // namespace varnel
