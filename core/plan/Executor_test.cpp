// SPDX-License-Identifier: MIT
#include "core/plan/Executor.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "core/base/RemovalFailure.h"
#include "core/log/Log.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleSet.h"
#include "core/scan/Scanner.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using tests::Manifest;
using tests::onBothRoads;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;
using Failures = std::vector<ExecResult::Failure>;

/// A folder to clean, a folder beside it for the log, and a plan to be filled.
struct Bench {
    TemporaryFolder folder;
    std::string root = folder.folder("v");
    Plan plan{root, {root, "exfat", true, false, false}, {}, {}, {}, {}};

    void add(const std::string& below, bool isDirectory = false, std::int64_t bytes = 1,
             const std::string& rule = "x") {
        plan.items.push_back({root + "/" + below, below.substr(below.rfind('/') + 1), rule, isDirectory, bytes});
    }

    ExecResult run(bool dryRun = false) {
        const auto log = Log::open(folder.at("log"), SerialQueue::create("test.log"), [] { return std::int64_t{0}; });
        ExecResult result = Executor::execute(plan, dryRun, log.get());
        log->flush();
        return result;
    }

    /// The messages of the log, without their stamps.
    Texts logged() const {
        Texts lines;
        std::istringstream stream(folder.contents("log/varnel.log"));
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line.substr(20));
        return lines;
    }

    bool has(const std::string& below) const { return folder.has("v/" + below); }
};

TEST(Executor, RemovesFilesFirstThenTheLongestFolders) {
    onBothRoads([] {
        Bench bench;
        for (const char* name : {"a/b/c/file", "a/file", "z/file", "._1", "._2"})
            bench.folder.file(std::string("v/") + name);
        bench.add("a", /*isDirectory=*/true, 0);
        bench.add("._1", /*isDirectory=*/false, 10);
        bench.add("a/b/c", /*isDirectory=*/true, 0);
        bench.add("z", /*isDirectory=*/true, 0);
        bench.add("._2", /*isDirectory=*/false, 20);
        const ExecResult result = bench.run();
        EXPECT_EQ(result.removed, 5);
        EXPECT_EQ(result.removedDirectories, 3);
        EXPECT_EQ(result.bytes, 30);
        EXPECT_TRUE(result.ok());
        EXPECT_EQ(bench.logged(), (Texts{"DEL   x  " + bench.root + "/._1", "DEL   x  " + bench.root + "/._2",
                                         "DEL   x  " + bench.root + "/a/b/c", "DEL   x  " + bench.root + "/a",
                                         "DEL   x  " + bench.root + "/z",
                                         "DONE  " + bench.root + "  removed 5 items (3 dirs), 30 bytes"}));
        EXPECT_TRUE(Manifest::of(bench.root).paths().empty());
    });
}

TEST(Executor, RefusesARootThatLeadsToAProtectedFolder) {
    const TemporaryFolder folder;
    folder.link("way", "/usr");
    Plan plan{folder.at("way/share"), {}, {{folder.at("way/share/x"), "x", "x", false, 1}}, {}, {}, {}};
    for (const bool dryRun : {true, false}) {
        const ExecResult result = Executor::execute(plan, dryRun, nullptr);
        EXPECT_EQ(result.failures, (Failures{{folder.at("way/share"), "refused: protected path"}}));
        EXPECT_TRUE(result.skipped.empty());
    }
}

TEST(Executor, OrdersFoldersByCharactersAndKeepsPlanOrderForEqualLengths) {
    Bench bench;
    // Twelve bytes and four characters beside five characters.
    const std::string four = "e\u0301e\u0301e\u0301e\u0301";
    for (const std::string& name : {four, std::string("abcde"), std::string("fghij"), std::string("klmno")}) {
        bench.folder.folder("v/" + name);
        bench.add(name, /*isDirectory=*/true, 0);
    }
    bench.run();
    EXPECT_EQ(bench.logged(), (Texts{"DEL   x  " + bench.root + "/abcde", "DEL   x  " + bench.root + "/fghij",
                                     "DEL   x  " + bench.root + "/klmno", "DEL   x  " + bench.root + "/" + four,
                                     "DONE  " + bench.root + "  removed 4 items (4 dirs), Zero KB"}));
}

