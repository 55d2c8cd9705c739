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

TEST(EveryError, HarmsNothingThatIsNoLitter) {
    if (!canTrace()) GTEST_SKIP() << "needs a working strace";
    for (const char* call : {"statx", "openat2", "getdents64", "unlinkat"}) {
        for (const char* error : {"EIO", "EACCES", "EMFILE", "ENOMEM", "EINTR", "ENOSYS", "ENOENT"}) {
            for (int when = 1; when <= 10; when += 3) {
                const TemporaryFolder folder;
                fill(folder);
                const Manifest before = Manifest::of(folder.at("v"));
                const Manifest beside = Manifest::of(folder.at("beside"));
                const int status = run(folder,
                                       std::string("strace -f -o /dev/null -e inject=") + call + ":error=" + error +
                                           ":when=" + std::to_string(when),
                                       "clean --yes");
                SCOPED_TRACE(std::string(call) + " " + error + " at " + std::to_string(when));
                EXPECT_TRUE(status == 0 || status == 1 || status == 3) << "status " << status;
                const std::string differences = before.differences(Manifest::of(folder.at("v")), litter);
                EXPECT_EQ(differences.find("should not be"), std::string::npos) << differences;
                EXPECT_EQ(differences.find("changed:"), std::string::npos) << differences;
                EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});
                EXPECT_EQ(run(folder, "", "clean --yes"), 0);
                EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), litter);
                if (::testing::Test::HasFailure()) return;
            }
        }
    }
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
                    "' -e trace=unlink,unlinkat,rmdir,rename,renameat,renameat2,truncate,ftruncate,chmod,fchmod,"
                    "fchmodat,utimensat,open,openat,openat2,creat,mkdir,mkdirat,link,linkat,symlink,symlinkat,setxattr",
                arguments),
            0);
        const std::string text = folder.contents("trace");
        std::string offending;
        std::size_t start = 0;
        for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
            const std::string line = text.substr(start, end - start);
            start = end + 1;
            const bool opens = line.find("open") != std::string::npos;
            const bool changes = !opens || line.find("O_CREAT") != std::string::npos ||
                                 line.find("O_WRONLY") != std::string::npos ||
                                 line.find("O_RDWR") != std::string::npos || line.find("O_TRUNC") != std::string::npos;
            const bool isLog = line.find("Library") != std::string::npos;
            const bool isSystem = line.find("/dev/") != std::string::npos ||
                                  line.find("\"/proc/") != std::string::npos ||
                                  line.find("/tmp/tsan.") != std::string::npos ||  // a sanitizer's own
                                  line.find("+++") != std::string::npos || line.find("---") != std::string::npos;
            if (changes && !isLog && !isSystem) offending += line + '\n';
        }
        EXPECT_EQ(offending, "") << arguments;
        EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), {});
    }
}

}  // namespace
}  // namespace varnel
