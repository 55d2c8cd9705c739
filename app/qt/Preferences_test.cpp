// SPDX-License-Identifier: MIT
#include "app/qt/Preferences.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

const QString key = QStringLiteral("watcherEnabled");

QString fileIn(const tests::TemporaryFolder& folder) {
    return QString::fromStdString(folder.at("new/folder/varnel.conf"));
}

TEST(Preferences, TellsWhatWasNeverStoredFromFalse) {
    const tests::TemporaryFolder folder;
    Preferences preferences(fileIn(folder));
    EXPECT_EQ(preferences.value(key), std::nullopt);
    ASSERT_TRUE(preferences.setValue(key, /*value=*/false));
    EXPECT_EQ(preferences.value(key), false);
    ASSERT_TRUE(preferences.setValue(key, /*value=*/true));
    EXPECT_EQ(preferences.value(key), true);
    EXPECT_EQ(preferences.value(QStringLiteral("another")), std::nullopt);
}

TEST(Preferences, StoresAtOnceAndReadsWhatOthersStored) {
    const tests::TemporaryFolder folder;
    Preferences preferences(fileIn(folder));
    ASSERT_TRUE(preferences.setValue(key, /*value=*/false));
    EXPECT_NE(folder.contents("new/folder/varnel.conf").find("watcherEnabled=false"), std::string::npos);
    folder.file("new/folder/varnel.conf", "[General]\nother=1\nwatcherEnabled=true\n");
    EXPECT_EQ(preferences.value(key), true);
    ASSERT_TRUE(preferences.setValue(key, /*value=*/false));
    EXPECT_NE(folder.contents("new/folder/varnel.conf").find("other=1"), std::string::npos);
}

TEST(Preferences, TakesWhatIsStoredAndIsNotTrueForFalse) {
    const struct {
        const char* text;
        std::optional<bool> value;
    } cases[] = {
        {"watcherEnabled=true", true},
        {"watcherEnabled=FALSE", false},
        {"watcherEnabled=1", true},
        {"watcherEnabled=Yes", true},
        {"watcherEnabled=0", false},
        {"watcherEnabled=off", false},
        {"watcherEnabled=", false},
        {"watcherEnabled=maybe", false},
        {"watcherEnabled=@Invalid()", std::nullopt},
        {"watcherEnabled=true, false", false},
        {"watcherEnabled=@ByteArray(true", false},
        {"watcherEnabled", std::nullopt},
        {"\xff\xfe\x01", std::nullopt},
        {"]]]]", std::nullopt},
    };
    for (const auto& [text, value] : cases) {
        const tests::TemporaryFolder folder;
        folder.file("new/folder/varnel.conf", std::string("[General]\n") + text + "\n");
        Preferences preferences(fileIn(folder));
        EXPECT_EQ(preferences.value(key), value) << text;
        EXPECT_TRUE(preferences.setValue(key, /*value=*/false)) << text;
        EXPECT_EQ(preferences.value(key), false) << text;
    }
}

TEST(Preferences, KeepsWhatItCannotStoreForItself) {
    const tests::TemporaryFolder folder;
    folder.file("new", "no folder");
    Preferences preferences(fileIn(folder));
    EXPECT_EQ(preferences.value(key), std::nullopt);
    EXPECT_FALSE(preferences.setValue(key, /*value=*/false));
    EXPECT_EQ(preferences.value(key), false);
    EXPECT_EQ(Preferences(fileIn(folder)).value(key), std::nullopt);
}

}  // namespace
}  // namespace varnel
