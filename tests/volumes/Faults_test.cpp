// SPDX-License-Identifier: MIT
//
// A disk that fails on demand: one bad entry never stops the rest, and a dead disk never holds the person.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "core/plan/Executor.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Scanner.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Program.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ToldWatcher.h"
#include "tests/support/Vectors.h"
#include "tests/support/Waiting.h"
#include "tests/support/WithoutUniqueMounts.h"

namespace varnel {
namespace {

using tests::comesTrue;
using tests::Manifest;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;
using Failures = std::vector<ExecResult::Failure>;

/// The failing disk: what lies in "real" appears in "disk".
class FaultyDisk {
public:
    FaultyDisk() {
        folder.folder("real");
        folder.folder("disk");
        folder.folder("home");
        rules("");
        server_ = ::fork();
        if (server_ == 0) {
            ::setenv("FAULTFS_RULES", folder.at("rules").c_str(), 1);
            // Nothing is cached: every look at an entry reaches the rules.
            ::execl(FAULTFS_PROGRAM, FAULTFS_PROGRAM, folder.at("real").c_str(), folder.at("disk").c_str(), "-f", "-o",
                    "attr_timeout=0,entry_timeout=0,allow_other", nullptr);
            ::_exit(127);
        }
        isMounted = comesTrue([this] { return FSInfo::isMountPoint(folder.at("disk")); });
    }

    ~FaultyDisk() {
        rules("");
        tests::shell("umount -l '" + folder.at("disk") + "'");
        ::waitpid(server_, nullptr, 0);
    }
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    /// Whether a call has come to a rule that holds it up.
    bool hangs() const { return folder.has("rules.hanging"); }

    void rules(const std::string& text) const {
        std::ofstream(folder.at("rules.new")) << text;
        ::rename(folder.at("rules.new").c_str(), folder.at("rules").c_str());
    }