TEST(Executor, RefusesAProtectedRoot) {
    for (const char* root : {"/", "/usr", "/usr/../etc/", "/var/tmp"}) {
        const TemporaryFolder folder;
        const auto log = Log::open(folder.path());
        Plan plan{root, {}, {{"/usr/x", "x", "x", false, 1}}, {}, {}, {}};
        const ExecResult result = Executor::execute(plan, /*dryRun=*/false, log.get());
        log->flush();
        ASSERT_EQ(result.failures.size(), 1U) << root;
        EXPECT_EQ(result.failures[0].reason, "refused: protected path");
        EXPECT_TRUE(result.skipped.empty());
        EXPECT_EQ(result.removed, 0);
        EXPECT_EQ(folder.contents("varnel.log"), "");
    }
    Plan plan{"/usr//./lib/..", {}, {}, {}, {}, {}};
    EXPECT_EQ(Executor::execute(plan, /*dryRun=*/false, nullptr).failures,
              (Failures{{"/usr", "refused: protected path"}}));
}

TEST(Executor, RefusesARootThatIsNotThere) {
    Bench bench;
    bench.add("._a");
    ::rmdir(bench.root.c_str());
    const ExecResult result = bench.run();
    EXPECT_EQ(result.failures, (Failures{{bench.root, "refused: cannot stat root"}}));
    EXPECT_TRUE(bench.logged().empty());
}

TEST(Executor, FindsNothingWhereAFileTookTheRootsPlace) {
    Bench bench;
    bench.add("._a");
    bench.add("b/._c");
    ::rmdir(bench.root.c_str());
    bench.folder.file("v");
    const ExecResult result = bench.run();
    EXPECT_EQ(result.skipped, Texts{bench.root + "/._a"});
    EXPECT_EQ(result.failures, (Failures{{bench.root + "/b/._c", "skipped: parent is on a different volume"}}));
    EXPECT_TRUE(bench.folder.has("v"));
}

TEST(Executor, SkipsWhatIsGoneAndStaysOk) {
    Bench bench;
    bench.folder.file("v/._a");
    bench.add("._gone");
    bench.add("._a");
    bench.add("gone", /*isDirectory=*/true, 0);
    const ExecResult result = bench.run();
    EXPECT_EQ(result.skipped, (Texts{bench.root + "/._gone", bench.root + "/gone"}));
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.removed, 1);
    EXPECT_EQ(bench.logged(), (Texts{"DEL   x  " + bench.root + "/._a",
                                     "DONE  " + bench.root + "  removed 1 items, 1 byte, 2 skipped"}));
}

TEST(Executor, FailsWhatHasLostItsFolder) {
    onBothRoads([] {
        Bench bench;
        bench.add("none/._a");
        bench.folder.file("v/file");
        bench.add("file/._b");
        bench.add("file/below/._c");
        const ExecResult result = bench.run();
        // Where a file took the folder's place, what was in it is gone; beyond that nobody can tell.
        EXPECT_EQ(result.failures,
                  (Failures{{bench.root + "/none/._a", "skipped: parent is on a different volume"},
                            {bench.root + "/file/below/._c", "skipped: parent is on a different volume"}}));
        EXPECT_EQ(result.skipped, Texts{bench.root + "/file/._b"});
        EXPECT_EQ(bench.logged(), Texts{"DONE  " + bench.root + "  removed 0 items, Zero KB, 2 failed, 1 skipped"});
    });
}

