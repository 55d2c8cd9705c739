// SPDX-License-Identifier: MIT
//
// The tool from outside: whole outputs, exit statuses, terminals, signals, and everything that can be wrong.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Program.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using nlohmann::json;
using tests::Finished;
using tests::Manifest;
using tests::Program;
using tests::RunningProgram;
using tests::shows;
using tests::TemporaryFolder;
using Words = std::vector<std::string>;

/// A folder with a volume "v", a home folder, and the tool.
struct Desk {
    TemporaryFolder folder;
    std::string root = folder.folder("v");
    Program varnel{folder.folder("home")};

    /// A text with the folder's own path replaced by a fixed word, and the type of its file system by another.
    std::string stable(std::string text) const {
        const auto replace = [&text](const std::string& from, const std::string& to) {
            for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
                text.replace(at, from.size(), to);
            }
        };
        replace(folder.path(), "DESK");
        for (const char* type : {"ext4", "xfs", "btrfs", "overlay", "tmpfs"}) {
            replace("filesystem: " + std::string(type) + " ", "filesystem: TYPE ");
        }
        return text;
    }

    std::string logged() const {
        std::istringstream stream(folder.contents("home/Library/Logs/Varnel/varnel.log"));
        std::string text;
        for (std::string line; std::getline(stream, line);)
            text += line.substr(20) + "\n";
        return stable(text);
    }
};

/// One file of litter in each of two folders, and something to keep.
void litter(const Desk& desk) {
    desk.folder.file("v/a/._x", "12345");
    desk.folder.file("v/b/__MACOSX/inside", "1");
    desk.folder.file("v/keep", "mine");
    desk.folder.file("v/a/._x.ttf", "fork");
}

constexpr const char* littered =
    "DESK/v\n"
    "  filesystem: TYPE (non-Mac)\n";

TEST(CommandLineScan, PrintsThePlanAndDeletesNothing) {
    const Desk desk;
    desk.folder.file("v/._x", "12345");
    desk.folder.file("v/keep");
    const Manifest before = Manifest::of(desk.root);
    const Finished done = desk.varnel.run({"scan", desk.root});
    EXPECT_EQ(desk.stable(done.out), std::string(littered) +
                                         "  ._ AppleDouble files             1  5 bytes\n"
                                         "  ----------------------------------------\n"
                                         "  total                            1  5 bytes\n"
                                         "\n"
                                         "  - DESK/v/._x\n");
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(done.status, 0);
    EXPECT_ONLY_GONE(before, Manifest::of(desk.root), {});
    EXPECT_FALSE(desk.folder.has("home/Library")) << "a scan writes no log";
}

TEST(CommandLineScan, ListsAsManySamplesAsAsked) {
    const Desk desk;
    for (int i = 0; i < 25; ++i)
        desk.folder.file("v/._" + std::to_string(i));
    const auto lines = [&](const Words& options) {
        Words words = {"scan", desk.root};
        words.insert(words.end(), options.begin(), options.end());
        const std::string out = desk.varnel.run(words).out;
        return std::count(out.begin(), out.end(), '\n');
    };
    EXPECT_EQ(lines({}), 5 + 1 + 20 + 1);
    EXPECT_EQ(lines({"--samples", "3"}), 5 + 1 + 3 + 1);
    EXPECT_EQ(lines({"--samples", "0"}), 5);
    EXPECT_EQ(lines({"--samples=100"}), 5 + 1 + 25);
}

TEST(CommandLineScan, PrintsOneCodedPlanPerPath) {
    const Desk desk;
    desk.folder.file("v/._x", "12345");
    desk.folder.folder("w");
    const Finished done = desk.varnel.run({"scan", "--json", desk.root, desk.folder.at("w")});
    std::istringstream lines(done.out);
    std::string first;
    std::string second;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_TRUE(first.starts_with("{\"root\":\"" + desk.root + "\",\"volume\":{\"mountPoint\":")) << first;
    const json plan = json::parse(first);
    EXPECT_EQ(plan["items"], json::parse("[{\"path\":\"" + desk.root +
                                         "/._x\",\"name\":\"._x\",\"ruleID\":\"appledouble\",\"isDirectory\":false,"
                                         "\"bytes\":5}]"));
    EXPECT_EQ(json::parse(second)["items"], json::array());
    EXPECT_EQ(done.status, 0);
}

TEST(CommandLineScan, ChoosesRules) {
    const Desk desk;
    for (const char* name : {"._x", ".DS_Store", ".Trashes/y"})
        desk.folder.file(std::string("v/") + name);
    const auto found = [&](Words options) {
        options.insert(options.begin(), {"scan", "--json", desk.root});
        Words ids;
        const json plan = json::parse(desk.varnel.run(options).out);
        for (const json& tally : plan["tallies"])
            ids.push_back(tally["ruleID"]);
        std::sort(ids.begin(), ids.end());
        return ids;
    };
    EXPECT_EQ(found({}), (Words{"appledouble", "dsstore", "trashes"}));
    EXPECT_EQ(found({"--live"}), (Words{"appledouble", "dsstore"}));
    EXPECT_EQ(found({"--only", "dsstore,trashes"}), (Words{"dsstore", "trashes"}));
    EXPECT_EQ(found({"--only", "dsstore", "--only", "trashes"}), (Words{"dsstore", "trashes"}));
    EXPECT_EQ(found({"--except", "dsstore,trashes"}), Words{"appledouble"});
    EXPECT_EQ(found({"--live", "--only", "trashes"}), Words{});
}

TEST(CommandLineUsage, SaysWhatIsWrongOnOneLine) {
    const Desk desk;
    const struct {
        Words words;
        std::string message;
    } cases[] = {
        {{}, "A subcommand is required"},
        {{"scan"}, "PATH is required"},
        {{"nonsense"}, "there is no command \"nonsense\""},
        {{"scan", desk.root, "--nonsense"}, "The following argument was not expected: --nonsense"},
        {{"scan", desk.root, "--only", "nonsense"}, "there is no rule \"nonsense\"; `varnel rules` lists them"},
        {{"scan", desk.root, "--only", "dsstore", "--except", "trashes"}, "--only excludes --except"},
        {{"scan", desk.root, "--samples", "-1"}, ""},
        {{"scan", desk.root, "--samples", "many"}, ""},
        {{"clean"}, "PATH is required"},
        {{"eject"}, "PATH is required"},
        {{"eject", ""}, "PATH: a PATH is empty"},
        {{"eject", desk.root, desk.root}, "The following argument was not expected: " + desk.root},
        {{"help", "nonsense"}, "there is no command \"nonsense\""},
    };
    for (const auto& c : cases) {
        const Finished done = desk.varnel.run(c.words);
        EXPECT_EQ(done.status, 2) << c.message;
        EXPECT_EQ(done.out, "");
        EXPECT_TRUE(done.errors.starts_with("varnel: " + c.message)) << done.errors;
        EXPECT_TRUE(done.errors.ends_with("\nTry `varnel --help`.\n")) << done.errors;
    }
}