    TemporaryFolder folder;
    bool isMounted = false;

private:
    pid_t server_ = -1;
};

void fill(const FaultyDisk& disk) {
    for (const char* name : {"real/._1", "real/._2", "real/__MACOSX/a/1", "real/__MACOSX/a/2", "real/__MACOSX/b",
                             "real/keep", "real/w/.Trashes/x"}) {
        disk.folder.file(name);
    }
}

void withFaultyDisk(const std::function<void(FaultyDisk&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (::access("/dev/fuse", R_OK | W_OK) != 0) GTEST_SKIP() << "needs /dev/fuse";
    EXPECT_EQ(mounts.run([&] {
        FaultyDisk disk;
        ASSERT_TRUE(disk.isMounted);
        body(disk);
    }),
              0);
}

TEST(FaultyDisk, FailsTheEntryAndNoOther) {
    constexpr struct {
        const char *error, *text;
    } errors[] = {
        {"EIO", "Input/output error"},
        {"EACCES", "Permission denied"},
        {"EPERM", "Operation not permitted"},
        {"EBUSY", "Device or resource busy"},
        {"EROFS", "Read-only file system"},
        {"ENOSPC", "No space left on device"},
        {"ENOTCONN", "Transport endpoint is not connected"},
        {"ESTALE", "Stale file handle"},
    };
    const struct {
        const char *rule, *item;
        std::set<std::string> gone;
    } places[] = {
        {"unlink /._1", "._1", {"._2", "__MACOSX", "w/.Trashes"}},
        {"unlink /__MACOSX/a/1", "__MACOSX", {"._1", "._2", "__MACOSX/a/2", "__MACOSX/b", "w/.Trashes"}},
        {"opendir /__MACOSX/a", "__MACOSX", {"._1", "._2", "__MACOSX/b", "w/.Trashes"}},
        {"readdir /__MACOSX/a", "__MACOSX", {"._1", "._2", "__MACOSX/b", "w/.Trashes"}},
        {"rmdir /__MACOSX", "__MACOSX", {"._1", "._2", "__MACOSX/a", "__MACOSX/b", "w/.Trashes"}},
    };
    withFaultyDisk([&](FaultyDisk& disk) {
        for (const auto& place : places) {
            for (const auto& error : errors) {
                SCOPED_TRACE(std::string(place.rule) + " " + error.error);
                disk.rules("");
                fill(disk);
                const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
                ASSERT_EQ(plan.items.size(), 4U);
                const Manifest before = Manifest::of(disk.folder.at("real"));
                disk.rules(std::string(place.rule) + " " + error.error + "\n");
                const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
                EXPECT_EQ(result.failures, (Failures{{disk.folder.at("disk/") + place.item, error.text}}));
                EXPECT_EQ(result.removed, 3);
                EXPECT_ONLY_GONE(before, Manifest::of(disk.folder.at("real")), place.gone);
                tests::shell("rm -rf '" + disk.folder.at("real") + "'/*  '" + disk.folder.at("real") + "'/.[!.]*");
            }
        }
    });
}

TEST(FaultyDisk, WhatSomebodyElseRemovesFirstFailsNothing) {
    withFaultyDisk([](FaultyDisk& disk) {
        for (const char* error : {"ENOENT", "ESTALE"}) {
            const struct {
                const char* place;
                const char* skipped;  // what was gone before this run had removed any of it
            } cases[] = {
                {"unlink /__MACOSX/a/1", nullptr}, {"opendir /__MACOSX/a", nullptr},
                {"readdir /__MACOSX/a", nullptr},  {"rmdir /__MACOSX/a", nullptr},
                {"opendir /__MACOSX", "__MACOSX"}, {"readdir /__MACOSX", "__MACOSX"},
                {"rmdir /__MACOSX", nullptr},      {"unlink /._1", "._1"},
            };
            for (const auto& [place, skipped] : cases) {
                SCOPED_TRACE(std::string(place) + " " + error);
                disk.rules("");
                fill(disk);
                const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
                const Manifest before = Manifest::of(disk.folder.at("real"));
                disk.rules(std::string(place) + " vanish=" + error + "\n");
                const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
                EXPECT_EQ(result.failures, Failures());
                const auto expected = skipped == nullptr ? Texts() : Texts{disk.folder.at("disk/") + skipped};
                EXPECT_EQ(result.skipped, expected);
                EXPECT_EQ(result.removed, 4 - static_cast<std::int64_t>(expected.size()));
                EXPECT_ONLY_GONE(before, Manifest::of(disk.folder.at("real")),
                                 {"._1", "._2", "__MACOSX", "w/.Trashes"});
            }
        }
    });
}

TEST(FaultyDisk, AnUnreadableSystemVolumeInformationStays) {
    withFaultyDisk([](FaultyDisk& disk) {
        for (const char* rule : {"readdir /System*Information cut=1", "opendir /System*Information EIO",
                                 "readdir /System*Information/Dedup EIO", "opendir /System*Information/Dedup EIO"}) {
            SCOPED_TRACE(rule);
            for (const char* name : {"a", "b", "c", "Dedup/x"})
                disk.folder.file("real/System Volume Information/" + std::string(name));
            const Manifest before = Manifest::of(disk.folder.at("real"));
            disk.rules(std::string(rule) + "\n");
            tests::Program(disk.folder.at("home")).run({"clean", "--yes", disk.folder.at("disk")});
            EXPECT_ONLY_GONE(before, Manifest::of(disk.folder.at("real")), {});
        }
        disk.rules("");
        tests::Program(disk.folder.at("home")).run({"clean", "--yes", disk.folder.at("disk")});
        EXPECT_FALSE(disk.folder.has("real/System Volume Information"));
    });
}

TEST(FaultyDisk, AListingThatBreaksOffEndsThereAndTheRestGoesOn) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        for (int i = 0; i < 20; ++i)
            disk.folder.file("real/__MACOSX/many/" + std::to_string(i));
        const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
        disk.rules("readdir /__MACOSX/many cut=5\n");
        const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
        EXPECT_EQ(result.failures, (Failures{{disk.folder.at("disk/__MACOSX"), "Input/output error"}}));
        EXPECT_EQ(result.removed, 3);
        EXPECT_TRUE(disk.folder.has("real/__MACOSX/many"));
        EXPECT_FALSE(disk.folder.has("real/__MACOSX/a"));

        disk.rules("readdir /w cut=1\n");
        disk.folder.file("real/._late");
        const Plan cut = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
        EXPECT_TRUE(cut.errors.empty()) << "a listing that ends early ends as if it were complete";
        EXPECT_TRUE(
            std::any_of(cut.items.begin(), cut.items.end(), [](const auto& item) { return item.name == "._late"; }));
    });
}

