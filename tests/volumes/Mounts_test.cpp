// SPDX-License-Identifier: MIT
//
// Volumes that are mounted, swapped, made read-only and unmounted around a clean.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/plan/Executor.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Scanner.h"
#include "tests/support/DiskImage.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using tests::diskKind;
using tests::Manifest;
using tests::onBothRoads;
using tests::TemporaryFolder;
using Failures = std::vector<ExecResult::Failure>;

Plan scan(const std::string& root) {
    return Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(root);
}

/// Runs the body in a namespace of its own, or skips the test with the reason.
void privately(const std::function<void(const TemporaryFolder&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([&] {
        const TemporaryFolder folder;
        body(folder);
    }),
              0);
}

TEST(MountsInside, KeepWhatLiesBehindThem) {
    privately([](const TemporaryFolder& folder) {
        onBothRoads([&] {
            folder.file("canary/precious");
            folder.file("v/__MACOSX/a/._x");
            folder.file("v/__MACOSX/z/._y");
            const std::vector<std::function<void()>> ways = {
                [&] { tests::bindMount(folder.at("canary"), folder.folder("v/__MACOSX/a/mnt")); },
                [&] {
                    tests::mountTmpfs(folder.folder("v/__MACOSX/a/mnt"));
                    folder.file("v/__MACOSX/a/mnt/precious");
                },
                [&] {
                    tests::shell("mount -t overlay o -o lowerdir='" + folder.at("canary") + "' '" +
                                 folder.folder("v/__MACOSX/a/mnt") + "' || bindfs '" + folder.at("canary") + "' '" +
                                 folder.at("v/__MACOSX/a/mnt") + "'");
                },
            };
            for (const auto& mount : ways) {
                folder.file("v/__MACOSX/a/._x");
                folder.file("v/__MACOSX/z/._y");
                mount();
                const ExecResult result = Executor::execute(scan(folder.at("v")), /*dryRun=*/false, nullptr);
                EXPECT_EQ(result.failures, (Failures{{folder.at("v/__MACOSX"), "Invalid cross-device link"}}));
                EXPECT_TRUE(folder.has("v/__MACOSX/a/mnt/precious"));
                EXPECT_TRUE(folder.has("canary/precious"));
                EXPECT_FALSE(folder.has("v/__MACOSX/a/._x") || folder.has("v/__MACOSX/z"));
                tests::unmountDisk(folder.at("v/__MACOSX/a/mnt"));
            }
        });
    });
}