TEST(CommandLineUsage, ExplainsItself) {
    const Desk desk;
    EXPECT_EQ(desk.varnel.run({"--version"}).out, "varnel " VARNEL_VERSION "\n");
    const Finished help = desk.varnel.run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out,
              R"(Removes the litter that Macs and Windows PCs leave on disks that are not theirs.
Usage: varnel [OPTIONS] SUBCOMMAND

Options:
  -h,--help                   Print this help message and exit
  --version                   Print the version

Subcommands:
  scan                        Show what would be removed; delete nothing
  clean                       Scan, show, ask, delete
  sweep                       Clean every volume that is not Mac-formatted, with the live rules
  watch                       Remove litter as it appears, until Ctrl-C; without PATH on every volume that is not Mac-formatted
  eject                       Eject the volume that holds PATH
  rules                       Print the rules and the protected file types
  volumes                     List the mounted volumes; those to clean are marked
  log                         Print the path of the activity log, or its lines
  help                        Explain a command

Exit status: 0 done, 1 something failed or was declined, 2 wrong usage, 3 refused, 130 interrupted.
)");
    EXPECT_EQ(desk.varnel.run({"help"}).out, help.out);
    const Finished clean = desk.varnel.run({"help", "clean"});
    EXPECT_EQ(clean.status, 0);
    EXPECT_EQ(desk.varnel.run({"clean", "--help"}).out, clean.out);
    for (const char* option : {"--yes", "--dry-run", "--json", "--samples", "--live", "--only", "--except",
                               "--mac-format", "--allow-live-forks", "--eject", "--force-system-volume-information"}) {
        EXPECT_NE(clean.out.find(option), std::string::npos) << option;
    }
}