TEST(Executor, LeavesAFolderAloneThatBecameALink) {
    onBothRoads([] {
        Bench bench;
        bench.folder.file("outside/precious");
        bench.folder.link("v/__MACOSX", "../outside");
        bench.add("__MACOSX", /*isDirectory=*/true, 0);
        const ExecResult result = bench.run();
        EXPECT_EQ(result.failures, (Failures{{bench.root + "/__MACOSX", "skipped: symlink"}}));
        EXPECT_TRUE(bench.has("__MACOSX"));
        EXPECT_TRUE(bench.folder.has("outside/precious"));
    });
}

TEST(Executor, RemovesALinkThatStandsForAFileAndNeverItsTarget) {
    Bench bench;
    bench.folder.file("outside/precious");
    bench.folder.link("v/._a", "../outside");
    bench.folder.link("v/._b", "../outside/precious");
    bench.folder.link("v/._c", "nowhere");
    for (const char* name : {"._a", "._b", "._c"})
        bench.add(name);
    const ExecResult result = bench.run();
    EXPECT_EQ(result.removed, 3);
    EXPECT_EQ(result.removedDirectories, 0);
    EXPECT_TRUE(bench.folder.has("outside/precious"));
    EXPECT_FALSE(bench.has("._a") || bench.has("._b") || bench.has("._c"));
}

TEST(Executor, FollowsNoLinkOnTheWay) {
    onBothRoads([] {
        Bench bench;
        bench.folder.file("outside/._a");
        bench.folder.file("v/real/._a");
        bench.folder.link("v/out", "../outside");
        bench.folder.link("v/in", "real");
        bench.folder.link("v/dangling", "nowhere");
        bench.folder.link("v/proc", "/proc");
        for (const char* name : {"out/._a", "in/._a", "dangling/._a", "proc/._a"})
            bench.add(name);
        const ExecResult result = bench.run();
        ASSERT_EQ(result.failures.size(), 4U);
        EXPECT_EQ(result.failures[0].reason, "skipped: symlink");
        EXPECT_EQ(result.failures[1].reason, "skipped: symlink");
        EXPECT_EQ(result.failures[2].reason, "skipped: parent is on a different volume");
        EXPECT_EQ(result.failures[3].reason, "skipped: parent is on a different volume");
        EXPECT_TRUE(bench.folder.has("outside/._a"));
        EXPECT_TRUE(bench.has("real/._a"));
    });
}

TEST(Executor, RefusesWhatLiesOutsideTheRoot) {
    Bench bench;
    bench.folder.file("outside/._a");
    bench.folder.file("v2/._a");
    const Texts paths = {bench.folder.at("outside/._a"),
                         bench.root + "/../outside/._a",
                         bench.folder.at("v2/._a"),
                         bench.root,
                         bench.root + "/",
                         bench.root + "//._a",
                         bench.root + "/./._a",
                         "._a",
                         ""};
    for (const std::string& path : paths)
        bench.plan.items.push_back({path, "._a", "x", false, 1});
    const ExecResult result = bench.run();
    ASSERT_EQ(result.failures.size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        EXPECT_EQ(result.failures[i], (ExecResult::Failure{paths[i], "refused: outside the root"}));
    }
    EXPECT_TRUE(bench.folder.has("outside/._a"));
    EXPECT_TRUE(bench.folder.has("v2/._a"));
}

TEST(Executor, LeavesMountsAlone) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        onBothRoads([] {
            Bench bench;
            bench.folder.file("outside/._a");
            tests::mountTmpfs(bench.folder.folder("v/tmpfs"));
            bench.folder.file("v/tmpfs/._a");
            tests::bindMount(bench.folder.at("outside"), bench.folder.folder("v/bound"));
            for (const char* name : {"tmpfs", "bound"}) {
                bench.add(name, /*isDirectory=*/true, 0);
                bench.add(std::string(name) + "/._a");
            }
            const ExecResult result = bench.run();
            EXPECT_EQ(result.failures,
                      (Failures{{bench.root + "/tmpfs/._a", "skipped: parent is on a different volume"},
                                {bench.root + "/bound/._a", "skipped: parent is on a different volume"},
                                {bench.root + "/tmpfs", "skipped: is a mount point"},
                                {bench.root + "/bound", "skipped: is a mount point"}}));
            EXPECT_TRUE(bench.has("tmpfs/._a"));
            EXPECT_TRUE(bench.folder.has("outside/._a"));
            tests::unmount(bench.folder.at("v/bound"));
            tests::unmount(bench.folder.at("v/tmpfs"));
        });
    }),
              0);
}

