// SPDX-License-Identifier: MIT
//
// Where the system gets in the way, a stream finds another way to watch, or says that events were lost: what is not
// reported must be swept, and nobody sweeps what nobody told of.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "core/base/FileDescriptor.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Shortages.h"
#include "tests/support/StreamListener.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::NoDescriptors;
using tests::StreamListener;
using tests::TemporaryFolder;

/// Runs `body` with an empty volume at `place`, in a namespace of its own.
void onVolume(const std::function<void(const TemporaryFolder&, const std::string& place)>& body) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    EXPECT_EQ(namespaces.run([&] {
        const TemporaryFolder folder;
        const std::string place = folder.folder("v");
        tests::mountTmpfs(place);
        body(folder, place);
        tests::unmount(place);
    }),
              0);
}

const std::string longName(250, 'd');
constexpr int levels = 20;

/// Makes folders in one another until the path is too long for one call; gives the last one, open.
FileDescriptor makeDeep(const std::string& top) {
    FileDescriptor here(::open(top.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < levels; ++level) {
        EXPECT_EQ(::mkdirat(here.get(), longName.c_str(), 0755), 0);
        here = FileDescriptor(::openat(here.get(), longName.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    return here;
}

/// Where that one lies.
std::string deepBelow() {
    std::string path;
    for (int level = 0; level < levels; ++level)
        path += "/" + longName;
    return path;
}

/// From now on, reading into a buffer of that size fails for this thread and those that it starts.
void refuseReads(std::size_t size) {
    std::array<sock_filter, 6> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_read, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(size), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOMEM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

TEST(EventLoss, DoesNotComeOfALinkOnTheWayToTheVolume) {
    onVolume([](const TemporaryFolder& folder, const std::string&) {
        folder.link("link", ".");
        StreamListener listener(folder.at("link/v"));
        listener.start();
        folder.file("v/a/b/file");
        EXPECT_TRUE(listener.hears(folder.at("link/v/a/b/file")));
        EXPECT_TRUE(listener.hears(folder.at("link/v/a")));
    });
}

TEST(EventLoss, DoesNotComeOfHalfTheRights) {
    onVolume([](const TemporaryFolder& folder, const std::string& place) {
        ASSERT_TRUE(tests::dropFindingByHandle());
        StreamListener listener(place);
        listener.start();
        folder.file("v/a/b/file");
        EXPECT_TRUE(listener.hears(folder.at("v/a/b/file")));
        EXPECT_FALSE(listener.hasHeardOfLoss());
    });
}

TEST(EventLoss, IsToldWhereAPathIsTooLong) {
    onVolume([](const TemporaryFolder&, const std::string& place) {
        FileDescriptor deep = makeDeep(place);
        StreamListener listener(place);
        listener.start();
        EXPECT_EQ(::mkdirat(deep.get(), "new", 0755), 0);
        deep.reset();
        EXPECT_TRUE(listener.hearsOfLoss(place));
    });
}

TEST(EventLoss, DoesNotComeOfALongPathFolderByFolder) {
    const TemporaryFolder folder;
    const std::string deepPath = folder.path() + deepBelow();
    FileDescriptor deep = makeDeep(folder.path());
    StreamListener listener(folder.path());
    listener.start();
    EXPECT_EQ(::mkdirat(deep.get(), "new", 0755), 0);
    EXPECT_EQ(::mkdirat(deep.get(), "new/in", 0755), 0);
    EXPECT_EQ(::mkdirat(deep.get(), "new/in/first", 0755), 0);
    EXPECT_TRUE(listener.hears(deepPath + "/new/in/first"));
    EXPECT_EQ(::mkdirat(deep.get(), "new/in/first/second", 0755), 0);
    EXPECT_TRUE(listener.hears(deepPath + "/new/in/first/second"));
    EXPECT_FALSE(listener.hasHeardOfLoss());
    // Where such a folder cannot be opened, the loss is told.
    {
        const NoDescriptors shortage;
        EXPECT_EQ(::mkdirat(deep.get(), "unseen", 0755), 0);
        EXPECT_TRUE(listener.hearsOfLoss(folder.path()));
    }
    tests::shell("rm -rf '" + folder.path() + "'/*");
}

TEST(EventLoss, IsToldWhereTheRootIsALink) {
    const TemporaryFolder folder;
    folder.folder("v");
    const std::string link = folder.link("link", "v");
    StreamListener listener(link);
    listener.start();
    EXPECT_TRUE(listener.hearsOfLoss(link));
    EXPECT_EQ(listener.problems(), StreamListener::Texts{"cannot watch " + link + ": Not a directory"});
}

TEST(EventLoss, IsToldWhereNoDescriptorIsLeft) {
    onVolume([](const TemporaryFolder& folder, const std::string& place) {
        StreamListener listener(place);
        listener.start();
        {
            const NoDescriptors shortage;
            EXPECT_EQ(::mkdir(folder.at("v/a").c_str(), 0755), 0);
            EXPECT_TRUE(listener.hearsOfLoss(place));
        }
        folder.file("v/later");
        EXPECT_TRUE(listener.hears(folder.at("v/later")));
    });
}

TEST(EventLoss, IsToldWhereTheKernelGivesNoMore) {
    onVolume([](const TemporaryFolder& folder, const std::string& place) {
        constexpr std::size_t bufferOfWholeVolumes = std::size_t{256} * 1024;
        refuseReads(bufferOfWholeVolumes);
        StreamListener listener(place);
        listener.start();
        folder.file("v/first");
        EXPECT_TRUE(listener.hearsOfLoss(place));
        folder.file("v/later");
        EXPECT_TRUE(listener.hears(folder.at("v/later"))) << "folder by folder from then on";
    });
}

}  // namespace
}  // namespace varnel