TEST(CommandLineUsage, IsWholeInTheManual) {
    const Desk desk;
    std::ifstream stream(VARNEL_MANUAL);
    std::string manual{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::erase(manual, '\\');  // the manual writes its hyphens with one
    for (const char* command : {"scan", "clean", "sweep", "watch", "rules", "volumes", "log"}) {
        EXPECT_NE(manual.find("\n.B varnel " + std::string(command) + "\n"), std::string::npos) << command;
        std::istringstream words(desk.varnel.run({"help", command}).out);
        int options = 0;
        for (std::string word; words >> word;) {
            const auto at = word.find("--");
            if (at == std::string::npos || word.ends_with("--help")) continue;
            // Where there is a short form, that is the one which the manual shows.
            const std::string shown = word.substr(0, word.find(','));
            EXPECT_TRUE(manual.find(".B " + shown + "\n") != std::string::npos ||
                        manual.find(".BI " + shown + " ") != std::string::npos ||
                        manual.find(".BR " + shown + " ") != std::string::npos)
                << command << ' ' << shown;
            ++options;
        }
        EXPECT_GT(options, 0) << command;
    }
}

TEST(CommandLineRules, PrintsTheTable) {
    const Desk desk;
    const Finished table = desk.varnel.run({"rules"});
    EXPECT_TRUE(
        table.out.starts_with("appledouble      ._ AppleDouble files                 prefix \"._\"                    "
                              "   file       live, on demand\n"))
        << table.out;
    EXPECT_NE(
        table.out.find("\nsysvolinfo       System Volume Information (Windows)  name \"System Volume Information\"  "
                       "directory  on demand\n"),
        std::string::npos);
    EXPECT_TRUE(table.out.ends_with("(their ._ companions are kept): ai dfont eps indd otf ps qxd ttc ttf\n"));
    const json all = json::parse(desk.varnel.run({"rules", "--json"}).out);
    EXPECT_EQ(all["rules"].size(), 14U);
    EXPECT_EQ(all["rules"][1].dump(), R"({"enabled":true,"id":"dsstore","label":".DS_Store","match":{"kind":"name",)"
                                      R"("text":".DS_Store"},"scope":["watcher","adhoc"],"target":"any"})");
    EXPECT_EQ(all["rules"][8]["scope"], json::parse(R"(["adhoc"])"));
    EXPECT_EQ(all["protectedExtensions"].size(), 9U);
}

TEST(CommandLineClean, RemovesAndReports) {
    const Desk desk;
    litter(desk);
    const Manifest before = Manifest::of(desk.root);
    const Finished done = desk.varnel.run({"clean", "--yes", "--samples", "0", desk.root});
    EXPECT_TRUE(
        done.out.ends_with("  protected (resource-fork file types kept): 1\nremoved 2 items (1 dirs), 5 bytes\n"))
        << done.out;
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(done.status, 0);
    EXPECT_ONLY_GONE(before, Manifest::of(desk.root), {"a/._x", "b/__MACOSX"});
    EXPECT_EQ(desk.logged(),
              "DEL   appledouble  DESK/v/a/._x\nDEL   macosx-dir  DESK/v/b/__MACOSX\n"
              "DONE  DESK/v  removed 2 items (1 dirs), 5 bytes\n");
}

TEST(CommandLineClean, SaysWhenThereIsNothingToDo) {
    const Desk desk;
    desk.folder.file("v/keep");
    const Finished done = desk.varnel.run({"clean", "--yes", desk.root});
    EXPECT_EQ(desk.stable(done.out), std::string(littered) + "  nothing to clean\n");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(desk.logged(), "");
}

TEST(CommandLineClean, OnlyPretendsInADryRun) {
    const Desk desk;
    litter(desk);
    const Manifest before = Manifest::of(desk.root);
    const Finished done = desk.varnel.run({"clean", "--dry-run", "--samples", "0", desk.root});
    EXPECT_TRUE(done.out.ends_with("would remove 2 items (1 dirs), 5 bytes\n")) << done.out;
    EXPECT_EQ(done.status, 0);
    EXPECT_ONLY_GONE(before, Manifest::of(desk.root), {});
    EXPECT_EQ(desk.logged(),
              "DRY   appledouble  DESK/v/a/._x\nDRY   macosx-dir  DESK/v/b/__MACOSX\n"
              "DONE  DESK/v  would remove 2 items (1 dirs), 5 bytes\n");
}

TEST(CommandLineClean, PrintsOneResultPerPathAsJSON) {
    const Desk desk;
    litter(desk);
    const Finished done = desk.varnel.run({"clean", "--yes", "--json", desk.root, desk.folder.at("home"), "/usr"});
    EXPECT_EQ(
        desk.stable(done.out),
        "{\"root\":\"DESK/v\",\"dryRun\":false,\"removed\":2,\"removedDirectories\":1,\"bytes\":5,\"failures\":[],"
        "\"skipped\":[],\"errors\":[],\"summary\":\"removed 2 items (1 dirs), 5 bytes\"}\n"
        "{\"root\":\"DESK/home\",\"dryRun\":false,\"removed\":0,\"removedDirectories\":0,\"bytes\":0,\"failures\":["
        "{\"path\":\"DESK/home\",\"reason\":\"is a protected system path.\"}],\"skipped\":[],\"errors\":[],"
        "\"summary\":\"removed 0 items, Zero KB, 1 failed\"}\n"
        "{\"root\":\"/usr\",\"dryRun\":false,\"removed\":0,\"removedDirectories\":0,\"bytes\":0,\"failures\":["
        "{\"path\":\"/usr\",\"reason\":\"is a protected system path.\"}],\"skipped\":[],\"errors\":[],"
        "\"summary\":\"removed 0 items, Zero KB, 1 failed\"}\n");
    EXPECT_EQ(desk.stable(done.errors),
              "varnel: DESK/home is a protected system path.\nvarnel: /usr is a protected system path.\n");
    EXPECT_EQ(done.status, 3) << "the gravest of all counts";
}

TEST(CommandLineClean, RemovesByTheChosenRulesOnly) {
    const struct {
        Words options;
        std::set<std::string> gone;
    } cases[] = {
        {{"--live"}, {"._x", "a/.DS_Store", "__MACOSX", "__MACOSX/in"}},
        {{"--only", "trashes"}, {".Trashes", ".Trashes/old"}},
        {{"--except", "dsstore,trashes"}, {"._x", "__MACOSX", "__MACOSX/in"}},
        {{"--live", "--only", "trashes"}, {}},
    };
    for (const auto& c : cases) {
        const Desk desk;
        for (const char* name : {"v/._x", "v/a/.DS_Store", "v/.Trashes/old", "v/__MACOSX/in", "v/keep"})
            desk.folder.file(name);
        const Manifest before = Manifest::of(desk.root);
        Words words = {"clean", "--yes", desk.root};
        words.insert(words.end(), c.options.begin(), c.options.end());
        EXPECT_EQ(desk.varnel.run(words).status, 0);
        EXPECT_ONLY_GONE(before, Manifest::of(desk.root), c.gone);
    }
}

TEST(CommandLineClean, GivesOneJSONObjectForEachPathWhateverBecomesOfIt) {
    const std::string zero =
        "\"removed\":0,\"removedDirectories\":0,\"bytes\":0,\"failures\":[],\"skipped\":[],\"errors\":[],";
    const Desk desk;
    litter(desk);
    const Finished refused = desk.varnel.run({"clean", "--json", desk.root, desk.folder.at("home")});
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(std::count(refused.out.begin(), refused.out.end(), '\n'), 2) << refused.out;
    EXPECT_NE(refused.out.find("no terminal to ask at"), std::string::npos);
    const Finished declined =
        desk.varnel.runOnTerminal({"clean", "--json", desk.root}, {{shows("Clean? [y/N] "), "n\n"}});
    EXPECT_EQ(declined.status, 1);
    EXPECT_NE(declined.out.find("\"dryRun\":false," + zero), std::string::npos) << declined.out;
    EXPECT_TRUE(desk.folder.has("v/a/._x"));
    const Finished agreed =
        desk.varnel.runOnTerminal({"clean", "--json", desk.root}, {{shows("Clean? [y/N] "), "y\n"}});
    EXPECT_NE(agreed.out.find("total                            2  5 bytes"), std::string::npos)
        << "a person has to see what it is about: " << agreed.out;
    EXPECT_NE(agreed.out.find("\"removed\":2,"), std::string::npos);
}

TEST(CommandLineClean, NamesWhatIsDearInADryRunThatWouldNotAsk) {
    const Desk desk;
    desk.folder.file("v/.Trashes/old", "12345");
    const Finished done = desk.varnel.run({"clean", "--dry-run", "--yes", desk.root});
    EXPECT_NE(done.out.find("  note: 1 trash folder holds 1 deleted entry"), std::string::npos) << done.out;
}

TEST(CommandLineClean, RefusesWithoutATerminalUnlessToldNotToAsk) {
    const Desk desk;
    litter(desk);
    const Finished done = desk.varnel.run({"clean", desk.root});
    EXPECT_EQ(done.status, 3);
    EXPECT_EQ(done.out, "");
    EXPECT_EQ(done.errors,
              "varnel: clean asks before it deletes, and there is no terminal to ask at; --yes goes without asking.\n");
    EXPECT_TRUE(desk.folder.has("v/a/._x"));
}

TEST(CommandLineClean, AsksAndHeedsTheAnswer) {
    const struct {
        const char* answer;
        bool isYes;
    } cases[] = {{"y\n", true}, {"Y\n", true},          {" yes \n", true}, {"n\n", false},
                 {"\n", false}, {"yesterday\n", false}, {"\x04", false}};
    for (const auto& c : cases) {
        const Desk desk;
        litter(desk);
        const Finished done = desk.varnel.runOnTerminal({"clean", desk.root}, {{shows("Clean? [y/N] "), c.answer}});
        EXPECT_EQ(done.status, c.isYes ? 0 : 1) << c.answer;
        EXPECT_EQ(desk.folder.has("v/a/._x"), !c.isYes) << c.answer;
        EXPECT_EQ(done.out.find("removed 2 items (1 dirs), 5 bytes") != std::string::npos, c.isYes) << done.out;
    }
}

TEST(CommandLineClean, NamesWhatIsDearBeforeAsking) {
    const Desk desk;
    std::string fork("\0\5\x16\7\0\2\0\0Mac OS X        \0\1\0\0\0\2\0\0\0\x26\0\0\4\0", 38);
    desk.folder.file("v/._clipping", fork + std::string(1024, 'f'));
    desk.folder.file("v/._plain", "no fork");
    desk.folder.file("v/.Trashes/501/old", std::string(2000, 'x'));
    desk.folder.file("v/$RECYCLE.BIN/S-1/new", "y");
    desk.folder.file("v/.TemporaryItems/draft");
    desk.folder.file("v/.fseventsd/no_log", "");
    const Finished done = desk.varnel.run({"clean", "--dry-run", "--samples", "0", desk.root});
    const std::string notes = done.out.substr(done.out.find("  note:"));
    EXPECT_EQ(
        notes,
        "  note: 1 ._ file holds a real resource fork, which may be a file's only data (keep: --except appledouble)\n"
        "  note: 2 trash folders hold 4 deleted entries, 2 KB, of whoever uses the disk (keep: --except "
        "trashes,recyclebin)\n"
        "  note: 1 .TemporaryItems folder changed in the last 10 minutes: a document may be being saved (keep: "
        "--except temporaryitems)\n"
        "  note: 1 .fseventsd folder holds no_log, the owner's own switch against such folders (keep: --except "
        "fseventsd)\n"
        "would remove 6 items (4 dirs), 1 KB\n");
}

TEST(CommandLineClean, KeepsASystemVolumeInformationThatHoldsTheVolume) {
    for (const char* dear : {"Dedup/ChunkStore/data", "FVE2.{keys}"}) {
        const Desk desk;
        desk.folder.file("v/System Volume Information/" + std::string(dear));
        desk.folder.file("v/w/System Volume Information/IndexerVolumeGuid");
        const Finished done = desk.varnel.run({"clean", "--yes", "--samples", "0", desk.root});
        EXPECT_EQ(desk.stable(done.out),
                  std::string(littered) +
                      "  System Volume Information (Windows)       1  \n"
                      "  -------------------------------------------------\n"
                      "  total                                     1  Zero KB\n"
                      "  note: DESK/v/System Volume Information may hold the volume's data or keys and stays (remove: "
                      "--force-system-volume-information)\n"
                      "removed 1 items (1 dirs), Zero KB\n");
        EXPECT_TRUE(desk.folder.has("v/System Volume Information/" + std::string(dear)));
        EXPECT_FALSE(desk.folder.has("v/w/System Volume Information"));
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", "--force-system-volume-information", desk.root}).status, 0);
        EXPECT_FALSE(desk.folder.has("v/System Volume Information"));
    }
}

TEST(CommandLineClean, KeepsASystemVolumeInformationThatCannotBeRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const Desk desk;
    desk.folder.folder("v/System Volume Information");
    tests::shell("chown -R 65534 '" + desk.folder.path() + "' && chmod 0 '" + desk.root +
                 "/System Volume Information'");
    // An empty folder can be removed without being read.
    EXPECT_EQ(tests::runUnprivileged([&] {
                  EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.root}).status, 0);
                  EXPECT_TRUE(desk.folder.has("v/System Volume Information"));
              }),
              0);
}

TEST(CommandLineStatus, IsToldWhoeverStartedTheTool) {
    const Desk desk;
    tests::shell("status=0; HOME='" + desk.folder.folder("home") +
                 "' env --ignore-signal=CHLD '" VARNEL_PROGRAM "' clean --yes '" + desk.folder.at("nowhere") +
                 "' || status=$?; [ $status = 1 ]");
}

