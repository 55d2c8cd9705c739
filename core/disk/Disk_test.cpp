// SPDX-License-Identifier: MIT
//
// The order of the disk tools and what is said of it, through programs that note how they are called and answer as the
// test wants.
#include "core/disk/Disk.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <expected>
#include <string>
#include <vector>

#include "core/base/Process.h"
#include "core/disk/DiskError.h"
#include "core/disk/DiskUtility.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;
using Calls = std::vector<std::string>;

constexpr const char* info =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
    "<key>DeviceIdentifier</key>\n<string>disk4s1</string>\n</dict>\n</plist>\n";

/// The answers of the programs, one run after the other, whichever is run.
struct Answer {
    int status = 0;
    std::string output;
};

/// The programs "diskutil" and "umount", and what they were called with.
class Programs {
public:
    explicit Programs(const std::vector<Answer>& answers) {
        folder_.file("count", "0");
        for (const char* const name : {"diskutil", "umount"}) {
            const std::string path = folder_.file(name,
                                                  "#!/bin/sh\n"
                                                  "cd \"${0%/*}\" || exit 99\n"
                                                  "n=$(($(cat count) + 1))\n"
                                                  "echo $n >count\n"
                                                  "{ printf '%s' \"${0##*/}\"; [ $# -eq 0 ] || printf ' [%s]' \"$@\"; "
                                                  "echo; } >>calls\n"
                                                  "[ -e answer.$n ] || exit 98\n"
                                                  "cat answer.$n\n"
                                                  "exit $(cat status.$n)\n");
            ::chmod(path.c_str(), 0755);
        }
        for (std::size_t i = 0; i < answers.size(); ++i) {
            folder_.file("answer." + std::to_string(i + 1), answers[i].output);
            folder_.file("status." + std::to_string(i + 1), std::to_string(answers[i].status));
        }
    }

    Calls calls() const {
        Calls lines;
        std::string all = folder_.contents("calls");
        for (std::size_t end = all.find('\n'); end != std::string::npos; end = all.find('\n')) {
            lines.push_back(all.substr(0, end));
            all.erase(0, end + 1);
        }
        return lines;
    }

private:
    TemporaryFolder folder_;

public:
    DiskUtility tools{{folder_.at("diskutil"), folder_.at("umount")}};
};

std::string said(const std::expected<void, DiskError>& result) {
    return result ? "done" : result.error().message;
}

struct Case {
    const char* what;
    std::vector<Answer> answers;
    Calls calls;
    std::string result;
};

void expectAll(const std::vector<Case>& cases,
               std::expected<void, DiskError> (*operation)(const std::string&, bool, DiskTools&), bool force) {
    for (const Case& c : cases) {
        Programs programs(c.answers);
        EXPECT_EQ(said(operation("/Volumes/My USB", force, programs.tools)), c.result) << c.what;
        EXPECT_EQ(programs.calls(), c.calls) << c.what;
    }
}

const std::string infoCall = "diskutil [info] [-plist] [/Volumes/My USB]";
const std::string ejectDevice = "diskutil [eject] [disk4s1]";
const std::string ejectPath = "diskutil [eject] [/Volumes/My USB]";
const std::string unmountCall = "diskutil [unmount] [/Volumes/My USB]";
const std::string umountCall = "umount [/Volumes/My USB]";

TEST(DiskEject, AsksForTheDeviceAndEjectsIt) {
    expectAll({{"at once", {{0, info}, {0, "Disk disk4s1 ejected"}}, {infoCall, ejectDevice}, "done"}}, Disk::eject,
              /*force=*/false);
}

TEST(DiskEject, TakesThePathWhereThereIsNoDevice) {
    const std::string other = "<plist><dict><key>VolumeName</key><string>x</string></dict></plist>";
    const std::string number = "<plist><dict><key>DeviceIdentifier</key><integer>4</integer></dict></plist>";
    const std::string list = "<plist><array><string>DeviceIdentifier</string></array></plist>";
    for (const Answer& answer : std::vector<Answer>{{1, "Could not find disk: /Volumes/My USB"},
                                                    {1, info},
                                                    {0, ""},
                                                    {0, "no list"},
                                                    {0, other},
                                                    {0, number},
                                                    {0, list},
                                                    {0, "a warning\n" + std::string(info)}}) {
        expectAll({{answer.output.c_str(), {answer, {0, ""}}, {infoCall, ejectPath}, "done"}}, Disk::eject,
                  /*force=*/false);
    }
}

TEST(DiskEject, TakesADeviceByAnyTextualName) {
    const std::string empty = "<plist><dict><key>DeviceIdentifier</key><string></string></dict></plist>";
    expectAll({{"empty", {{0, empty}, {0, ""}}, {infoCall, "diskutil [eject] []"}, "done"}}, Disk::eject,
              /*force=*/false);
}

