// SPDX-License-Identifier: MIT
#include "core/volumes/Volume.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

namespace varnel {
namespace {

Volume volumeOf(std::string mountPoint, std::string fsType) {
    return {std::move(mountPoint), std::move(fsType), /*isLocal=*/true, /*isRemovable=*/false, /*isInternal=*/false};
}

TEST(Volume, IsAMacFormatByItsTypeInAnyCase) {
    constexpr struct {
        std::string_view type;
        bool isMac;
    } cases[] = {{"apfs", true},     {"hfs", true},    {"hfsx", true},   {"APFS", true},    {"HFSX", true},
                 {"Hfs", true},      {"msdos", false}, {"exfat", false}, {"ntfs", false},   {"smbfs", false},
                 {"hfsplus", false}, {"", false},      {"apfs ", false}, {"unknown", false}};
    for (const auto& c : cases) {
        EXPECT_EQ(volumeOf("/v", std::string(c.type)).isMacFormat(), c.isMac) << c.type;
        EXPECT_EQ(volumeOf("/v", std::string(c.type)).isTarget(), !c.isMac) << c.type;
    }
}

TEST(Volume, IsATargetHoweverItIsAttached) {
    for (int bits = 0; bits < 8; ++bits) {
        const Volume volume{"/v", "exfat", (bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
        EXPECT_TRUE(volume.isTarget()) << bits;
    }
}

TEST(VolumeName, IsTheLastComponentSaveForTheStartUpDisk) {
    EXPECT_EQ(volumeOf("/", "exfat").name(), "Macintosh HD");
    EXPECT_EQ(volumeOf("/", "apfs").name(), "Macintosh HD");
    EXPECT_EQ(volumeOf("/Volumes/USB", "exfat").name(), "USB");
    EXPECT_EQ(volumeOf("/Volumes/My Disk", "exfat").name(), "My Disk");
}

TEST(VolumeSummary, NamesTypeAndPlace) {
    EXPECT_EQ((Volume{"/Volumes/share", "smbfs", false, false, false}).summary(), "share — smbfs, network");
    EXPECT_EQ((Volume{"/Volumes/USB", "EXFAT", true, true, false}).summary(), "USB — EXFAT, local");
    EXPECT_EQ(volumeOf("/", "apfs").summary(), "Macintosh HD — apfs, local");
}

TEST(Volume, IsEqualByAllFiveFields) {
    const Volume volume{"/v", "exfat", true, false, false};
    EXPECT_EQ(volume, Volume(volume));
    EXPECT_NE(volume, (Volume{"/w", "exfat", true, false, false}));
    EXPECT_NE(volume, (Volume{"/v", "ntfs", true, false, false}));
    EXPECT_NE(volume, (Volume{"/v", "exfat", false, false, false}));
    EXPECT_NE(volume, (Volume{"/v", "exfat", true, true, false}));
    EXPECT_NE(volume, (Volume{"/v", "exfat", true, false, true}));
}

}  // namespace
}  // namespace varnel