TEST(CommandLineNames, AreEscapedOnATerminalAndRepairedInAPipe) {
    const Desk desk;
    desk.folder.file("v/._a\n\x1b[31m\xff\u202e\u00e9");
    const Finished piped = desk.varnel.run({"scan", desk.root});
    EXPECT_TRUE(desk.stable(piped.out).ends_with("  - DESK/v/._a\n\x1b[31m\ufffd\u202e\u00e9\n")) << piped.out;
    const Finished shown = desk.varnel.runOnTerminal({"scan", desk.root});
    EXPECT_TRUE(desk.stable(shown.out).ends_with("  - DESK/v/._a\\n\\x1B[31m\\xFF\\u{202E}\u00e9\n")) << shown.out;
    const json plan = json::parse(desk.varnel.run({"scan", "--json", desk.root}).out);
    EXPECT_EQ(plan["items"][0]["name"], "._a\n\x1b[31m\ufffd\u202e\u00e9");
    EXPECT_TRUE(plan["items"][0].contains("pathBytes"));
    EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.root}).status, 0);
    EXPECT_TRUE(Manifest::of(desk.root).paths().empty());
}

TEST(CommandLineProgress, LeavesNoTrace) {
    const Desk desk;
    for (int i = 0; i < 30000; ++i)
        ::close(::open(desk.folder.at("v/._" + std::to_string(i)).c_str(), O_CREAT | O_CLOEXEC, 0644));
    const Finished piped = desk.varnel.run({"clean", "--dry-run", "--samples", "0", desk.root});
    EXPECT_EQ(piped.errors, "");
    const Finished shown = desk.varnel.runOnTerminal({"clean", "--yes", "--samples", "0", desk.root});
    // What a terminal would still show: every line that was begun anew replaces what stood there.
    std::string visible;
    for (std::size_t at = 0; at < shown.out.size(); ++at) {
        if (shown.out.compare(at, 4, "\r\x1b[K") == 0) {
            visible.resize(visible.rfind('\n') + 1);
            at += 3;
        } else {
            visible += shown.out[at];
        }
    }
    EXPECT_EQ(visible.find("items/s"), std::string::npos);
    EXPECT_EQ(visible.find("entries/s"), std::string::npos);
    EXPECT_TRUE(visible.ends_with("\nremoved 30000 items, Zero KB\n")) << visible;
}

TEST(CommandLineInterrupted, FinishesTheItemAndSaysHowFarItCame) {
    const Desk desk;
    for (int i = 0; i < 60000; ++i)
        ::close(::open(desk.folder.at("v/._" + std::to_string(i)).c_str(), O_CREAT | O_CLOEXEC, 0644));
    const Finished done = desk.varnel.runOnTerminal({"clean", "--samples", "0", desk.root},
                                                    {{shows("Clean? [y/N] "), "y\n"}, {shows(" removed, "), "\x03"}});
    EXPECT_EQ(done.status, 130);
    EXPECT_NE(done.out.find("finishing the item at hand; Ctrl-C again stops at once\n"), std::string::npos);
    const std::size_t left = Manifest::of(desk.root).paths().size();
    EXPECT_GT(left, 0U);
    EXPECT_LT(left, 60000U);
    const std::string summary = "removed " + std::to_string(60000 - left) + " items, Zero KB";
    EXPECT_NE(done.out.find(summary + "\n"), std::string::npos) << done.out;
    EXPECT_TRUE(desk.logged().ends_with("DONE  DESK/v  " + summary + "\n"));
}

TEST(CommandLineInterrupted, EndsWithTheProcessThatWasStarted) {
    if (!tests::hasProgram("strace") || !tests::hasProgram("pgrep")) GTEST_SKIP() << "needs strace and pgrep";
    const Desk desk;
    for (int i = 0; i < 60; ++i)
        desk.folder.file("v/._" + std::to_string(i));
    // A removal each 50 ms; after the first one the process that a person would see in a list of processes is killed.
    tests::shell("cd '" + desk.folder.path() +
                 "' && HOME=$PWD/home ASAN_OPTIONS=detect_leaks=0 strace -f -o /dev/null -e "
                 "inject=unlinkat:delay_enter=50000 '" VARNEL_PROGRAM
                 "' clean --yes v >/dev/null 2>&1 & tracer=$!; cd '" +
                 desk.folder.path() +
                 "'; while [ $(ls -A v | wc -l) = 60 ]; do sleep 0.01; done; kill -9 $(pgrep -P $tracer); wait $tracer "
                 "|| true");
    EXPECT_GT(Manifest::of(desk.root).paths().size(), 30U);
}