TEST(Executor, CountsByTheDiskInARunAndByThePlanInADryRun) {
    Bench bench;
    bench.folder.file("v/._a/inside");  // a file when it was scanned
    bench.folder.file("v/__MACOSX");    // a folder when it was scanned
    bench.add("._a", /*isDirectory=*/false, 7);
    bench.add("__MACOSX", /*isDirectory=*/true, 0);
    const ExecResult dry = bench.run(/*dryRun=*/true);
    EXPECT_EQ(dry.removed, 2);
    EXPECT_EQ(dry.removedDirectories, 1);
    EXPECT_EQ(dry.bytes, 7);
    EXPECT_TRUE(bench.has("._a/inside"));
    const ExecResult result = bench.run();
    EXPECT_EQ(result.removed, 2);
    EXPECT_EQ(result.removedDirectories, 1);
    EXPECT_EQ(result.bytes, 7) << "the plan's figure";
    EXPECT_FALSE(bench.has("._a") || bench.has("__MACOSX"));
    EXPECT_EQ(bench.logged(), (Texts{"DRY   x  " + bench.root + "/._a", "DRY   x  " + bench.root + "/__MACOSX",
                                     "DONE  " + bench.root + "  would remove 2 items (1 dirs), 7 bytes",
                                     "DEL   x  " + bench.root + "/._a", "DEL   x  " + bench.root + "/__MACOSX",
                                     "DONE  " + bench.root + "  removed 2 items (1 dirs), 7 bytes"}));
}

TEST(Executor, SaysInADryRunWhatOfEachRuleWouldGoAndTakesNothing) {
    Bench bench;
    bench.folder.file("v/letter");
    for (const Rule& rule : Rule::builtIn()) {
        const std::string name = rule.match.text + (rule.match.kind == RuleMatch::Kind::prefix ? "x" : "");
        if (rule.target != RuleTarget::directory) bench.folder.file("v/files/" + name, "12345");
        if (rule.target != RuleTarget::file) bench.folder.file("v/folders/" + name + "/inside", "12345");
    }
    bench.plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(bench.root);
    ASSERT_EQ(bench.plan.tallies.size(), Rule::builtIn().size());
    const Manifest before = Manifest::of(bench.root);
    const ExecResult dry = bench.run(/*dryRun=*/true);
    EXPECT_ONLY_GONE(before, Manifest::of(bench.root), {});
    const Texts said = bench.logged();

    const ExecResult real = bench.run();
    std::set<std::string> gone;
    for (const MatchItem& item : bench.plan.items)
        gone.insert(item.path.substr(bench.root.size() + 1));
    EXPECT_ONLY_GONE(before, Manifest::of(bench.root), gone);
    const Texts both = bench.logged();
    ASSERT_EQ(both.size(), 2 * said.size());
    ASSERT_EQ(said.size(), gone.size() + 1);
    for (std::size_t i = 0; i < gone.size(); ++i)
        EXPECT_EQ("DEL   " + said[i].substr(6), both[said.size() + i]);
    EXPECT_EQ(said.back(), "DONE  " + bench.root + "  would remove 15 items (9 dirs), 30 bytes");
    EXPECT_EQ(both.back(), "DONE  " + bench.root + "  removed 15 items (9 dirs), 30 bytes");
    EXPECT_TRUE(dry.ok() && real.ok());
}

