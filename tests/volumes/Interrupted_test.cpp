// SPDX-License-Identifier: MIT
//
// The program itself under a tracer: killed at every removal, given every error at every call, watched in a dry run.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <string>

#include "tests/support/DiskImage.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::Manifest;
using tests::TemporaryFolder;

/// A small volume with litter in every shape; what must go when all goes well.
const std::set<std::string> litter = {"._a", "docs/.DS_Store", "__MACOSX", "docs/deep/._b"};

void fill(const TemporaryFolder& folder) {
    for (const char* name : {"v/._a", "v/docs/.DS_Store", "v/docs/deep/._b", "v/docs/deep/letter", "v/docs/._kept.ttf",
                             "v/__MACOSX/1", "v/__MACOSX/in/2", "v/__MACOSX/in/in/3", "beside/._precious"}) {
        if (!folder.has(name)) folder.file(name, "contents");
    }
    folder.folder("home");
}

/// Runs a command of the shell with the folder's words in place; gives its exit status.
int run(const TemporaryFolder& folder, const std::string& tracer, const std::string& arguments) {
    // The leak checker of a sanitized build is a tracer of its own and cannot work below another.
    const std::string command = "ASAN_OPTIONS=detect_leaks=0 HOME='" + folder.at("home") + "' " + tracer +
                                " '" VARNEL_PROGRAM "' " + arguments + " '" + folder.at("v") +
                                "' >/dev/null 2>&1 </dev/null";
    const int status = ::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool canTrace() {
    return tests::hasProgram("strace") && ::system("strace -o /dev/null true >/dev/null 2>&1") == 0;
}

TEST(KilledAtAnyMoment, TheNextRunFinishesAndNothingElseIsHarmed) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    int kills = 0;
    for (int call = 1; call < 40; ++call) {
        const TemporaryFolder folder;
        fill(folder);
        const Manifest before = Manifest::of(folder.at("v"));
        const Manifest beside = Manifest::of(folder.at("beside"));
        const int status =
            run(folder, "strace -f -o /dev/null -e inject=unlinkat:signal=SIGKILL:when=" + std::to_string(call),
                "clean --yes");
        if (status == 0) break;
        ASSERT_EQ(status, 128 + SIGKILL);
        ++kills;
        EXPECT_EQ(run(folder, "", "clean --yes"), 0);
        EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), litter);
        EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});
    }
    EXPECT_GE(kills, 9) << "one for every entry that goes";
}

class EveryError : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryError, HarmsNothingThatIsNoLitter) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    for (const char* error :
         {"EIO", "EACCES", "EMFILE", "ENOMEM", "EINTR", "EAGAIN", "ENOSYS", "ENOENT", "EPERM", "E2BIG", "EINVAL"}) {
        // Each of the first calls by itself, and all from the one on.
        for (int when = 1; when <= 20; ++when) {
            const TemporaryFolder folder;
            fill(folder);
            const Manifest before = Manifest::of(folder.at("v"));
            const Manifest beside = Manifest::of(folder.at("beside"));
            const int status = run(folder,
                                   std::string("strace -f -o /dev/null -e inject=") + GetParam() + ":error=" + error +
                                       ":when=" + std::to_string(when) + (when % 5 == 0 ? "+" : ""),
                                   "clean --yes");
            SCOPED_TRACE(std::string(error) + " at " + std::to_string(when));
            EXPECT_TRUE(status == 0 || status == 1 || status == 3) << "status " << status;
            const std::string differences = before.differences(Manifest::of(folder.at("v")), litter);
            EXPECT_EQ(differences.find("should not be"), std::string::npos) << differences;
            EXPECT_EQ(differences.find("changed:"), std::string::npos) << differences;
            EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});
            if (when % 5 == 0) {
                EXPECT_EQ(run(folder, "", "clean --yes"), 0);
                EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), litter);
            }
            if (::testing::Test::HasFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryError, ::testing::Values("statx", "openat2", "getdents64", "unlinkat"),
                         [](const auto& parameter) { return std::string(parameter.param); });

TEST(RacedRename, IsTriedAgain) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const TemporaryFolder folder;
    fill(folder);
    const Manifest before = Manifest::of(folder.at("v"));
    EXPECT_EQ(run(folder, "strace -f -o /dev/null -e inject=openat2:error=EAGAIN:when=1..40", "clean --yes"), 0);
    EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), litter);
}

/// Cleans under a tracer that slows `calls` down, and in the middle, as soon as `sign` succeeds, runs `happening`.
void cleanDuring(const TemporaryFolder& folder, const std::string& calls, const std::string& sign,
                 const std::string& happening) {
    tests::shell("cd '" + folder.path() + "' && { HOME=$PWD/home ASAN_OPTIONS=detect_leaks=0 strace -f -o trace " +
                 "-e inject=" + calls +
                 ":delay_enter=10000 '" VARNEL_PROGRAM
                 "' clean --yes v >/dev/null 2>&1 & } ; for i in $(seq 2000); do if " +
                 sign + "; then break; fi; sleep 0.005; done; " + happening + "; wait");
}