TEST(CommandLineInterrupted, HasToldAPipeWhatWasDoneBefore) {
    if (!tests::hasProgram("strace") || !tests::hasProgram("pgrep")) GTEST_SKIP() << "needs strace and pgrep";
    const Desk desk;
    desk.folder.file("v/._a");
    desk.folder.file("slow/1/2/3/4/5/6/7/8/keep");
    // The second folder takes seconds to scan; the interruption comes as soon as the first one is done.
    tests::shell("cd '" + desk.folder.path() +
                 "' && HOME=$PWD/home ASAN_OPTIONS=detect_leaks=0 strace -f -o /dev/null -e "
                 "inject=getdents64:delay_enter=200000 '" VARNEL_PROGRAM
                 "' clean --yes v slow >out 2>&1 & tracer=$!; cd '" +
                 desk.folder.path() +
                 "'; while [ -e v/._a ]; do sleep 0.01; done; sleep 0.3; kill -TERM $(pgrep -P $tracer); wait $tracer "
                 "|| true");
    const std::string out = desk.folder.contents("out");
    EXPECT_NE(out.find("removed 1 items, 1 byte\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("/slow"), std::string::npos) << "this one was being scanned: " << out;
}

TEST(CommandLineInterrupted, StopsAtTheQuestion) {
    const Desk desk;
    litter(desk);
    const Finished done = desk.varnel.runOnTerminal({"clean", desk.root}, {{shows("Clean? [y/N] "), "\x03"}});
    EXPECT_EQ(done.status, 130);
    EXPECT_TRUE(desk.folder.has("v/a/._x"));
}

TEST(CommandLineBadInput, GetsAClearLineAndItsStatus) {
    const Desk desk;
    desk.folder.file("file");
    desk.folder.link("link", "v");
    desk.folder.link("to usr", "/usr");
    const struct {
        std::string path, message;
        int status;
    } cases[] = {
        {desk.folder.at("missing"), "varnel: DESK/missing: No such file or directory\n", 1},
        {desk.folder.at("file"), "varnel: DESK/file: is not a folder\n", 1},
        {desk.folder.at("link"), "varnel: DESK/link: is a link; name the folder that it leads to\n", 1},
        {"/", "varnel: / is a protected system path.\n", 3},
        {"/usr/share", "varnel: /usr/share is a protected system path.\n", 3},
        {desk.root + "/../../../etc", "varnel: /etc is a protected system path.\n", 3},
        {desk.folder.at("to usr/share"), "varnel: DESK/to usr/share is a protected system path.\n", 3},
        {desk.folder.at("home"), "varnel: DESK/home is a protected system path.\n", 3},
    };
    for (const auto& c : cases) {
        for (const Words& command : {Words{"scan"}, Words{"clean", "--yes"}}) {
            Words words = command;
            words.push_back(c.path);
            const Finished done = desk.varnel.run(words);
            EXPECT_EQ(desk.stable(done.errors), c.message) << command[0];
            EXPECT_EQ(done.status, c.status) << command[0] << " " << c.path;
        }
    }
}

TEST(CommandLineBadInput, GoesOnWithTheOtherPaths) {
    const Desk desk;
    litter(desk);
    const Finished done = desk.varnel.run({"clean", "--yes", desk.folder.at("missing"), desk.root});
    EXPECT_EQ(done.status, 1);
    EXPECT_FALSE(desk.folder.has("v/a/._x"));
}

TEST(CommandLinePaths, MayBeRelativeAndUntidy) {
    const Desk desk;
    litter(desk);
    EXPECT_EQ(tests::runInChild([&] {
                  ASSERT_EQ(::chdir(desk.folder.path().c_str()), 0);
                  desk.folder.file("~tilde/._x");
                  EXPECT_EQ(json::parse(desk.varnel.run({"scan", "--json", "v"}).out)["root"], desk.root);
                  EXPECT_EQ(json::parse(desk.varnel.run({"scan", "--json", "./v//a/../"}).out)["root"], desk.root);
                  EXPECT_EQ(json::parse(desk.varnel.run({"scan", "--json", "~tilde"}).out)["items"].size(), 1U);
              }),
              0);
}

TEST(CommandLinePaths, AreTakenAsTheyStand) {
    const Desk desk;
    for (const char* name : {"[v]", "[v,w]", "[]", "[", "++", "{v}", "%%", "scan", "-", "a=b", "'v'", "v,w"})
        desk.folder.file(std::string(name) + "/._x");
    for (const char* name : {"v", "w"})
        desk.folder.file(std::string(name) + "/._x");
    EXPECT_EQ(tests::runInChild([&] {
                  ASSERT_EQ(::chdir(desk.folder.path().c_str()), 0);
                  for (const char* name : {"[v]", "[v,w]", "[]", "[", "++", "{v}", "%%", "scan", "-", "a=b", "'v'"}) {
                      for (const Words& words : {Words{"clean", "--yes", name}, Words{"clean", "--yes", "--", name}}) {
                          desk.folder.file(std::string(name) + "/._x");
                          const Finished done = desk.varnel.run(words);
                          EXPECT_EQ(done.status, 0) << name << ": " << done.errors;
                          EXPECT_FALSE(desk.folder.has(std::string(name) + "/._x")) << name;
                      }
                  }
                  EXPECT_TRUE(desk.folder.has("v,w/._x"));
              }),
              0);
    EXPECT_TRUE(desk.folder.has("v/._x"));
    EXPECT_TRUE(desk.folder.has("w/._x"));
}

TEST(CommandLinePaths, AreNeverGuessed) {
    const Desk desk;
    desk.folder.file("v/._x");
    desk.folder.file("far/away/._x");
    desk.folder.link("v/link", desk.folder.at("far/away"));
    EXPECT_EQ(tests::runInChild([&] {
                  ASSERT_EQ(::chdir(desk.root.c_str()), 0);
                  const Finished empty = desk.varnel.run({"clean", "--yes", ""});
                  EXPECT_EQ(empty.errors, "varnel: PATH: a PATH is empty\nTry `varnel --help`.\n");
                  EXPECT_EQ(empty.status, 2);
                  const Finished behind = desk.varnel.run({"clean", "--yes", "link/.."});
                  EXPECT_EQ(behind.errors,
                            "varnel: link/.. is not the folder that it reads like, because a link comes before \"..\"; "
                            "name it without.\n");
                  EXPECT_EQ(behind.status, 3);
                  EXPECT_EQ(desk.varnel.run({"scan", "link/.."}).status, 3);
                  EXPECT_EQ(desk.varnel.run({"scan", "missing/.."}).status, 3);
                  EXPECT_EQ(desk.varnel.run({"scan", "../v"}).status, 0);

                  desk.folder.folder("gone");
                  ASSERT_EQ(::chdir(desk.folder.at("gone").c_str()), 0);
                  ASSERT_EQ(::rmdir(desk.folder.at("gone").c_str()), 0);
                  const Finished nowhere = desk.varnel.run({"clean", "--yes", "tmp"});
                  EXPECT_EQ(nowhere.errors,
                            "varnel: tmp cannot be found: the current folder: No such file or directory\n");
                  EXPECT_EQ(nowhere.status, 3);
              }),
              0);
    EXPECT_TRUE(desk.folder.has("v/._x"));
    EXPECT_TRUE(desk.folder.has("far/away/._x"));
}

TEST(CommandLineBadInput, UnreadableFoldersAreNamedInThePlan) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const Desk desk;
    desk.folder.file("v/closed/._x");
    desk.folder.file("v/open/._y");
    ::chmod(desk.folder.at("v/closed").c_str(), 0700);
    for (const char* name : {"v", "v/open", "home"})
        ::chmod(desk.folder.at(name).c_str(), 0777);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const Finished done = desk.varnel.run({"clean", "--yes", "--samples", "0", desk.root});
                  EXPECT_EQ(done.status, 1);
                  EXPECT_TRUE(desk.stable(done.out).ends_with(
                      "\n  errors:\n    cannot open: DESK/v/closed\nremoved 1 items, 1 byte\n"))
                      << done.out;
                  EXPECT_EQ(desk.varnel.run({"scan", desk.folder.at("v/closed")}).status, 1);
              }),
              0);
    EXPECT_TRUE(desk.folder.has("v/closed/._x"));
}

/// Runs the body in a mount namespace of its own, or skips with the reason.
void privately(const std::function<void(const Desk&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([&] {
        const Desk desk;
        body(desk);
    }),
              0);
}

TEST(CommandLineBadInput, AReadOnlyDiskFailsItemByItem) {
    privately([](const Desk& desk) {
        tests::mountTmpfs(desk.root);
        litter(desk);
        ASSERT_EQ(::mount("", desk.root.c_str(), "", MS_REMOUNT | MS_RDONLY, nullptr), 0);
        const Finished done = desk.varnel.run({"clean", "--yes", "--samples", "0", desk.root});
        EXPECT_EQ(done.status, 1);
        EXPECT_TRUE(done.out.ends_with("removed 0 items, Zero KB, 2 failed\n")) << done.out;
        EXPECT_EQ(desk.stable(done.errors),
                  "varnel: DESK/v/a/._x — Read-only file system\n"
                  "varnel: DESK/v/b/__MACOSX — Read-only file system\n");
        EXPECT_EQ(desk.logged(),
                  "FAIL  appledouble  DESK/v/a/._x  Read-only file system\n"
                  "FAIL  macosx-dir  DESK/v/b/__MACOSX  Read-only file system\n"
                  "DONE  DESK/v  removed 0 items, Zero KB, 2 failed\n");
        tests::unmount(desk.root);
    });
}

TEST(CommandLineBadInput, AFullLogDiskStopsNothing) {
    privately([](const Desk& desk) {
        tests::mountTmpfs(desk.folder.folder("home/Library/Logs/Varnel"), "size=4k");
        for (int i = 0; i < 200; ++i)
            desk.folder.file("v/._" + std::to_string(i));
        const Finished done = desk.varnel.run({"clean", "--yes", "--samples", "0", desk.root});
        EXPECT_EQ(done.status, 0);
        EXPECT_EQ(desk.stable(done.errors),
                  "varnel: the log is incomplete: DESK/home/Library/Logs/Varnel/varnel.log: No space "
                  "left on device\n");
        EXPECT_TRUE(Manifest::of(desk.root).paths().empty());
        tests::unmount(desk.folder.at("home/Library/Logs/Varnel"));
    });
}

