// SPDX-License-Identifier: MIT
#include "core/disk/PropertyList.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "core/base/Text.h"
#include "tests/support/Vectors.h"

namespace varnel {
namespace {

std::optional<std::string> identifier(const std::string& list) {
    return PropertyList::text(list, "DeviceIdentifier");
}

TEST(PropertyListText, IsWhatTheDiskUtilitySays) {
    int confirmed = 0;
    tests::forEachVector("plist-device-identifier.json", [&confirmed](const nlohmann::json& vector) {
        if (tests::isUnconfirmed(vector)) return;
        const auto found = identifier(std::string(Text::trimmed(vector["input"].get<std::string>())));
        if (vector["expected"].is_null()) {
            EXPECT_EQ(found, std::nullopt);
        } else {
            EXPECT_EQ(found, vector["expected"].get<std::string>());
        }
        ++confirmed;
    });
    EXPECT_GT(confirmed, 30);
}

TEST(PropertyListText, MayFollowAByteOrderMark) {
    EXPECT_EQ(identifier("\xEF\xBB\xBF<plist><dict><key>DeviceIdentifier</key><string>disk4s1</string></dict></plist>"),
              "disk4s1");
}

TEST(PropertyListText, IsTheLastOfTwoUnderOneKey) {
    EXPECT_EQ(identifier("<plist><dict><key>DeviceIdentifier</key><string>one</string>"
                         "<key>DeviceIdentifier</key><string>two</string></dict></plist>"),
              "two");
}

TEST(PropertyListText, IsNotLookedForBelowTheRoot) {
    EXPECT_EQ(identifier("<plist><dict><key>x</key><dict><key>DeviceIdentifier</key><string>disk4s1</string></dict>"
                         "</dict></plist>"),
              std::nullopt);
    EXPECT_EQ(identifier("<plist><array><dict><key>DeviceIdentifier</key><string>disk4s1</string></dict>"
                         "</array></plist>"),
              std::nullopt);
}

std::string nested(int levels, const std::string& inside) {
    std::string list = "<plist><dict>";
    for (const char* const tag : {"<array>", "</array>"}) {
        if (tag[1] == 'a') list += "<key>deep</key>";
        for (int level = 0; level < levels; ++level)
            list += tag;
    }
    return list + inside + "</dict></plist>";
}

TEST(PropertyListText, IsFoundBesideWhatIsNestedUnlessThatIsAbsurd) {
    const std::string entry = "<key>DeviceIdentifier</key><string>disk4s1</string>";
    EXPECT_EQ(identifier(nested(64, entry)), "disk4s1");
    EXPECT_EQ(identifier(nested(500, entry)), "disk4s1");
    EXPECT_EQ(identifier(nested(1'000'000, entry)), std::nullopt) << "and the stack survives";
}

}  // namespace
}  // namespace varnel
