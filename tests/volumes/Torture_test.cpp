// SPDX-License-Identifier: MIT
//
// One tree with every awkward thing that a volume can hold, cleaned on every file system that this machine can mount.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/plan/Executor.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Scanner.h"
#include "tests/support/DiskImage.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::DiskKind;
using tests::Manifest;
using tests::TemporaryFolder;

void makeSocket(const std::string& path) {
    EXPECT_EQ(::mknod(path.c_str(), S_IFSOCK | 0644, 0), 0) << path;
}

/// Makes the tree below `root`; gives what an on-demand clean must take, and adds to `live` what the live rules take.
std::set<std::string> grow(const TemporaryFolder& folder, const std::string& root, const DiskKind& kind,
                           std::set<std::string>& live) {
    std::set<std::string> gone;
    const auto keep = [&](const std::string& below) { folder.file(root + "/" + below, "keep " + below); };
    const auto litter = [&](const std::string& below, bool isLive = true) {
        folder.file(root + "/" + below, "litter");
        gone.insert(below);
        if (isLive) live.insert(below);
    };
    const auto litterFolder = [&](const std::string& below, bool isLive = true) {
        folder.file(root + "/" + below + "/deep/file", "inside");
        folder.file(root + "/" + below + "/._Font.ttf", "inside");
        gone.insert(below);
        if (isLive) {
            live.insert(below);
        } else {
            live.insert(below + "/._other");
            folder.file(root + "/" + below + "/._other", "inside");
        }
    };
    // Every rule in the kind that it claims, in other letter cases, and in the kind that it does not claim.
    for (const char* name : {"._x", "._", "._x.ttf.zip", "._.DS_Store", ".DS_Store", ".apdisk", ".VolumeIcon.icns",
                             "Thumbs.db", "desktop.ini"}) {
        litter(std::string("files/") + name);
    }
    for (const char* name : {".ds_store", ".APDISK", "THUMBS.DB", "Desktop.INI"})
        litter(std::string("caseless/") + name);
    for (const char* name : {".DS_Store", ".AppleDouble", "__MACOSX"})
        litterFolder(std::string("folders/") + name);
    for (const char* name : {".fseventsd", ".Spotlight-V100", ".TemporaryItems", ".Trashes", "$RECYCLE.BIN",
                             "System Volume Information"}) {
        litterFolder(std::string("folders/") + name, /*isLive=*/false);
    }
    for (const char* name : {"__MACOSX", ".AppleDouble", ".fseventsd", ".Trashes", "$Recycle.bin"}) {
        keep(std::string("files that are no folders/") + name);
    }
    for (const char* name : {"._folder", "Thumbs.db", "desktop.ini", ".apdisk"}) {
        keep(std::string("folders that are no files/") + name + "/inside");
    }
    // Near misses and what is protected.
    for (const char* name : {"_.x", "x.DS_Store", ".DS_Store2", "DS_Store", "Thumbs.db.txt", "__MACOSX2",
                             ".Trashes-1000", "._\u0301accent"}) {
        keep(std::string("near misses/") + name);
    }
    for (const char* extension : {"ttf", "OTF", "ttc", "dfont", "EPS", "ps", "ai", "indd", "qxd"}) {
        keep(std::string("protected/._x.") + extension);
    }
    // Names.
    litter("names/._\u00e9t\u00e9");
    litter("names/._e\u0301te\u0301 2");
    litter("names/._\U0001f469\u200d\U0001f467");
    litter("names/._" + std::string(253, 'n'));
    litter("names/Thumb\u017f.db");
    keep("names/" + std::string(255, 'n'));
    if (kind.name == "exfat" || kind.name == "ntfs") {
        std::string wide = "names/._";
        for (int i = 0; i < 253; ++i)
            wide += "\u6f22";
        litter(wide);
    }
    if (kind.holdsAnyName) {
        litter("names/._new\nline");
        litter("names/._\x1b[31m");
        litter("names/._\u202egpj.exe");
        litter("names/._\xff\xfe");
        keep("names/\xff\xfe");
        keep("linked/target/precious");
        for (const char* name : {"._to folder", ".DS_Store", "Thumbs.db"}) {
            folder.link(root + "/linked/" + name, "target");
            gone.insert(std::string("linked/") + name);
            live.insert(std::string("linked/") + name);
        }
        for (const char* name : {"__MACOSX", ".Trashes", "plain", "loop"}) {
            folder.link(root + "/linked/" + name, std::string(name) == "loop" ? ".." : "target");
        }
        tests::shell("cd '" + folder.at(root) +
                     "/files' && mkfifo ._fifo ordinary-fifo && ln ._x ../linked/other-name");
        for (const char* name : {"files/._socket", "files/ordinary-socket"})
            makeSocket(folder.at(root) + "/" + name);
        for (const char* name : {"files/._fifo", "files/._socket"}) {
            gone.insert(name);
            live.insert(name);
        }
    }
    // Depth.
    std::string deep = "deep";
    for (int level = 0; level < 100; ++level)
        deep += "/d";
    litter(deep + "/._bottom");
    keep(deep + "/bottom");
    litterFolder(deep + "/__MACOSX");
    return gone;
}