TEST(CommandLineBadInput, AMissingLogStopsNothing) {
    const Desk desk;
    litter(desk);
    desk.folder.file("home/Library");
    const Finished done = desk.varnel.run({"clean", "--yes", desk.root});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(desk.stable(done.errors), "varnel: log unavailable: DESK/home/Library/Logs/Varnel\n");
    EXPECT_FALSE(desk.folder.has("v/a/._x"));
}

TEST(CommandLineBadInput, DoesWithoutThreadsWhatCanBeDone) {
    if (tests::hasAddressSanitizer || tests::hasThreadSanitizer) GTEST_SKIP() << "the sanitizer needs a thread itself";
    if (!tests::hasProgram("prlimit")) GTEST_SKIP() << "needs the program prlimit";
    const Desk desk;
    litter(desk);
    if (::geteuid() == 0) tests::shell("chown -R 65534 '" + desk.folder.path() + "'");
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const auto run = [&desk](const std::string& command) {
                      tests::shell("cd '" + desk.folder.path() +
                                   "'; status=0; HOME=$PWD/home prlimit --nproc=0:0 '" VARNEL_PROGRAM "' " + command +
                                   " >out 2>errors || status=$?; echo $status >status");
                      return std::stoi(desk.folder.contents("status"));
                  };
                  EXPECT_EQ(run("watch v"), 1);
                  EXPECT_EQ(desk.folder.contents("errors"),
                            "varnel: cannot watch: the system has no thread or descriptor to give; end other programs, "
                            "or raise the limits of processes and of open files\n");
                  EXPECT_EQ(run("clean --yes v"), 0);
                  EXPECT_EQ(desk.stable(desk.folder.contents("errors")),
                            "varnel: log unavailable: DESK/home/Library/Logs/Varnel\n");
              }),
              0);
    EXPECT_FALSE(desk.folder.has("v/a/._x"));
}

TEST(CommandLineBadInput, AnOutputThatCannotBeWrittenIsAFailure) {
    const Desk desk;
    litter(desk);
    const Finished done = desk.varnel.run({"scan", desk.root}, "/dev/full");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.errors, "varnel: cannot write the result: No space left on device\n");
}

/// Runs the tool with standard output in a pipe whose reader is gone before it begins; standard error goes into the
/// file "errors". Gives its exit status.
int runWithoutReader(const Desk& desk, const std::string& command) {
    tests::shell("cd '" + desk.folder.path() +
                 "' && { while [ ! -e closed ]; do sleep 0.01; done; status=0; HOME=$PWD/home '" VARNEL_PROGRAM "' " +
                 command + " 2>errors || status=$?; echo $status >status; } | { exec </dev/null; touch closed; }");
    return std::stoi(desk.folder.contents("status"));
}

TEST(CommandLineBrokenPipe, EndsAScanWithoutAWord) {
    const Desk desk;
    litter(desk);
    EXPECT_EQ(runWithoutReader(desk, "scan v"), 1);
    EXPECT_EQ(desk.folder.contents("errors"), "");
    ::unlink(desk.folder.at("closed").c_str());
    EXPECT_EQ(runWithoutReader(desk, "scan v missing"), 1);
    EXPECT_EQ(desk.folder.contents("errors"), "") << "nobody would read of the next path";
}

TEST(CommandLineBrokenPipe, HoldsUpNoClean) {
    const Desk desk;
    litter(desk);
    desk.folder.file("w/._y");
    const Manifest before = Manifest::of(desk.root);
    EXPECT_EQ(runWithoutReader(desk, "clean --yes v w"), 1) << "the report did not arrive";
    EXPECT_EQ(desk.folder.contents("errors"), "");
    EXPECT_ONLY_GONE(before, Manifest::of(desk.root), {"a/._x", "b/__MACOSX"});
    EXPECT_FALSE(desk.folder.has("w/._y"));
    EXPECT_TRUE(desk.logged().ends_with("DONE  DESK/w  removed 1 items, 1 byte\n"));
}

TEST(CommandLineBrokenPipe, IsNoConsentToWhatNobodySaw) {
    const Desk desk;
    litter(desk);
    // The question would appear on the terminal, the plan goes where nothing can be written.
    const Finished done = desk.varnel.runOnTerminal({"clean", desk.root}, {{shows("Clean? "), "y\n"}}, "/dev/full");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.out, "varnel: cannot write the result: No space left on device\n");
    EXPECT_TRUE(desk.folder.has("v/a/._x"));
}

TEST(CommandLineStandardStreams, AreNotReplacedByTheFilesThatAreOpened) {
    const Desk desk;
    litter(desk);
    tests::shell("cd '" + desk.folder.path() +
                 "'; HOME=$PWD/home '" VARNEL_PROGRAM
                 "' clean --yes v >&- 2>errors; status=$?; [ $status = 1 ] || { echo $status; exit 1; }");
    EXPECT_EQ(desk.folder.contents("errors"), "varnel: cannot write the result: Bad file descriptor\n");
    EXPECT_EQ(desk.logged(),
              "DEL   appledouble  DESK/v/a/._x\nDEL   macosx-dir  DESK/v/b/__MACOSX\n"
              "DONE  DESK/v  removed 2 items (1 dirs), 5 bytes\n");
    litter(desk);
    tests::shell("cd '" + desk.folder.path() + "'; HOME=$PWD/home '" VARNEL_PROGRAM "' clean --yes v <&- 2>&- >out");
    EXPECT_FALSE(desk.folder.has("v/a/._x"));
    EXPECT_TRUE(desk.folder.contents("out").ends_with("removed 2 items (1 dirs), 5 bytes\n"));
}

TEST(CommandLineMacFormat, NeedsAConsentOfItsOwn) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
    privately([](const Desk& desk) {
        const auto mount = [&desk] {
            desk.folder.file("from/._x");
            tests::shell("bindfs -o subtype=apfs '" + desk.folder.at("from") + "' '" + desk.root + "'");
        };
        mount();
        const Finished refused = desk.varnel.run({"clean", "--yes", desk.root});
        EXPECT_EQ(refused.status, 3);
        EXPECT_EQ(desk.stable(refused.errors),
                  "varnel: DESK/v is on a apfs volume, a Mac format; --mac-format cleans it all the same.\n");
        EXPECT_TRUE(desk.folder.has("from/._x"));
        EXPECT_EQ(desk.varnel.run({"clean", "--dry-run", desk.root}).status, 0) << "nothing is at stake";
        const std::string question = "Clean anyway? [y/N] ";
        const Finished declined = desk.varnel.runOnTerminal({"clean", "--yes", desk.root}, {{shows(question), "n\n"}});
        EXPECT_EQ(declined.status, 3);
        EXPECT_TRUE(desk.folder.has("from/._x"));
        const Finished agreed = desk.varnel.runOnTerminal({"clean", "--yes", desk.root}, {{shows(question), "y\n"}});
        EXPECT_EQ(agreed.status, 0) << agreed.out;
        EXPECT_FALSE(desk.folder.has("from/._x"));
        EXPECT_NE(agreed.out.find("(Mac format — skipped by default)"), std::string::npos);
        desk.folder.file("from/._x");
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", "--mac-format", desk.root}).status, 0);
        EXPECT_FALSE(desk.folder.has("from/._x"));
        tests::shell("umount '" + desk.root + "'");
    });
}