TEST(MountsInside, KeepASubvolume) {
    if (const auto missing = diskKind("btrfs").missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    privately([](const TemporaryFolder& folder) {
        tests::mountDisk(diskKind("btrfs"), folder.at("image"), folder.folder("v"));
        folder.file("v/__MACOSX/a/._x");
        tests::shell("btrfs subvolume create '" + folder.at("v/__MACOSX/sub") + "' && btrfs subvolume create '" +
                     folder.at("v/.Trashes") + "' && btrfs subvolume create '" + folder.at("v/plain") + "'");
        for (const char* name : {"v/__MACOSX/sub/precious", "v/.Trashes/precious", "v/plain/._precious"})
            folder.file(name);
        Plan plan = scan(folder.at("v"));
        ASSERT_EQ(plan.items.size(), 1U) << "subvolumes are other devices and are passed over";
        plan.items.push_back({folder.at("v/.Trashes"), ".Trashes", "trashes", true, 0});
        plan.items.push_back({folder.at("v/plain/._precious"), "._precious", "appledouble", false, 0});
        onBothRoads([&] {
            const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
            EXPECT_EQ(result.failures,
                      (Failures{{folder.at("v/plain/._precious"), "skipped: parent is on a different volume"},
                                {folder.at("v/__MACOSX"), "Invalid cross-device link"},
                                {folder.at("v/.Trashes"), "skipped: is a mount point"}}));
            for (const char* name : {"v/__MACOSX/sub/precious", "v/.Trashes/precious", "v/plain/._precious"}) {
                EXPECT_TRUE(folder.has(name)) << name;
            }
        });
        tests::unmountDisk(folder.at("v"));
    });
}

TEST(SecondCard, IsNotTouchedByAPlanOfTheFirst) {
    if (const auto missing = diskKind("exfat").missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    privately([](const TemporaryFolder& folder) {
        const auto& exfat = diskKind("exfat");
        const std::string place = folder.folder("card");
        for (const char* image : {"second", "first"}) {
            tests::mountDisk(exfat, folder.at(image), place);
            folder.file("card/._same");
            folder.file("card/__MACOSX/inside");
            if (image == std::string("second")) tests::unmountDisk(place);
        }
        const auto volume = VolumeIdentity::of(place);
        const Plan plan = scan(place);
        ASSERT_EQ(plan.items.size(), 2U);
        tests::unmountDisk(place);
        tests::mountAgain(exfat, folder.at("second"), place);
        const auto always = [](const ExecResult&) { return true; };
        const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr, {volume, always});
        EXPECT_EQ(result.failures, (Failures{{place + "/._same", "skipped: parent is on a different volume"},
                                             {place + "/__MACOSX", "skipped: parent is on a different volume"}}));
        EXPECT_TRUE(folder.has("card/._same") && folder.has("card/__MACOSX/inside"));
        tests::unmountDisk(place);
    });
}

TEST(SecondCard, IsNotTouchedWhenItComesInTheMiddleOfARun) {
    privately([](const TemporaryFolder& folder) {
        const std::string place = folder.folder("card");
        tests::mountTmpfs(place);
        for (int i = 0; i < 20; ++i)
            folder.file("card/._" + std::to_string(i));
        const auto volume = VolumeIdentity::of(place);
        const Plan plan = scan(place);
        const auto swapAfterFive = [&](const ExecResult& soFar) {
            if (soFar.removed == 5 && soFar.failures.empty()) {
                ::umount2(place.c_str(), MNT_DETACH);
                tests::mountTmpfs(place);
                for (int i = 0; i < 20; ++i)
                    folder.file("card/._" + std::to_string(i));
            }
            return soFar.removed < 19;
        };
        Executor::execute(plan, /*dryRun=*/false, nullptr, {volume, swapAfterFive});
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(folder.has("card/._" + std::to_string(i))) << i;
        tests::unmountDisk(place);
    });
}

TEST(ReadOnlyVolume, FailsEachItemWithTheSystemsWords) {
    if (const auto missing = diskKind("ext4").missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    privately([](const TemporaryFolder& folder) {
        tests::mountDisk(diskKind("ext4"), folder.at("image"), folder.folder("v"));
        folder.file("v/._a");
        folder.file("v/__MACOSX/x");
        tests::shell("mount -o remount,ro '" + folder.at("v") + "'");
        const ExecResult result = Executor::execute(scan(folder.at("v")), /*dryRun=*/false, nullptr);
        EXPECT_EQ(result.failures, (Failures{{folder.at("v/._a"), "Read-only file system"},
                                             {folder.at("v/__MACOSX"), "Read-only file system"}}));
        EXPECT_TRUE(folder.has("v/._a") && folder.has("v/__MACOSX/x"));
        tests::unmountDisk(folder.at("v"));
    });
}

TEST(ImmutableFiles, FailAndStayImmutable) {
    if (const auto missing = diskKind("ext4").missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    privately([](const TemporaryFolder& folder) {
        tests::mountDisk(diskKind("ext4"), folder.at("image"), folder.folder("v"));
        folder.file("v/._a");
        folder.file("v/__MACOSX/fixed");
        folder.file("v/__MACOSX/loose");
        tests::shell("chattr +i '" + folder.at("v/._a") + "' '" + folder.at("v/__MACOSX/fixed") + "'");
        const ExecResult result = Executor::execute(scan(folder.at("v")), /*dryRun=*/false, nullptr);
        EXPECT_EQ(result.failures, (Failures{{folder.at("v/._a"), "Operation not permitted"},
                                             {folder.at("v/__MACOSX"), "Operation not permitted"}}));
        EXPECT_TRUE(folder.has("v/._a") && folder.has("v/__MACOSX/fixed"));
        EXPECT_FALSE(folder.has("v/__MACOSX/loose"));
        tests::shell("chattr -i '" + folder.at("v/._a") + "' '" + folder.at("v/__MACOSX/fixed") + "'");
        tests::unmountDisk(folder.at("v"));
    });
}

TEST(MacFormats, AreNamedWhateverDriverMountsThem) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
    privately([](const TemporaryFolder& folder) {
        folder.folder("from");
        for (const auto& [subtype, type] : {std::pair("apfs", "apfs"),
                                            {"apfs-driver", "apfs"},
                                            {"hfsplus", "hfs"},
                                            {"hfsfuse", "hfs"},
                                            {"other", "fuse.other"}}) {
            tests::shell("bindfs -o subtype=" + std::string(subtype) + " '" + folder.at("from") + "' '" +
                         folder.folder("to") + "'");
            EXPECT_EQ(FSInfo::type(folder.at("to")), type) << subtype;
            tests::unmountDisk(folder.at("to"));
        }
    });
}

TEST(Descriptors, AreAllGivenBack) {
    privately([](const TemporaryFolder& folder) {
        tests::mountTmpfs(folder.folder("v"));
        const auto openNow = [] {
            return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                 std::filesystem::directory_iterator());
        };
        const auto before = openNow();
        for (int round = 0; round < 10000; ++round) {
            folder.file("v/a/._x");
            folder.file("v/__MACOSX/y");
            Executor::execute(scan(folder.at("v")), /*dryRun=*/false, nullptr);
        }
        EXPECT_EQ(openNow(), before);
        EXPECT_FALSE(folder.has("v/a/._x") || folder.has("v/__MACOSX"));
        tests::unmount(folder.at("v"));
    });
}

}  // namespace
}  // namespace varnel