TEST(DiskEject, UnmountsAndTriesAgainWhereItFails) {
    const Calls four = {infoCall, ejectDevice, unmountCall, ejectDevice};
    const Calls five = {infoCall, ejectDevice, unmountCall, umountCall, ejectDevice};
    expectAll(
        {
            {"by the disk utility", {{0, info}, {1, "busy"}, {0, "Volume unmounted"}, {0, ""}}, four, "done"},
            {"by umount", {{0, info}, {1, "busy"}, {1, "no"}, {0, ""}, {0, ""}}, five, "done"},
            {"in vain, with a word", {{0, info}, {1, "one"}, {0, ""}, {1, "two"}}, four, "two"},
            {"in vain, with a word of umount", {{0, info}, {1, "one"}, {1, ""}, {0, "three"}, {2, "two"}}, five, "two"},
            {"in vain, silently",
             {{0, info}, {1, "one"}, {0, ""}, {1, " \n\t"}},
             four,
             "unmounted but could not detach disk4s1"},
            {"in vain, silently, by path",
             {{1, ""}, {1, "one"}, {0, ""}, {1, ""}},
             {infoCall, ejectPath, unmountCall, ejectPath},
             "unmounted but could not detach /Volumes/My USB"},
        },
        Disk::eject, /*force=*/false);
}

TEST(DiskEject, SaysWhatWasSaidFirstWhereNothingWorks) {
    const Calls calls = {infoCall, ejectDevice, unmountCall, umountCall};
    expectAll(
        {
            {"by the first eject", {{0, info}, {1, "\n one \n"}, {1, "two"}, {1, "three"}}, calls, "one"},
            {"by the disk utility's unmount", {{0, info}, {1, "  "}, {1, "two"}, {1, "three"}}, calls, "two"},
            {"by umount", {{0, info}, {1, ""}, {1, "\n"}, {1, "three"}}, calls, "three"},
            {"by nobody", {{0, info}, {1, ""}, {1, ""}, {1, "\r\n"}}, calls, "unmount failed"},
        },
        Disk::eject, /*force=*/false);
}

TEST(DiskEject, PutsForceBeforeTheTarget) {
    expectAll({{"eject", {{0, info}, {0, ""}}, {infoCall, "diskutil [eject] [force] [disk4s1]"}, "done"},
               {"everything",
                {{0, info}, {1, ""}, {1, ""}, {0, ""}, {0, ""}},
                {infoCall, "diskutil [eject] [force] [disk4s1]", "diskutil [unmount] [force] [/Volumes/My USB]",
                 "umount [-f] [/Volumes/My USB]", "diskutil [eject] [force] [disk4s1]"},
                "done"}},
              Disk::eject, /*force=*/true);
}

TEST(DiskUnmount, TriesTheDiskUtilityAndThenUmount) {
    expectAll(
        {
            {"the first", {{0, "Volume unmounted"}}, {unmountCall}, "done"},
            {"the second", {{1, "no"}, {0, ""}}, {unmountCall, umountCall}, "done"},
            {"neither, with a word of the first", {{1, " one"}, {1, "two"}}, {unmountCall, umountCall}, "one"},
            {"neither, with a word of the second", {{1, "\n"}, {1, "two\n"}}, {unmountCall, umountCall}, "two"},
            {"neither", {{1, ""}, {1, ""}}, {unmountCall, umountCall}, "unmount failed"},
        },
        Disk::unmount, /*force=*/false);
    expectAll({{"with force",
                {{1, ""}, {0, ""}},
                {"diskutil [unmount] [force] [/Volumes/My USB]", "umount [-f] [/Volumes/My USB]"},
                "done"}},
              Disk::unmount, /*force=*/true);
}

TEST(DiskUtility, IsThatOfMacOSUnlessAnotherIsNamed) {
    EXPECT_EQ(DiskUtility::Programs().diskutil, "/usr/sbin/diskutil");
    EXPECT_EQ(DiskUtility::Programs().umount, "/sbin/umount");
}

TEST(DiskUtility, MayNotBeThere) {
    const TemporaryFolder folder;
    DiskUtility tools({folder.at("diskutil"), folder.at("umount")});
    EXPECT_EQ(tools.deviceIdentifier("/x"), std::nullopt);
    EXPECT_EQ(tools.eject("/x", /*force=*/false).status, -1);
    const std::string reason = runProgram(folder.at("diskutil"), {}).output;
    EXPECT_FALSE(reason.empty());
    EXPECT_EQ(said(Disk::eject("/x", /*force=*/false, tools)), reason);
    EXPECT_EQ(said(Disk::unmount("/x", /*force=*/true, tools)), reason);
}

TEST(DiskError, DescribesItselfByItsMessage) {
    EXPECT_EQ(DiskError("as it stands").description(), "as it stands");
}

}  // namespace
}  // namespace varnel