TEST(Executor, ChecksInADryRunWhatItChecksInARun) {
    onBothRoads([] {
        Bench bench;
        bench.folder.file("outside/._x");
        for (const char* name : {"v/._a", "v/file", "v/b/._c"})
            bench.folder.file(name);
        bench.folder.link("v/__MACOSX", "../outside");
        bench.folder.link("v/way", "../outside");
        for (const char* name : {"._a", "._gone", "file/._x", "none/._x", "way/._x", "b/._c"})
            bench.add(name);
        bench.add("__MACOSX", /*isDirectory=*/true, 0);
        bench.plan.items.push_back({bench.folder.at("outside/._x"), "._x", "x", false, 1});
        const Manifest before = Manifest::of(bench.folder.path());
        const ExecResult dry = Executor::execute(bench.plan, /*dryRun=*/true, nullptr);
        EXPECT_ONLY_GONE(before, Manifest::of(bench.folder.path()), {});
        const ExecResult real = Executor::execute(bench.plan, /*dryRun=*/false, nullptr);
        EXPECT_ONLY_GONE(before, Manifest::of(bench.folder.path()), {"v/._a", "v/b/._c"});
        EXPECT_EQ(dry.removed, 2);
        EXPECT_EQ(real.removed, 2);
        EXPECT_EQ(dry.bytes, real.bytes);
        EXPECT_EQ(dry.failures.size(), 4U);
        EXPECT_EQ(dry.failures, real.failures);
        EXPECT_EQ(dry.skipped, (Texts{bench.root + "/._gone", bench.root + "/file/._x"}));
        EXPECT_EQ(dry.skipped, real.skipped);
    });
}

TEST(Executor, ReportsWhatTheSystemRefusesAndGoesOn) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    Bench bench;
    bench.folder.file("v/closed/._a");
    bench.folder.file("v/closed/__MACOSX/x");
    bench.folder.file("v/open/._b");
    ::chmod(bench.root.c_str(), 0777);
    ::chmod(bench.folder.at("v/open").c_str(), 0777);
    bench.add("closed/._a");
    bench.add("open/._b");
    bench.add("closed/__MACOSX", /*isDirectory=*/true, 0);
    ::chmod(bench.folder.path().c_str(), 0777);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const ExecResult result = bench.run();
                  const std::string folder = bench.root + "/closed/__MACOSX";
                  const std::string ofFolder = removalFailure(folder, /*isFolder=*/true, EACCES);
                  EXPECT_EQ(result.failures,
                            (Failures{{bench.root + "/closed/._a", "Permission denied"}, {folder, ofFolder}}));
                  EXPECT_EQ(result.removed, 1);
                  EXPECT_EQ(bench.logged(),
                            (Texts{"FAIL  x  " + bench.root + "/closed/._a  Permission denied",
                                   "DEL   x  " + bench.root + "/open/._b", "FAIL  x  " + folder + "  " + ofFolder,
                                   "DONE  " + bench.root + "  removed 1 items, 1 byte, 2 failed"}));
              }),
              0);
    EXPECT_TRUE(bench.has("closed/._a"));
    EXPECT_TRUE(bench.has("closed/__MACOSX/x"));
    EXPECT_FALSE(bench.has("open/._b"));
}

TEST(Executor, SkipsWhatItMayNotLookAt) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    Bench bench;
    bench.folder.file("v/closed/._a");
    bench.folder.file("v/closed/in/._b");
    ::chmod(bench.folder.path().c_str(), 0755);
    ::chmod(bench.root.c_str(), 0777);
    ::chmod(bench.folder.at("v/closed").c_str(), 0744);
    bench.add("closed/._a");
    bench.add("closed/in/._b");
    EXPECT_EQ(tests::runUnprivileged([&] {
                  onBothRoads([&] {
                      const ExecResult result = Executor::execute(bench.plan, /*dryRun=*/false, nullptr);
                      EXPECT_EQ(result.skipped, Texts{bench.root + "/closed/._a"});
                      EXPECT_EQ(
                          result.failures,
                          (Failures{{bench.root + "/closed/in/._b", "skipped: parent is on a different volume"}}));
                  });
              }),
              0);
    EXPECT_TRUE(bench.has("closed/._a") && bench.has("closed/in/._b"));
}