TEST(CommandLineLiveForks, NeedAConsentOfTheirOwn) {
    privately([](const Desk& desk) {
        desk.folder.file("etc/smb.conf", "[global]\nvfs objects = catia fruit\n[share]\npath = " + desk.root + "\n");
        const std::string over = desk.folder.folder("over");
        tests::mountTmpfs(over);
        tests::shell("cd '" + over +
                     "' && mkdir upper work && mount -t overlay o -o lowerdir=/etc,upperdir=upper,workdir=work /etc");
        tests::shell("mkdir -p /etc/samba && cp '" + desk.folder.at("etc/smb.conf") + "' /etc/samba/");
        litter(desk);
        const Finished refused = desk.varnel.run({"clean", "--yes", desk.folder.at("v/a")});
        EXPECT_EQ(refused.status, 3);
        EXPECT_EQ(desk.stable(refused.errors),
                  "varnel: DESK/v/a is shared by a file server that keeps live data in ._ files (/etc/samba/smb.conf: "
                  "[share]); --allow-live-forks cleans it all the same.\n");
        desk.folder.link("another way", "v");
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.folder.at("another way/a")}).status, 3);

        tests::shell(
            "mv /etc/samba/smb.conf /etc/samba/more && echo 'include = /etc/samba/more' > /etc/samba/smb.conf");
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.folder.at("v/a")}).status, 3);
        tests::shell(
            "mv /etc/samba/more /etc/samba/more.of.ann && echo 'include = /etc/samba/more.of.%u' > "
            "/etc/samba/smb.conf");
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.folder.at("v/a")}).status, 3);
        tests::shell(
            "echo '[global]\nvfs objects = fruit\nusershare path = /etc/samba/own' > /etc/samba/smb.conf && "
            "mkdir /etc/samba/own && printf 'path=%s\\n' '" +
            desk.folder.at("v") + "' > /etc/samba/own/ann");
        EXPECT_EQ(desk.stable(desk.varnel.run({"clean", "--yes", desk.folder.at("v/a")}).errors),
                  "varnel: DESK/v/a is shared by a file server that keeps live data in ._ files (/etc/samba/own/ann); "
                  "--allow-live-forks cleans it all the same.\n");
        const struct {
            const char *command, *obstacle;
        } bad[] = {
            {"rm smb.conf && mkdir smb.conf", "/etc/samba/smb.conf"},
            {"rmdir smb.conf && for i in 1 2 3 4; do echo 'include = /etc/samba/smb.conf'; done > smb.conf",
             "/etc/samba/smb.conf"},
            {"echo 'include = Registry' > smb.conf", "the registry that /etc/samba/smb.conf names"},
            {"echo 'include = /etc/samba/%U/conf' > smb.conf", "/etc/samba/%U/conf"},
        };
        for (const auto& c : bad) {
            tests::shell("cd /etc/samba && " + std::string(c.command));
            const Finished doubtful = desk.varnel.run({"clean", "--yes", desk.folder.at("v/a")});
            EXPECT_EQ(doubtful.status, 3);
            EXPECT_EQ(desk.stable(doubtful.errors),
                      "varnel: DESK/v/a may be shared by a file server that keeps live data in ._ files (" +
                          std::string(c.obstacle) + " cannot be read); --allow-live-forks cleans it all the same.\n");
        }
        EXPECT_TRUE(desk.folder.has("v/a/._x"));
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", "--allow-live-forks", desk.root}).status, 0);
        EXPECT_FALSE(desk.folder.has("v/a/._x"));
    });
}

TEST(CommandLineLog, PrintsItsPathOrItsLines) {
    const Desk desk;
    const std::string path = desk.folder.at("home/Library/Logs/Varnel/varnel.log");
    EXPECT_EQ(desk.varnel.run({"log"}).out, path + "\n");
    const Finished missing = desk.varnel.run({"log", "-n", "5"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "varnel: " + path + ": No such file or directory\n");
    std::string all;
    for (int i = 0; i < 5000; ++i)
        all += "line " + std::to_string(i) + " " + std::string(40, 'x') + "\n";
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", all);
    const auto last = [&](const char* count) { return desk.varnel.run({"log", "-n", count}).out; };
    EXPECT_EQ(last("1"), "line 4999 " + std::string(40, 'x') + "\n");
    EXPECT_EQ(last("2"), "line 4998 " + std::string(40, 'x') + "\nline 4999 " + std::string(40, 'x') + "\n");
    EXPECT_EQ(last("0"), "");
    EXPECT_EQ(last("5000"), all);
    EXPECT_EQ(last("4999"), all.substr(all.find('\n') + 1));
    EXPECT_EQ(last("99999"), all);
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "a\nunfinished");
    EXPECT_EQ(last("1"), "unfinished\n");
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "a\x1b[2J\n");
    EXPECT_EQ(desk.varnel.runOnTerminal({"log", "-n", "1"}).out, "a\\x1B[2J\n");
}

TEST(CommandLineLog, FollowsWhatIsWritten) {
    const Desk desk;
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "first\n");
    const std::string path = desk.folder.at("home/Library/Logs/Varnel/varnel.log");
    bool hasAppended = false;
    const auto append = [&](const std::string& shown) {
        if (!hasAppended && shown.find("first\n") != std::string::npos) {
            std::ofstream(path, std::ios::app) << "second\n";
            hasAppended = true;
        }
        return shown.find("second\n") != std::string::npos;
    };
    const Finished done = desk.varnel.runOnTerminal({"log", "-f"}, {{append, "\x03"}});
    EXPECT_EQ(done.status, 130) << "ended by Ctrl-C";
    EXPECT_EQ(done.out, "first\nsecond\n");
}

TEST(CommandLineLog, FollowsTheNameWhateverBecomesOfTheFile) {
    const Desk desk;
    const std::string path = desk.folder.at("home/Library/Logs/Varnel/varnel.log");
    RunningProgram log(desk.folder.at("home"), {"log", "-f"});
    ASSERT_TRUE(log.complains("varnel: " + path + ": No such file or directory; waiting until it is there\n"));
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "first\n");
    EXPECT_TRUE(log.says("first\n"));
    // Moved away while somebody still writes to it, and begun anew.
    ASSERT_EQ(std::rename(path.c_str(), (path + ".1").c_str()), 0);
    std::ofstream(path + ".1", std::ios::app) << "to the old file\nunfinished";
    EXPECT_TRUE(log.says("to the old file\n"));
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "to the new one\n");
    EXPECT_TRUE(log.says("unfinished\nto the new one\n"));
    // Copied away and emptied.
    ASSERT_EQ(::truncate(path.c_str(), 0), 0);
    std::ofstream(path, std::ios::app) << "short\n";
    EXPECT_TRUE(log.says("short\n"));
    EXPECT_EQ(log.end(SIGINT), 128 + SIGINT);
    EXPECT_EQ(log.out(), "first\nto the old file\nunfinished\nto the new one\nshort\n");
}

TEST(CommandLineLog, EndsWithItsReader) {
    const Desk desk;
    desk.folder.file("home/Library/Logs/Varnel/varnel.log", "first\n");
    EXPECT_EQ(runWithoutReader(desk, "log -n 0 -f"), 1) << "although there is nothing to print";
    EXPECT_EQ(desk.folder.contents("errors"), "");
}

TEST(CommandLineLog, SaysWhyItCannotBeRead) {
    const Desk desk;
    const std::string path = desk.folder.folder("home/Library/Logs/Varnel/varnel.log");
    for (const Words& words : {Words{"log", "-n", "5"}, Words{"log", "-f"}}) {
        const Finished done = desk.varnel.run(words);
        EXPECT_EQ(done.status, 1);
        EXPECT_EQ(done.errors, "varnel: " + path + ": Is a directory\n");
    }
}

