// SPDX-License-Identifier: MIT
#include "core/scan/FSInfo.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

TEST(FSInfoEntry, TellsWhatLstatTells) {
    const TemporaryFolder folder;
    folder.file("file", "12345");
    folder.folder("folder");
    folder.link("to folder", "folder");
    folder.link("to nowhere", "nowhere");
    struct stat facts {};
    ASSERT_EQ(::lstat(folder.at("folder").c_str(), &facts), 0);

    const auto file = FSInfo::entry(folder.at("file"));
    ASSERT_TRUE(file);
    EXPECT_FALSE(file->isDirectory);
    EXPECT_FALSE(file->isSymlink);
    EXPECT_EQ(file->size, 5);
    EXPECT_EQ(file->device, static_cast<std::int32_t>(facts.st_dev));

    const auto directory = FSInfo::entry(folder.at("folder"));
    ASSERT_TRUE(directory);
    EXPECT_TRUE(directory->isDirectory);
    EXPECT_EQ(directory->size, facts.st_size) << "a folder's own size is kept";

    const auto link = FSInfo::entry(folder.at("to folder"));
    ASSERT_TRUE(link);
    EXPECT_TRUE(link->isSymlink);
    EXPECT_FALSE(link->isDirectory);
    EXPECT_EQ(link->size, 6);
    EXPECT_TRUE(FSInfo::entry(folder.at("to nowhere")));
    EXPECT_FALSE(FSInfo::entry(folder.at("nowhere")));
}

TEST(FSInfoDevice, FollowsLinksAndLinkDeviceDoesNot) {
    const TemporaryFolder folder;
    folder.link("to proc", "/proc");
    folder.link("to nowhere", "nowhere");
    const auto here = FSInfo::device(folder.path());
    ASSERT_TRUE(here);
    EXPECT_EQ(FSInfo::linkDevice(folder.at("to proc")), here);
    EXPECT_NE(FSInfo::device(folder.at("to proc")), here);
    EXPECT_EQ(FSInfo::device(folder.at("to nowhere")), std::nullopt);
    EXPECT_EQ(FSInfo::linkDevice(folder.at("to nowhere")), here);
    EXPECT_EQ(FSInfo::linkDevice(folder.at("nowhere")), std::nullopt);
}

TEST(FSInfoIsMountPoint, IsTrueForTheRootAndMountsOnly) {
    const TemporaryFolder folder;
    folder.file("file");
    folder.folder("folder");
    EXPECT_TRUE(FSInfo::isMountPoint("/"));
    EXPECT_TRUE(FSInfo::isMountPoint("/proc"));
    EXPECT_FALSE(FSInfo::isMountPoint(folder.at("folder")));
    EXPECT_FALSE(FSInfo::isMountPoint(folder.at("file")));
    EXPECT_FALSE(FSInfo::isMountPoint(folder.at("nowhere")));
    EXPECT_FALSE(FSInfo::isMountPoint("/no/such/place"));
}

TEST(FSInfoIsMountPoint, IsTrueForABindMountOfTheSameVolume) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const TemporaryFolder folder;
    EXPECT_EQ(mounts.run([&] {
        tests::bindMount(folder.folder("from"), folder.folder("to"));
        EXPECT_TRUE(FSInfo::isMountPoint(folder.at("to")));
        EXPECT_FALSE(FSInfo::isMountPoint(folder.at("from")));
    }),
              0);
}

TEST(FSInfoType, NamesTheFileSystem) {
    EXPECT_EQ(FSInfo::type("/proc"), "proc");
    EXPECT_EQ(FSInfo::type("/proc/self"), "proc");
    EXPECT_EQ(FSInfo::type("/no/such/place"), std::nullopt);
}

}  // namespace
}  // namespace varnel
