// SPDX-License-Identifier: MIT
#include "platform/linux/UDisks.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace varnel {
namespace {

using Block = UDisks::Block;
using Words = std::vector<std::string>;

UDisks::Disks disks(std::vector<Block> blocks) {
    return {.blocks = std::move(blocks), .drives = {}};
}

Words partsOf(const UDisks::Disks& all, const std::string& object) {
    Words objects;
    for (const Block* const part : all.partsOf(all.wholeDisk(*all.withObject(object))))
        objects.push_back(part->object);
    return objects;
}

TEST(UDisksBlocks, AreFoundByNumberAndByObject) {
    const auto all = disks({{.object = "a", .number = 2048}, {.object = "b", .number = 2049}});
    EXPECT_EQ(all.withNumber(2049)->object, "b");
    EXPECT_EQ(all.withNumber(1), nullptr);
    EXPECT_EQ(all.withObject("a")->number, 2048U);
    EXPECT_EQ(all.withObject(""), nullptr);
}

TEST(UDisksBlocks, BelongToAWholeDiskThroughPartitionsAndEncryption) {
    const auto all = disks({{.object = "unlocked", .encrypted = "part2"},
                            {.object = "part1", .drive = "d", .table = "disk"},
                            {.object = "part2", .drive = "d", .table = "disk"},
                            {.object = "disk", .drive = "d"},
                            {.object = "another", .drive = "e"},
                            {.object = "loop", .isLoop = true},
                            {.object = "loop1", .table = "loop"}});
    const Words parts = {"unlocked", "part1", "part2", "disk"};
    for (const std::string& part : parts)
        EXPECT_EQ(partsOf(all, part), parts) << part;
    EXPECT_EQ(partsOf(all, "another"), Words{"another"});
    EXPECT_EQ(partsOf(all, "loop1"), (Words{"loop", "loop1"}));
}

TEST(UDisksBlocks, OfOneDriveAreOneDisk) {
    const auto all = disks({{.object = "boot", .drive = "card"}, {.object = "main", .drive = "card"}});
    EXPECT_EQ(partsOf(all, "main"), (Words{"boot", "main"}));
}

TEST(UDisksBlocks, MayNameObjectsThatAreNotThereOrEachOther) {
    const auto all =
        disks({{.object = "a", .table = "b"}, {.object = "b", .table = "a"}, {.object = "c", .table = "x"}});
    EXPECT_EQ(partsOf(all, "c"), Words{"c"});
    EXPECT_FALSE(partsOf(all, "a").empty()) << "and it ends";
}

}  // namespace
}  // namespace varnel
