// SPDX-License-Identifier: MIT
#include "cli/AppleDouble.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::cli {
namespace {

std::string bigEndian(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i)
        text += static_cast<char>(value >> (8 * i) & 0xFFU);
    return text;
}

struct Part {
    std::uint32_t id, offset, length;
};

std::string fileOf(const std::vector<Part>& parts, const std::string& contents = "", std::uint32_t magic = 0x00051607) {
    std::string file = bigEndian(magic, 4) + bigEndian(0x00020000, 4) + "Mac OS X        ";
    file += bigEndian(static_cast<std::uint32_t>(parts.size()), 2);
    for (const Part& part : parts)
        file += bigEndian(part.id, 4) + bigEndian(part.offset, 4) + bigEndian(part.length, 4);
    return file + contents;
}

TEST(AppleDouble, TellsARealForkFromABlankOne) {
    const std::string blank = "This resource fork intentionally left blank   ";
    const struct {
        const char* what;
        std::string file;
        bool expected;
    } cases[] = {
        {"a long fork", fileOf({{9, 50, 32}, {2, 82, 5000}}), true},
        {"a short fork with something in it", fileOf({{2, 38, 286}}, std::string(286, 'x')), true},
        {"a fork left blank", fileOf({{2, 38, 286}}, blank + std::string(240, '\0')), false},
        {"an empty fork", fileOf({{2, 38, 0}}), false},
        {"no fork at all", fileOf({{9, 38, 32}}, std::string(32, 'f')), false},
        {"a short fork beyond what was read", fileOf({{2, 100000, 286}}), true},
        {"another magic number", fileOf({{2, 38, 5000}}, "", 0x00051600), false},
        {"an empty file", "", false},
        {"a few bytes", std::string("\0\5\x16\7", 4), false},
        {"a table cut short", fileOf({{9, 50, 32}, {2, 82, 5000}}).substr(0, 45), false},
        {"more parts than a file can hold", bigEndian(0x00051607, 4) + std::string(20, '\0') + "\xff\xff", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(AppleDouble::holdsResourceFork(c.file), c.expected) << c.what;
}

}  // namespace
}  // namespace varnel::cli