TEST(CommandLineSweep, CleansEveryVolumeWithTheLiveRules) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const Desk desk;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/mnt");
        tests::mountTmpfs("/media");
        for (const char* place : {"/mnt/One", "/mnt/Two", "/media/Apple"}) {
            ASSERT_EQ(::mkdir(place, 0755), 0);
            if (place != std::string("/media/Apple")) tests::mountTmpfs(place);
            tests::shell("mkdir -p '" + std::string(place) + "/.Trashes' && touch '" + place + "/._x' '" + place +
                         "/.Trashes/y'");
        }
        EXPECT_EQ(desk.varnel.run({"sweep"}).status, 3) << "there is nobody to ask";
        const Finished dry = desk.varnel.run({"sweep", "--dry-run", "--samples", "0"});
        EXPECT_EQ(dry.status, 0);
        EXPECT_NE(dry.out.find("/mnt/One\n"), std::string::npos);
        EXPECT_EQ(::access("/mnt/One/._x", F_OK), 0);
        const Finished done = desk.varnel.run({"sweep", "--yes", "--json"});
        EXPECT_EQ(done.status, 0) << done.errors;
        for (const char* place : {"/mnt/One", "/mnt/Two"}) {
            EXPECT_NE(::access((std::string(place) + "/._x").c_str(), F_OK), 0) << place;
            EXPECT_EQ(::access((std::string(place) + "/.Trashes/y").c_str(), F_OK), 0) << place;
            EXPECT_NE(done.out.find("{\"root\":\"" + std::string(place) + "\",\"dryRun\":false,\"removed\":1,"),
                      std::string::npos);
        }
        EXPECT_EQ(::access("/media/Apple/._x", F_OK), 0) << "a folder is no volume";
    }),
              0);
}

TEST(CommandLineBadInput, TheHomeFolderIsProtectedWhereverItsPathLeads) {
    const Desk desk;
    desk.folder.file("data/home/._x");
    ASSERT_EQ(std::rename(desk.folder.at("home").c_str(), desk.folder.at("before").c_str()), 0);
    desk.folder.link("home", "data/home");
    for (const char* word : {"data/home", "home"}) {
        const Finished done = desk.varnel.run({"clean", "--yes", desk.folder.at(word)});
        EXPECT_EQ(done.status, 3) << word;
        EXPECT_EQ(desk.stable(done.errors), "varnel: DESK/" + std::string(word) + " is a protected system path.\n");
    }
    EXPECT_TRUE(desk.folder.has("data/home/._x"));
    EXPECT_EQ(desk.varnel.run({"clean", "--yes", desk.folder.at("data")}).status, 0) << "folders around it are not";
}

TEST(CommandLineBadInput, AVolumeOfAnUnknownFormatMayBeAMacs) {
    if (tests::hasAddressSanitizer) GTEST_SKIP() << "the leak checker reads even its options from /proc";
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const Desk desk;
    desk.folder.file("v/._x");
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/proc");  // without the mount table nobody knows what is mounted
        const Finished done = desk.varnel.run({"clean", "--yes", desk.root});
        EXPECT_EQ(done.status, 3);
        EXPECT_NE(done.errors.find("format cannot be learned"), std::string::npos) << done.errors;
        EXPECT_EQ(desk.varnel.run({"watch", desk.root}).status, 3);
        EXPECT_TRUE(desk.folder.has("v/._x"));
        EXPECT_EQ(desk.varnel.run({"clean", "--yes", "--mac-format", desk.root}).status, 0);
        EXPECT_FALSE(desk.folder.has("v/._x"));
    }),
              0);
}

TEST(CommandLineBadInput, WordsOfTheCommandLineCannotDriveTheTerminal) {
    const Desk desk;
    const Finished done = desk.varnel.runOnTerminal({"scan", "--\x1b[31mred", desk.root}, {});
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.out.find('\x1b'), std::string::npos) << done.out;
    EXPECT_NE(done.out.find("\\x1B[31mred"), std::string::npos) << done.out;
}

TEST(CommandLineVolumes, ObeysTheMarksForFileManagers) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const Desk desk;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/run");  // mount(8) keeps such marks there
        tests::mountTmpfs("/mnt");
        for (const char* name : {"/mnt/hidden", "/mnt/plain"})
            ASSERT_EQ(::mkdir(name, 0755), 0);
        tests::shell(
            "mount -t tmpfs -o x-gvfs-hide t /mnt/hidden && mount -t tmpfs t /mnt/plain && "
            "mount -t tmpfs -o x-gvfs-show t '" +
            desk.folder.folder("shown") + "'");
        const Finished done = desk.varnel.run({"volumes"});
        EXPECT_EQ(done.out.find("/mnt/hidden"), std::string::npos) << done.out;
        EXPECT_NE(done.out.find("  /mnt/plain\n"), std::string::npos) << done.out;
        EXPECT_NE(done.out.find("  " + desk.folder.at("shown") + "\n"), std::string::npos) << done.out;
    }),
              0);
}

TEST(CommandLineSweep, LeavesOutTheMacsOwnDisks) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
    const Desk desk;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/media");
        for (const char* format : {"hfsplus", "apfs"}) {
            const std::string source = desk.folder.folder(format);
            const std::string place = "/media/" + std::string(format);
            tests::shell("mkdir '" + place + "' && bindfs -o subtype=" + format + " '" + source + "' '" + place + "'");
            desk.folder.file(std::string(format) + "/._x");
        }
        const Finished none = desk.varnel.run({"sweep", "--yes"});
        EXPECT_EQ(none.errors, "varnel: no volumes to sweep\n");
        ASSERT_EQ(::mkdir("/media/Stick", 0755), 0);
        tests::mountTmpfs("/media/Stick");
        tests::shell("touch /media/Stick/._x");
        const Finished done = desk.varnel.run({"sweep", "--yes"});
        EXPECT_EQ(done.status, 0) << done.errors;
        EXPECT_NE(::access("/media/Stick/._x", F_OK), 0);
        for (const char* format : {"hfsplus", "apfs"}) {
            EXPECT_TRUE(desk.folder.has(std::string(format) + "/._x")) << format;
            EXPECT_EQ(done.out.find(format), std::string::npos) << done.out;
        }
        tests::shell("umount /media/hfsplus /media/apfs");
    }),
              0);
}

TEST(CommandLineVolumes, ListsWhatIsMountedForPeople) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const Desk desk;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/mnt");
        ASSERT_EQ(::mkdir("/mnt/Card 1", 0755), 0);
        tests::mountTmpfs("/mnt/Card 1");
        const Finished done = desk.varnel.run({"volumes"});
        EXPECT_NE(done.out.find("* mnt — tmpfs, local  /mnt\n* Card 1 — tmpfs, local  /mnt/Card 1\n"),
                  std::string::npos)
            << done.out;
        EXPECT_EQ(done.out.find("  /proc\n"), std::string::npos);
        const Finished coded = desk.varnel.run({"volumes", "--json"});
        EXPECT_NE(coded.out.find(
                      "{\"mountPoint\":\"/mnt/Card 1\",\"fsType\":\"tmpfs\",\"isLocal\":true,\"isRemovable\":false,"
                      "\"isInternal\":false,\"isTarget\":true}\n"),
                  std::string::npos)
            << coded.out;
    }),
              0);
}

}  // namespace
}  // namespace varnel