TEST(FaultyDisk, FailsWithTheRecordedTexts) {
    withFaultyDisk([](FaultyDisk& disk) {
        tests::forEachVector("error-texts.json", [&](const nlohmann::json& vector) {
            const nlohmann::json& input = vector["input"];
            // The texts of starting programs belong to the disk tools.
            if (input["platform"] != "Linux" || input["op"] == "launch") return;
            const bool isTree = input["op"] == "removeItem";
            const auto error = input["errno"].get<std::string>();
            disk.rules("");
            fill(disk);
            Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
            std::erase_if(plan.items, [&](const auto& item) { return item.name != (isTree ? "__MACOSX" : "._1"); });
            disk.rules((isTree ? "rmdir /__MACOSX " : "unlink /._1 ") + error + "\n");
            const ExecResult result = Executor::execute(plan, /*dryRun=*/false, nullptr);
            ASSERT_EQ(result.failures.size(), 1U);
            EXPECT_EQ(result.failures[0].reason, vector["expected"].get<std::string>());
        });
    });
}

TEST(FaultyDisk, StopsTheScanRatherThanCountWrongly) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        disk.rules("getattr /._* size=9223372036854775807\n");
        const tests::Finished done =
            tests::Program(disk.folder.at("home")).run({"clean", "--yes", disk.folder.at("disk")});
        EXPECT_EQ(done.status, 128 + SIGABRT);
        EXPECT_NE(done.errors.find("arithmetic overflow in a counter"), std::string::npos) << done.errors;
        EXPECT_TRUE(disk.folder.has("real/._1") && disk.folder.has("real/__MACOSX"));
        disk.folder.file("real/v/._1");
        disk.rules("getattr /v/._1 size=9223372036854775807\n");
        const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk/v"));
        ASSERT_EQ(plan.items.size(), 1U);
        EXPECT_EQ(plan.items[0].bytes, std::numeric_limits<std::int64_t>::max());
    });
}

TEST(FaultyDisk, ScanNamesWhatItCouldNotSee) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        disk.rules("opendir /w EIO\ngetattr /._1 EIO\n");
        const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(disk.folder.at("disk"));
        std::vector<std::string> errors = plan.errors;
        std::sort(errors.begin(), errors.end());
        EXPECT_EQ(errors, (std::vector<std::string>{"cannot open: " + disk.folder.at("disk/w"),
                                                    "cannot stat: " + disk.folder.at("disk/._1")}));
        EXPECT_EQ(plan.items.size(), 2U);
    });
}

TEST(DeadDisk, LetsGoAtCtrlC) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        disk.rules("opendir /w hang\n");
        const tests::Program varnel(disk.folder.at("home"));
        // The progress line never comes: the scan sits in a call that does not return as long as these rules hold.
        const tests::Finished done = varnel.runOnTerminal(
            {"scan", disk.folder.at("disk")}, {{[&disk](const std::string&) { return disk.hangs(); }, "\x03"}});
        EXPECT_EQ(done.status, 130);
    });
}