void expectClean(const TemporaryFolder& folder, const std::string& root, RuleScope scope,
                 const std::set<std::string>& gone) {
    const Manifest before = Manifest::of(folder.at(root));
    const Manifest beside = Manifest::of(folder.at("beside"));
    const Plan plan = Scanner{RuleSet::standard(), scope}.scan(folder.at(root));
    EXPECT_TRUE(plan.errors.empty()) << plan.errors.front();
    const ExecResult dry = Executor::execute(plan, /*dryRun=*/true, nullptr);
    EXPECT_ONLY_GONE(before, Manifest::of(folder.at(root)), {});
    const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
    EXPECT_TRUE(result.ok()) << result.failures.front().path << ": " << result.failures.front().reason;
    EXPECT_EQ(result.removed, static_cast<std::int64_t>(gone.size()));
    EXPECT_EQ(dry.removed, result.removed);
    EXPECT_ONLY_GONE(before, Manifest::of(folder.at(root)), gone);
    EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});
}

class Torture : public ::testing::TestWithParam<DiskKind> {};

TEST_P(Torture, OnlyLitterGoes) {
    const DiskKind& kind = GetParam();
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (!kind.missing().empty()) GTEST_SKIP() << "needs the program " << kind.missing();
    const int failures = mounts.run([&] {
        const TemporaryFolder folder;
        folder.file("beside/._precious", "mine");
        for (const RuleScope scope : {RuleScope::watcher, RuleScope::adhoc}) {
            const std::string place = folder.folder("disk");
            tests::mountDisk(kind, folder.at("image"), place);
            EXPECT_EQ(FSInfo::type(place), kind.name);
            EXPECT_TRUE(FSInfo::isMountPoint(place));
            std::set<std::string> live;
            const std::set<std::string> all = grow(folder, "disk", kind, live);
            expectClean(folder, "disk", scope, scope == RuleScope::watcher ? live : all);
            tests::unmountDisk(place);  // and no descriptor of ours is in the way
        }
    });
    EXPECT_EQ(failures, 0);
}

TEST_P(Torture, TheBottomOfADeepTreeIsReached) {
    const DiskKind& kind = GetParam();
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (!kind.missing().empty()) GTEST_SKIP() << "needs the program " << kind.missing();
    const int failures = mounts.run([&] {
        const TemporaryFolder folder;
        const std::string place = folder.folder("disk");
        tests::mountDisk(kind, folder.at("image"), place);
        {
            FileDescriptor here(::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            const auto enter = [&here](const char* name) {
                EXPECT_EQ(::mkdirat(here.get(), name, 0755), 0);
                here = FileDescriptor(::openat(here.get(), name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            };
            const auto touch = [&here](const char* name) {
                ::close(::openat(here.get(), name, O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
            };
            // A user-space driver is handed whole paths, and the kernel hands it none that is longer than a page.
            const int levels = kind.isUserSpace ? 1800 : 3000;
            for (int level = 0; level < levels; ++level)
                enter("d");
            touch("._bottom");
            touch("bottom");
            for (const char* name : {"__MACOSX", "in"})
                enter(name);
            touch("file");
            here = FileDescriptor(::openat(here.get(), "../..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));

            const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(place);
            EXPECT_TRUE(plan.errors.empty()) << plan.errors.front().substr(0, 100);
            EXPECT_EQ(plan.items.size(), 2U);
            const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
            EXPECT_EQ(result.removed, 2);
            EXPECT_NE(::faccessat(here.get(), "._bottom", F_OK, 0), 0);
            EXPECT_NE(::faccessat(here.get(), "__MACOSX", F_OK, 0), 0);
            EXPECT_EQ(::faccessat(here.get(), "bottom", F_OK, 0), 0);
        }
        tests::unmountDisk(place);
    });
    EXPECT_EQ(failures, 0);
}

INSTANTIATE_TEST_SUITE_P(On, Torture, ::testing::ValuesIn(tests::diskKinds()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace varnel