TEST(Executor, WritesNothingWithoutALog) {
    Bench bench;
    bench.folder.file("v/._a");
    bench.add("._a");
    EXPECT_EQ(Executor::execute(bench.plan, /*dryRun=*/false, nullptr).removed, 1);
}

TEST(Executor, RemovesNamesOfAnyBytes) {
    Bench bench;
    const Texts names = {"._\xff\xfe", "._new\nline", "._" + std::string(253, 'n')};
    for (const std::string& name : names) {
        bench.folder.file("v/" + name);
        bench.add(name);
    }
    EXPECT_EQ(bench.run().removed, 3);
    EXPECT_TRUE(Manifest::of(bench.root).paths().empty());
}

TEST(ExecutorDeathTest, TrapsWhenItsCountersOverflow) {
    Bench bench;
    for (const char* name : {"._a", "._b"}) {
        bench.folder.file(std::string("v/") + name);
        bench.add(name, /*isDirectory=*/false, std::numeric_limits<std::int64_t>::max());
    }
    EXPECT_DEATH(static_cast<void>(Executor::execute(bench.plan, /*dryRun=*/true, nullptr)), "overflow");
}

TEST(ExecutorSupervision, EndsBetweenItemsWithTheResultSoFar) {
    Bench bench;
    for (const char* name : {"._a", "._b", "._c"}) {
        bench.folder.file(std::string("v/") + name);
        bench.add(name);
    }
    const auto log = Log::open(bench.folder.at("log"));
    const auto untilTwo = [](const ExecResult& soFar) { return soFar.removed < 2; };
    const ExecResult result = Executor::execute(bench.plan, /*dryRun=*/false, log.get(), {std::nullopt, untilTwo});
    log->flush();
    EXPECT_EQ(result.removed, 2);
    EXPECT_TRUE(bench.has("._c"));
    EXPECT_EQ(bench.logged().back(), "DONE  " + bench.root + "  removed 2 items, 2 bytes");
}

TEST(ExecutorSupervision, FailsEveryItemOfAnotherVolume) {
    Bench bench;
    bench.folder.file("v/._a");
    bench.folder.file("v/__MACOSX/x");
    bench.add("._a");
    bench.add("__MACOSX", /*isDirectory=*/true, 0);
    auto volume = VolumeIdentity::of(bench.root);
    const auto always = [](const ExecResult&) { return true; };
    volume->device += 1;
    const ExecResult result = Executor::execute(bench.plan, /*dryRun=*/false, nullptr, {volume, always});
    EXPECT_EQ(result.failures, (Failures{{bench.root + "/._a", "skipped: parent is on a different volume"},
                                         {bench.root + "/__MACOSX", "skipped: parent is on a different volume"}}));
    EXPECT_TRUE(bench.has("._a"));
    volume->device -= 1;
    EXPECT_EQ(Executor::execute(bench.plan, /*dryRun=*/false, nullptr, {volume, always}).removed, 2);
}

/// Runs the plan; after the first item, `happening`.
ExecResult runWith(Bench& bench, const std::function<void()>& happening) {
    bool isDue = true;
    const auto afterTheFirst = [&](const ExecResult& soFar) {
        if (soFar.removed == 1 && isDue) {
            isDue = false;
            happening();
        }
        return true;
    };
    ExecResult result = Executor::execute(bench.plan, /*dryRun=*/false, nullptr, {std::nullopt, afterTheFirst});
    EXPECT_FALSE(isDue) << "nothing happened";
    return result;
}