TEST(DeadDisk, LetsGoOfACleanAtTheSecondCtrlC) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        disk.rules("unlink /._2 hang\n");
        const tests::Program varnel(disk.folder.at("home"));
        const tests::Finished done = varnel.runOnTerminal(
            {"clean", "--yes", disk.folder.at("disk")}, {{[&disk](const std::string&) { return disk.hangs(); }, "\x03"},
                                                         {tests::shows("Ctrl-C again stops at once"), "\x03"}});
        EXPECT_EQ(done.status, 130);
        EXPECT_NE(done.out.find("the disk does not answer; the last call to it is left to the system\n"),
                  std::string::npos)
            << done.out;
        EXPECT_TRUE(disk.folder.has("real/__MACOSX/a/1") && disk.folder.has("real/w/.Trashes/x"));
        disk.rules("");
        EXPECT_EQ(varnel.run({"clean", "--yes", disk.folder.at("disk")}).status, 0) << "the rest goes the next time";
        for (const char* name : {"real/._2", "real/__MACOSX", "real/w/.Trashes"})
            EXPECT_FALSE(disk.folder.has(name)) << name;
        EXPECT_TRUE(disk.folder.has("real/keep"));
    });
}

TEST(DeadDisk, LetsGoOfAWatch) {
    withFaultyDisk([](FaultyDisk& disk) {
        fill(disk);
        disk.folder.folder("alive");
        disk.rules("opendir * hang\n");
        // The sweep sits in a call that does not return.
        const std::vector<std::string> words = {"watch", "--sweep-first", disk.folder.at("disk"),
                                                disk.folder.at("alive")};
        tests::RunningProgram watch(disk.folder.at("home"), words);
        ASSERT_TRUE(watch.says("WATCH started"));
        EXPECT_EQ(watch.end(SIGTERM), 130);
        EXPECT_EQ(watch.errors(),
                  "varnel: a sweep is still at work, or a volume does not answer; ended all the same\n"
                  "varnel: the disk does not answer; the last call to it is left to the system\n");
        const tests::Finished twice = tests::Program(disk.folder.at("home"))
                                          .runOnTerminal(words, {{tests::shows("WATCH started"), "\x03"},
                                                                 {tests::shows("Ctrl-C again"), "\x03"}});
        EXPECT_EQ(twice.status, 130);
        EXPECT_EQ(twice.out.find("a sweep is still at work"), std::string::npos) << "nothing was waited for";
        // Ctrl-C before it has begun: the disk takes its time.
        const auto begun = std::chrono::steady_clock::now();
        const auto early = [begun](const std::string&) {
            return std::chrono::steady_clock::now() - begun > std::chrono::milliseconds(500);
        };
        const tests::Finished soon =
            tests::Program(disk.folder.at("home"))
                .runOnTerminal(words, {{early, "\x03"}, {tests::shows("Ctrl-C again"), "\x03"}});
        EXPECT_EQ(soon.status, 130);
        EXPECT_EQ(soon.out.find("WATCH started"), std::string::npos) << soon.out;
    });
}

void expectTheOthersServed(FaultyDisk& disk) {
    disk.folder.file("real/keep");
    disk.folder.folder("alive");
    tests::RunningProgram watch(disk.folder.at("home"), {"watch", disk.folder.at("disk"), disk.folder.at("alive")});
    ASSERT_TRUE(watch.says("WATCH started"));
    disk.rules("getattr * hang\nopendir * hang\n");
    tests::shell("mkdir '" + disk.folder.at("other") + "' && mount -t tmpfs other '" + disk.folder.at("other") +
                 "'");  // whoever watches looks at all its folders anew
    disk.folder.file("alive/._x");
    EXPECT_TRUE(comesTrue([&] { return !disk.folder.has("alive/._x"); }));
    tests::unmount(disk.folder.at("other"));
    EXPECT_NE(watch.end(SIGTERM), 128 + SIGTERM) << "it ends, whatever the disk still holds of it";
}

