// SPDX-License-Identifier: MIT
#include "app/qt/LoginItem.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

constexpr const char* entry = "config/autostart/com.quorin.Varnel.desktop";

/// A folder for entries and a program to start.
struct Bench {
    explicit Bench(const std::string& name = "varnel-desktop") : program(folder.file("bin/" + name)) {
        ::chmod(program.c_str(), 0755);
    }

    LoginItem item() const {
        return {QString::fromStdString(folder.at("config/autostart")), QString::fromStdString(program)};
    }

    tests::TemporaryFolder folder;
    std::string program;
};

TEST(LoginItem, IsOffUntilItIsSwitchedOn) {
    const Bench bench;
    EXPECT_FALSE(bench.item().isEnabled());
    ASSERT_TRUE(bench.item().setEnabled(true));
    EXPECT_TRUE(bench.item().isEnabled());
    ASSERT_TRUE(bench.item().setEnabled(true));
    EXPECT_TRUE(bench.item().isEnabled());
    ASSERT_TRUE(bench.item().setEnabled(false));
    EXPECT_FALSE(bench.item().isEnabled());
    EXPECT_FALSE(bench.folder.has(entry));
    EXPECT_TRUE(bench.item().setEnabled(false)) << "what is not there is removed already";
}

TEST(LoginItem, WritesAnEntryThatStartsTheProgramQuietly) {
    const Bench bench;
    ASSERT_TRUE(bench.item().setEnabled(true));
    const std::string text = bench.folder.contents(entry);
    EXPECT_TRUE(text.starts_with("[Desktop Entry]\n")) << text;
    EXPECT_NE(text.find("\nExec=\"" + bench.program + "\" --background\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nType=Application\n"), std::string::npos) << text;
}

TEST(LoginItem, StartsAProgramOfAnyName) {
    for (const char* const name : {"a b", "100%", "a\"b", "a$b", "a`b", "a\\b", "%U", "ä"}) {
        const Bench bench(name);
        ASSERT_TRUE(bench.item().setEnabled(true)) << name;
        EXPECT_TRUE(bench.item().isEnabled()) << bench.folder.contents(entry);
        if (!tests::hasProgram("desktop-file-validate")) continue;
        EXPECT_NO_THROW(tests::shell("desktop-file-validate --no-hints '" + bench.folder.at(entry) + "'")) << name;
    }
}

TEST(LoginItem, BelievesOnlyAPlainYes) {
    const Bench bench;
    const std::string exec = "Exec=" + bench.program + " --background\n";
    const struct {
        std::string text;
        bool isEnabled;
    } cases[] = {
        {"[Desktop Entry]\nType=Application\n" + exec, true},
        {"# a remark\n[Desktop Entry]\nType = Application\n" + exec + "Hidden=false\n", true},
        {"[Desktop Entry]\nType=Application\n" + exec + "Hidden=true\n", false},
        {"[Desktop Entry]\nType=Application\n" + exec + "X-GNOME-Autostart-enabled=false\n", false},
        {"[Desktop Entry]\nType=Application\n" + exec + "[Other]\nHidden=true\n", true},
        {"[Desktop Entry]\n" + exec, false},
        {"[Desktop Entry]\nType=Application\nExec=/no/such/program\n", false},
        {"[Desktop Entry]\nType=Application\nExec=sh -c true\n", true},
        {"[Desktop Entry]\nType=Application\n", false},
        {"[Desktop Entry]\nType=Application\nExec=\"\n", false},
        {"", false},
        {"\xff\xfe garbage", false},
    };
    for (const auto& [text, isEnabled] : cases) {
        bench.folder.file(entry, text);
        EXPECT_EQ(bench.item().isEnabled(), isEnabled) << text;
    }
}

TEST(LoginItem, TellsWhyItCannotBeSwitched) {
    const Bench bench;
    bench.folder.file("config/autostart", "no folder");
    const auto on = bench.item().setEnabled(true);
    ASSERT_FALSE(on);
    EXPECT_EQ(on.error().toStdString(), "Could not write " + bench.folder.at(entry) + ": Not a directory");
    EXPECT_FALSE(bench.item().isEnabled());
}

TEST(LoginItem, TellsWhyItCannotBeSwitchedOff) {
    const Bench bench;
    bench.folder.folder(std::string(entry) + "/in the way");
    const auto off = bench.item().setEnabled(false);
    ASSERT_FALSE(off);
    EXPECT_TRUE(off.error().startsWith("Could not remove ")) << off.error().toStdString();
}

}  // namespace
}  // namespace varnel