TEST(ExecutorRace, RemovesNothingFromAFolderThatWasMovedAway) {
    const std::vector<const char*> moved = {"a", "a/b"};
    onBothRoads([&] {
        for (const char* top : moved) {
            Bench bench;
            for (const char* name : {"a/b/._1", "a/b/._2", "a/b/c/._3", "a/b/__MACOSX/x"})
                bench.folder.file(std::string("v/") + name);
            for (const char* name : {"a/b/._1", "a/b/._2", "a/b/c/._3"})
                bench.add(name);
            bench.add("a/b/__MACOSX", /*isDirectory=*/true, 0);
            Manifest after;
            const ExecResult result = runWith(bench, [&] {
                std::filesystem::rename(bench.root + "/" + top, bench.folder.at("elsewhere"));
                after = Manifest::of(bench.folder.at("elsewhere"));
            });
            EXPECT_EQ(result.removed, 1);
            EXPECT_EQ(result.failures,
                      (Failures{{bench.root + "/a/b/._2", "skipped: parent is on a different volume"},
                                {bench.root + "/a/b/c/._3", "skipped: parent is on a different volume"},
                                {bench.root + "/a/b/__MACOSX", "skipped: parent is on a different volume"}}));
            EXPECT_ONLY_GONE(after, Manifest::of(bench.folder.at("elsewhere")), {});
        }
    });
}

TEST(ExecutorRace, TwoRunsAtOnceFailNothing) {
    constexpr int rounds = 10;
    constexpr int files = 200;
    for (int round = 0; round < rounds; ++round) {
        Bench bench;
        for (int i = 0; i < files; ++i) {
            const std::string name = (i % 2 == 0 ? "a/._" : "b/._") + std::to_string(i);
            bench.folder.file("v/" + name);
            bench.add(name);
        }
        ExecResult other;
        std::thread beside([&] { other = Executor::execute(bench.plan, /*dryRun=*/false, nullptr); });
        const ExecResult result = Executor::execute(bench.plan, /*dryRun=*/false, nullptr);
        beside.join();
        EXPECT_EQ(result.failures, Failures());
        EXPECT_EQ(other.failures, Failures());
        EXPECT_EQ(result.removed + other.removed, files) << "each goes once, and the other one finds it gone";
    }
}

TEST(ExecutorRace, TakesWhatIsInTheFolderThatStandsThereNow) {
    onBothRoads([] {
        Bench bench;
        for (const char* name : {"v/a/._1", "v/a/._2", "v/a/._3", "other/._2"})
            bench.folder.file(name);
        for (const char* name : {"a/._1", "a/._2", "a/._3"})
            bench.add(name);
        const ExecResult result = runWith(bench, [&] {
            std::filesystem::rename(bench.root + "/a", bench.folder.at("elsewhere"));
            std::filesystem::rename(bench.folder.at("other"), bench.root + "/a");
        });
        EXPECT_EQ(result.removed, 2);
        EXPECT_EQ(result.skipped, Texts{bench.root + "/a/._3"});
        EXPECT_TRUE(result.ok());
        EXPECT_TRUE(bench.folder.has("elsewhere/._2") && bench.folder.has("elsewhere/._3"));
        EXPECT_FALSE(bench.has("a/._2"));
    });
}

TEST(ExecutorRace, FollowsNoLinkToTheFolderThatStoodThere) {
    onBothRoads([] {
        Bench bench;
        for (const char* name : {"a/._1", "a/._2"}) {
            bench.folder.file(std::string("v/") + name);
            bench.add(name);
        }
        const ExecResult result = runWith(bench, [&] {
            std::filesystem::rename(bench.root + "/a", bench.folder.at("elsewhere"));
            bench.folder.link("v/a", "../elsewhere");
        });
        EXPECT_EQ(result.failures, (Failures{{bench.root + "/a/._2", "skipped: symlink"}}));
        EXPECT_TRUE(bench.folder.has("elsewhere/._2"));
    });
}