TEST(DeadDisk, HoldsUpNoOtherFolderOfAWatch) {
    withFaultyDisk(expectTheOthersServed);
}

TEST(DeadDisk, HoldsUpNoOtherFolderOfAWatchBefore6_8) {
    withFaultyDisk([](FaultyDisk& disk) {
        tests::takeUniqueMountsAway();
        expectTheOthersServed(disk);
    });
}

TEST(FaultyDisk, IsServedOnceItSaysWhichOneItIs) {
    withFaultyDisk([](FaultyDisk& disk) {
        tests::takeUniqueMountsAway();  // later kernels say it without the disk
        disk.folder.file("real/keep");
        disk.folder.file("real/._early");
        const std::string root = disk.folder.at("disk");
        disk.rules("getattr / hang\n");
        tests::ToldWatcher watcher(root);
        watcher.tell({root + "/._early"});
        EXPECT_TRUE(disk.folder.has("real/._early"));
        disk.rules("");
        EXPECT_TRUE(comesTrue([&] { return !disk.folder.has("real/._early"); })) << "what was missed is made good";
        disk.folder.file("real/._late");
        watcher.tell({root + "/._late"});
        EXPECT_FALSE(disk.folder.has("real/._late"));
        EXPECT_TRUE(disk.folder.has("real/keep"));
    });
}

TEST(FaultyDisk, GetsAClearLineAndTheStatusOfTheContract) {
    withFaultyDisk([](FaultyDisk& disk) {
        const std::string root = disk.folder.at("disk");
        const tests::Program varnel(disk.folder.at("home"));
        const struct {
            const char* rules;
            std::string errors;
            const char* ending;
        } cases[] = {
            {"getattr / EIO", "varnel: " + root + ": Input/output error\n", ""},
            {"opendir / EIO", "", "    cannot open: DISK\n"},
            {"opendir /w EIO", "", "    cannot open: DISK/w\nremoved 3 items (1 dirs), 2 bytes\n"},
            {"unlink /._1 EIO", "varnel: " + root + "/._1 — Input/output error\n",
             "removed 3 items (2 dirs), 1 byte, 1 failed\n"},
            {"unlink * EIO\nrmdir * EIO",
             "varnel: " + root + "/._1 — Input/output error\nvarnel: " + root + "/._2 — Input/output error\nvarnel: " +
                 root + "/w/.Trashes — Input/output error\nvarnel: " + root + "/__MACOSX — Input/output error\n",
             "removed 0 items, Zero KB, 4 failed\n"},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(c.rules);
            disk.rules("");
            fill(disk);
            disk.rules(std::string(c.rules) + "\n");
            const tests::Finished done = varnel.run({"clean", "--yes", "--samples", "0", root});
            std::string ending = c.ending;
            for (auto at = ending.find("DISK"); at != std::string::npos; at = ending.find("DISK", at + root.size()))
                ending.replace(at, 4, root);
            EXPECT_TRUE(done.out.ends_with(ending)) << done.out;
            EXPECT_EQ(done.errors, c.errors);
            EXPECT_EQ(done.status, 1);
        }
        disk.rules("getattr / EIO\n");
        const tests::Finished watched = varnel.run({"watch", root});
        EXPECT_EQ(watched.errors,
                  "varnel: " + root + ": Input/output error; left out until the watch is started anew\n");
        EXPECT_EQ(watched.status, 1);
    });
}

TEST(DeadDisk, StillHasATypeAndIsAMountPoint) {
    withFaultyDisk([](FaultyDisk& disk) {
        disk.rules("getattr * hang\nopendir * hang\n");
        EXPECT_TRUE(FSInfo::type(disk.folder.at("disk")));
        EXPECT_TRUE(FSInfo::isMountPoint(disk.folder.at("disk")));
        EXPECT_FALSE(disk.hangs()) << "its driver was asked";
        disk.rules("");
    });
}

}  // namespace
}  // namespace varnel