TEST(SecondCard, IsNotTouchedWhenItComesInTheMiddleOfATree) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        const TemporaryFolder folder;
        folder.folder("home");
        tests::mountTmpfs(folder.folder("v"));
        for (int i = 0; i < 80; ++i) {
            for (const char* branch : {"v/__MACOSX/", "v/__MACOSX/a/b/"})
                folder.file(branch + std::to_string(i));
        }
        cleanDuring(folder, "unlinkat", "[ $(find v -type f | wc -l) -lt 150 ]",
                    "umount -l v && mount -t tmpfs second v && mkdir -p v/__MACOSX/a/b && "
                    "(cd v/__MACOSX && touch $(seq 80) && cd a/b && touch $(seq 80))");
        EXPECT_EQ(Manifest::of(folder.at("v")).paths().size(), 163U);
        tests::unmount(folder.at("v"));
    }),
              0);
}

TEST(FreshMount, IsNotEnteredByTheScanThatItSurprises) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        const TemporaryFolder folder;
        folder.folder("home");
        for (int i = 0; i < 60; ++i)
            folder.file("v/" + std::to_string(i) + "/._x");
        // All of them are listed in the first call; mounted over while most of them are still to be entered.
        const std::string all = "for d in v/*; do mount -t tmpfs over $d && touch $d/._precious || exit 1; done";
        cleanDuring(folder, "openat2", "[ $(grep -c openat2 trace) -ge 5 ]", all);
        int precious = 0;
        int mounted = 0;
        for (int i = 0; i < 60; ++i) {
            const std::string place = "v/" + std::to_string(i);
            precious += folder.has(place + "/._precious") ? 1 : 0;
            tests::unmount(folder.at(place));
            mounted += folder.has(place + "/._x") ? 1 : 0;
        }
        EXPECT_EQ(precious, 60);
        EXPECT_GT(mounted, 0) << "the scan was over before the mounts came";
    }),
              0);
}

TEST(Scan, MakesNoCallForAnOrdinaryFile) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const TemporaryFolder folder;
    fill(folder);
    // Listing, memory and threads aside; what the program does at its start and its end is the same every time.
    const auto calls = [&folder] {
        EXPECT_EQ(run(folder,
                      "strace -f -o '" + folder.at("trace") +
                          "' -e 'trace=!getdents64,brk,mmap,munmap,mremap,madvise,mprotect,futex'",
                      "scan"),
                  0);
        const std::string text = folder.contents("trace");
        int count = 0;
        for (std::size_t at = text.find(" = "); at != std::string::npos; at = text.find(" = ", at + 1))
            ++count;
        return count;
    };
    constexpr int many = 300;
    constexpr int slack = 20;  // of the threads beside the scan
    const int few = calls();
    for (int i = 0; i < many; ++i)
        folder.file("v/docs/" + std::to_string(i) + ".jpg");
    EXPECT_NEAR(calls(), few, slack);
    for (int i = 0; i < many; ++i)
        folder.file("v/docs/._" + std::to_string(i));
    EXPECT_NEAR(calls(), few + many, slack) << "one look at each claimed name";
}

TEST(DryRun, AsksNoDeviceOfAnotherVolume) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const auto& kind = tests::diskKind("ntfs");
    if (const auto missing = kind.missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([&] {
        const TemporaryFolder folder;
        fill(folder);
        tests::mountDisk(kind, folder.at("image"), folder.folder("other"));
        const std::string tracer = "strace -f -o '" + folder.at("trace") + "' -e trace=open,openat,openat2";
        EXPECT_EQ(run(folder, tracer, "clean --dry-run"), 0);
        EXPECT_NE(folder.contents("trace").find("mountinfo"), std::string::npos) << "the mounts were looked at";
        EXPECT_EQ(folder.contents("trace").find("\"/dev/loop"), std::string::npos) << folder.contents("trace");
        tests::unmountDisk(folder.at("other"));
    }),
              0);
}

TEST(DryRun, MakesNoCallThatChangesTheVolume) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    const TemporaryFolder folder;
    fill(folder);
    const Manifest before = Manifest::of(folder.at("v"));
    for (const char* arguments : {"clean --dry-run", "scan"}) {
        const std::string trace = folder.at("trace");
        ASSERT_EQ(
            run(folder,
                "strace -f -o '" + trace +
                    "' -e trace=unlink,unlinkat,rmdir,rename,renameat,renameat2,truncate,ftruncate,fallocate,chmod,"
                    "fchmod,fchmodat,chown,fchown,lchown,fchownat,utime,utimes,utimensat,futimesat,open,openat,openat2,"
                    "creat,mkdir,mkdirat,mknod,mknodat,link,linkat,symlink,symlinkat,setxattr,lsetxattr,fsetxattr,"
                    "removexattr,lremovexattr,fremovexattr,copy_file_range,ioctl,mount,umount2",
                arguments),
            0);
        const std::string text = folder.contents("trace");
        std::string offending;
        std::size_t start = 0;
        for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
            const std::string line = text.substr(start, end - start);
            start = end + 1;
            const auto has = [&line](const char* word) { return line.find(word) != std::string::npos; };
            const bool changes = !has("open") || has("O_CREAT") || has("O_WRONLY") || has("O_RDWR") || has("O_TRUNC");
            const bool isLog = has("Library");
            const bool isSystem = has("/dev/") || has("\"/proc/") || has("+++") || has("---") || has("TCGETS") ||
                                  has("/tmp/tsan.");  // a sanitizer's own
            if (changes && !isLog && !isSystem) offending += line + '\n';
        }
        EXPECT_EQ(offending, "") << arguments;
        EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), {});
    }
}

}  // namespace
}  // namespace varnel