TEST(ExecutorRace, RemovesNothingBehindAMountThatCoversTheFolder) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([] {
        onBothRoads([] {
            Bench bench;
            for (const char* name : {"a/._1", "a/._2"}) {
                bench.folder.file(std::string("v/") + name);
                bench.add(name);
            }
            const ExecResult result = runWith(bench, [&] {
                tests::mountTmpfs(bench.folder.at("v/a"));
                bench.folder.file("v/a/._2");
            });
            EXPECT_EQ(result.failures, (Failures{{bench.root + "/a/._2", "skipped: parent is on a different volume"}}));
            EXPECT_TRUE(bench.has("a/._2"));
            tests::unmount(bench.folder.at("v/a"));
            EXPECT_TRUE(bench.has("a/._2"));
        });
    }),
              0);
}

/// A tree of random litter and random other things; gives what an on-demand clean must take from it.
std::set<std::string> grow(const TemporaryFolder& folder, tests::Random& random) {
    const std::vector<std::string> names = {"a",        "._a",         "photo.jpg", ".DS_Store", "__MACOSX",  "._x.ttf",
                                            ".Trashes", "desktop.ini", "\xff",      "._\xff",    "Thumbs.db", "b b"};
    for (int i = 0; i < 60; ++i) {
        std::string path = "v";
        for (std::size_t depth = random.below(4); depth > 0; --depth)
            path += "/" + random.oneOf(names);
        std::error_code ignored;
        std::filesystem::create_directories(folder.at(path), ignored);
        const std::string leaf = folder.at(path + "/" + random.oneOf(names));
        if (std::filesystem::exists(std::filesystem::symlink_status(leaf, ignored))) continue;
        if (random.chance(0.15)) {
            std::filesystem::create_symlink(random.chance(0.5) ? ".." : "../../beside", leaf, ignored);
        } else {
            std::ofstream(leaf) << std::string(random.below(50), 'x');
        }
    }
    std::set<std::string> gone;
    const std::string root = folder.at("v");
    for (const MatchItem& item : Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(root).items) {
        gone.insert(item.path.substr(root.size() + 1));
    }
    return gone;
}

TEST(ExecutorProperties, ADryRunPredictsTheRunAndASecondRunRemovesNothing) {
    tests::Random random;
    for (int round = 0; round < 15; ++round) {
        const TemporaryFolder folder;
        folder.file("beside/._precious", "mine");
        folder.folder("v");
        const std::set<std::string> gone = grow(folder, random);
        const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(folder.at("v"));
        const Manifest before = Manifest::of(folder.at("v"));
        const Manifest beside = Manifest::of(folder.at("beside"));

        const ExecResult dry = Executor::execute(plan, /*dryRun=*/true, nullptr);
        EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), {});
        const ExecResult real = Executor::execute(plan, /*dryRun=*/false, nullptr);
        EXPECT_EQ(dry.removed, real.removed);
        EXPECT_EQ(dry.removedDirectories, real.removedDirectories);
        EXPECT_EQ(dry.bytes, real.bytes);
        EXPECT_EQ(dry.failures, real.failures);
        EXPECT_TRUE(real.ok() && real.skipped.empty());
        EXPECT_ONLY_GONE(before, Manifest::of(folder.at("v")), gone);
        EXPECT_ONLY_GONE(beside, Manifest::of(folder.at("beside")), {});

        const Manifest after = Manifest::of(folder.at("v"));
        const ExecResult again = Executor::execute(plan, /*dryRun=*/false, nullptr);
        EXPECT_EQ(again.removed, 0);
        EXPECT_ONLY_GONE(after, Manifest::of(folder.at("v")), {});
        EXPECT_TRUE((Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(folder.at("v")).isEmpty()));
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace
}  // namespace varnel
