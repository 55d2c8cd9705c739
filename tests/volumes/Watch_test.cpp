// SPDX-License-Identifier: MIT
//
// The live watcher as a person or a service runs it, on real volumes: litter that appears goes, and nothing else does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "tests/support/DiskImage.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Program.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using tests::comesTrue;
using tests::Finished;
using tests::Manifest;
using tests::Program;
using tests::RunningProgram;
using tests::TemporaryFolder;
using Words = std::vector<std::string>;

/// A folder with a home and a folder "v" to watch.
struct Place {
    TemporaryFolder folder;
    std::string home = folder.folder("home");
    std::string root = folder.folder("v");

    bool isGone(const std::string& below) const {
        return comesTrue([&] { return !folder.has("v/" + below); });
    }
};

void privately(const std::function<void(const Place&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([&] {
        const Place place;
        body(place);
    }),
              0);
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++found;
    return found;
}

TEST(Watch, RemovesWhatAppearsInTheNamedFoldersAndNothingElse) {
    const Place place;
    place.folder.file("v/old/._before");
    place.folder.file("v/keep");
    place.folder.file("beside/._x");
    tests::shell("touch -d '1 hour ago' '" + place.root + "/old' '" + place.root + "'");
    const Manifest beside = Manifest::of(place.folder.at("beside"));
    for (const int signal : {SIGINT, SIGTERM}) {
        RunningProgram watch(place.home, {"watch", place.root});
        ASSERT_TRUE(watch.says("WATCH started latency=0.25s volumes=1"));
        for (const char* name : {"v/._a", "v/new/deep/.DS_Store", "v/new/._Font.ttf", "v/new/letter", "v/.Trashes/x"})
            place.folder.file(name);
        // Made elsewhere, because it would be gone before anything could be put into it.
        place.folder.file("made/__MACOSX/in/x");
        std::filesystem::rename(place.folder.at("made/__MACOSX"), place.folder.at("v/__MACOSX"));
        for (const char* name : {"._a", "new/deep/.DS_Store", "__MACOSX"})
            EXPECT_TRUE(place.isGone(name)) << name;
        EXPECT_TRUE(watch.says("WATCH appledouble  " + place.root + "/._a\n"));
        EXPECT_TRUE(watch.says("WATCH dsstore  " + place.root + "/new/deep/.DS_Store\n"));
        EXPECT_EQ(watch.end(signal), 0);
        EXPECT_NE(watch.out().find("WATCH stopped\n"), std::string::npos);
        EXPECT_EQ(watch.errors(), "");
        for (const char* name : {"v/new/._Font.ttf", "v/new/letter", "v/.Trashes/x", "v/keep", "v/old/._before"})
            EXPECT_TRUE(place.folder.has(name)) << name;
    }
    EXPECT_ONLY_GONE(beside, Manifest::of(place.folder.at("beside")), {});
    // What is printed is what the log holds.
    EXPECT_NE(place.folder.contents("home/Library/Logs/Varnel/varnel.log").find("WATCH dsstore  "), std::string::npos);
}

TEST(Watch, SweepsFirstWhenAsked) {
    const Place place;
    for (const char* name : {"v/._a", "v/b/.DS_Store", "v/b/keep", "v/.Trashes/x"})
        place.folder.file(name);
    // What is seen to have changed a moment ago may be taken for an event, and then is gone before the sweep.
    tests::shell("find '" + place.root + "' -exec touch -d '1 hour ago' {} +");
    const Manifest before = Manifest::of(place.root);
    RunningProgram watch(place.home, {"watch", "--sweep-first", place.root});
    EXPECT_TRUE(watch.says("SWEEP " + place.root + " removed 2 items, 2 bytes\n"));
    EXPECT_EQ(watch.end(SIGTERM), 0);
    EXPECT_ONLY_GONE(before, Manifest::of(place.root), {"._a", "b/.DS_Store"});
}

TEST(Watch, FollowsTheVolumesThatComeAndGo) {
    privately([](const Place& place) {
        if (const auto missing = tests::diskKind("exfat").missing(); !missing.empty()) {
            GTEST_SKIP() << "needs " << missing;
        }
        tests::shell("mount -t tmpfs media /media && mkdir -p /media/card /media/mac");
        RunningProgram watch(place.home, {"watch"});
        ASSERT_TRUE(watch.says("WATCH started latency=0.25s volumes=0"));
        for (int round = 0; round < 4; ++round) {
            const auto& card = tests::diskKind("exfat");
            if (round == 0) {
                tests::mountDisk(card, place.folder.at("image"), "/media/card");
            } else {
                tests::mountAgain(card, place.folder.at("image"), "/media/card");
            }
            tests::shell("cd /media/card && echo x >._" + std::to_string(round) + " && mkdir -p DCIM/100 && echo x " +
                         ">DCIM/100/.DS_Store && echo x >keep" + std::to_string(round));
            EXPECT_TRUE(comesTrue([&] {
                return !std::filesystem::exists("/media/card/._" + std::to_string(round)) &&
                       !std::filesystem::exists("/media/card/DCIM/100/.DS_Store");
            })) << round;
            EXPECT_TRUE(std::filesystem::exists("/media/card/keep" + std::to_string(round)));
            tests::unmountDisk("/media/card");
        }
        if (tests::hasProgram("bindfs")) {
            tests::shell("mkdir '" + place.folder.at("from") + "' && bindfs -o subtype=apfs '" +
                         place.folder.at("from") + "' /media/mac && touch /media/mac/._x /media/card/._under");
            tests::shell("mount -t tmpfs last /media/card && touch /media/card/._last");
            EXPECT_TRUE(comesTrue([] { return !std::filesystem::exists("/media/card/._last"); }));
            EXPECT_TRUE(std::filesystem::exists("/media/mac/._x")) << "a Mac's own disk keeps what the Mac made";
            tests::shell("umount /media/mac /media/card");
            EXPECT_TRUE(std::filesystem::exists("/media/card/._under"));
        }
        EXPECT_EQ(watch.end(SIGINT), 0);
        EXPECT_EQ(watch.errors(), "");
        tests::shell("umount /media");
    });
}

TEST(Watch, LeavesAMacsDiskAloneThatTakesTheNamedFoldersPlace) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
    privately([](const Place& place) {
        tests::mountTmpfs(place.root);
        RunningProgram watch(place.home, {"watch", place.root, place.folder.folder("beside")});
        ASSERT_TRUE(watch.says("WATCH started latency=0.25s volumes=2"));
        tests::unmountDisk(place.root);  // the watcher may still be looking at it
        tests::shell("mkdir '" + place.folder.at("from") + "' && bindfs -o subtype=apfs '" + place.folder.at("from") +
                     "' '" + place.root + "'");
        EXPECT_TRUE(watch.complains("is on a apfs volume, a Mac format; such volumes are not watched."));
        place.folder.file("v/._mac");
        place.folder.file("beside/._x");
        EXPECT_TRUE(comesTrue([&] { return !place.folder.has("beside/._x"); }));
        tests::unmountDisk(place.root);
        EXPECT_EQ(watch.end(SIGINT), 0);
        EXPECT_TRUE(place.folder.has("from/._mac"));
    });
}

TEST(Watch, LeavesTheFolderAloneThatANamedVolumeLeavesBehind) {
    privately([](const Place& place) {
        tests::mountTmpfs(place.root);
        RunningProgram watch(place.home, {"watch", place.root, place.folder.folder("beside")});
        ASSERT_TRUE(watch.says("WATCH started latency=0.25s volumes=2"));
        tests::unmountDisk(place.root);
        EXPECT_TRUE(watch.complains(place.root + " is not there; it is watched again once something is mounted there"));
        place.folder.file("v/._left");
        place.folder.file("beside/._x");
        EXPECT_TRUE(comesTrue([&] { return !place.folder.has("beside/._x"); }));
        EXPECT_TRUE(place.folder.has("v/._left"));
        tests::mountTmpfs(place.root);
        // How soon the new volume is watched is the kernel's affair; what came before that is found all the same.
        place.folder.file("v/._new");
        EXPECT_TRUE(place.isGone("._new"));
        tests::unmountDisk(place.root);
        EXPECT_EQ(watch.end(SIGINT), 0);
        EXPECT_TRUE(place.folder.has("v/._left"));
    });
}

TEST(Watch, GivesUpOnAFileThatIsMadeAgainAndAgain) {
    const Place place;
    RunningProgram watch(place.home, {"watch", place.root});
    ASSERT_TRUE(watch.says("WATCH started"));
    for (int attempt = 1; attempt <= 5; ++attempt) {
        place.folder.file("v/.DS_Store");
        EXPECT_TRUE(place.isGone(".DS_Store")) << attempt;
    }
    place.folder.file("v/.DS_Store");
    EXPECT_TRUE(watch.says("SUPPRESS loop guard " + place.root + "/.DS_Store\n"));
    place.folder.file("v/.DS_Store", "and again");
    place.folder.file("v/._end");
    EXPECT_TRUE(place.isGone("._end"));
    EXPECT_TRUE(place.folder.has("v/.DS_Store"));
    EXPECT_EQ(watch.end(SIGINT), 0);
    EXPECT_EQ(count(watch.out(), "SUPPRESS"), 1U);
    EXPECT_EQ(count(watch.out(), "WATCH dsstore"), 5U);
}

TEST(Watch, EndsTheRaceWithAProgramThatNeverStops) {
    const Place place;
    RunningProgram watch(place.home, {"watch", place.root});
    ASSERT_TRUE(watch.says("WATCH started"));
    const std::string file = place.folder.at("v/.DS_Store");
    const pid_t writer = ::fork();
    if (writer == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            const FileDescriptor again(::open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644));
            ::usleep(200);
        }
    }
    EXPECT_TRUE(watch.says("SUPPRESS loop guard " + file + "\n"));
    // What else appears goes as before, and the file is not touched again although it is written to.
    for (int i = 0; i < 3; ++i) {
        std::ofstream(file, std::ios::app) << "more";
        place.folder.file("v/._" + std::to_string(i));
        EXPECT_TRUE(place.isGone("._" + std::to_string(i)));
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    EXPECT_EQ(place.folder.contents("v/.DS_Store"), "moremoremore");
    EXPECT_EQ(watch.end(SIGTERM), 0);
    EXPECT_EQ(count(watch.out(), "SUPPRESS"), 1U);
    EXPECT_EQ(count(watch.out(), "WATCH dsstore"), 5U);
}

/// Four processes write 25 000 litter files each among files to keep.
void storm(const TemporaryFolder& folder, const std::string& below) {
    constexpr int files = 25000;
    std::vector<pid_t> writers;
    for (int writer = 0; writer < 4; ++writer) {
        const std::string own = folder.folder(below + "/" + std::to_string(writer));
        const pid_t process = ::fork();
        if (process == 0) {
            const FileDescriptor top(::open(own.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            for (int i = 0; i < files; ++i) {
                const std::string box = std::to_string(i / 500);
                if (i % 500 == 0) ::mkdirat(top.get(), box.c_str(), 0755);
                const std::string name = box + (i % 100 == 0 ? "/keep" : "/._") + std::to_string(i);
                ::close(::openat(top.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
                if (i % 100 == 0) {
                    const std::string litter = box + "/._" + std::to_string(i);
                    ::close(::openat(top.get(), litter.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
                }
            }
            ::_exit(0);
        }
        writers.push_back(process);
    }
    for (const pid_t writer : writers)
        ::waitpid(writer, nullptr, 0);
}

/// How many files of litter and how many others lie below.
std::pair<int, int> census(const std::string& root) {
    std::pair<int, int> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_directory()) continue;
        ++(entry.path().filename().string().starts_with("._") ? found.first : found.second);
    }
    return found;
}

TEST(WatchStorm, LeavesNothingAndTakesNothingElse) {
    privately([](const Place& place) {
        tests::shell("mount -t tmpfs m /mnt && mkdir /mnt/card && mount -t tmpfs card /mnt/card && mkdir '" +
                     place.root + "/share' && mount --bind /mnt/card '" + place.root + "'");
        for (const Words& words : {Words{"watch"}, Words{"watch", place.root}}) {
            RunningProgram watch(place.home, words);
            ASSERT_TRUE(watch.says("WATCH started"));
            storm(place.folder, "v");
            EXPECT_TRUE(comesTrue([&] { return census(place.root).first == 0; }, std::chrono::seconds(60)));
            EXPECT_EQ(census(place.root).second, 1000);
            EXPECT_EQ(watch.end(SIGINT), 0);
            EXPECT_EQ(watch.errors(), "");
            std::filesystem::remove_all(place.root + "/0");
            for (const char* writer : {"1", "2", "3"})
                std::filesystem::remove_all(place.root + "/" + writer);
        }
        tests::shell("umount '" + place.root + "' /mnt/card /mnt");
    });
}

TEST(Watch, IsReadyAtOnceHoweverManyFoldersThereAre) {
    privately([](const Place& place) {
        tests::shell("mount -t tmpfs m /mnt && mkdir /mnt/card && mount -t tmpfs card /mnt/card");
        for (int i = 0; i < 450; ++i) {
            const std::string box = "/mnt/card/" + std::to_string(i);
            ::mkdir(box.c_str(), 0755);
            for (int k = 0; k < 450; ++k)
                ::mkdir((box + "/" + std::to_string(k)).c_str(), 0755);
        }
        RunningProgram watch(place.home, {"watch"});
        ASSERT_TRUE(watch.says("WATCH started"));
        std::ofstream("/mnt/card/449/449/._x") << "x";
        EXPECT_TRUE(comesTrue([] { return !std::filesystem::exists("/mnt/card/449/449/._x"); }));
        EXPECT_EQ(watch.end(SIGINT), 0);
        tests::shell("umount /mnt/card /mnt");
    });
}

TEST(Watch, EndsInTheMiddleOfASweep) {
    const Place place;
    for (int i = 0; i < 100; ++i) {
        const std::string box = place.folder.folder("v/" + std::to_string(i));
        for (int k = 0; k < 100; ++k)
            ::close(::open((box + "/._" + std::to_string(k)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    }
    RunningProgram watch(place.home, {"watch", "--sweep-first", place.root});
    ASSERT_TRUE(watch.says("DEL   appledouble"));
    EXPECT_EQ(watch.end(SIGINT), 0);
    EXPECT_NE(watch.out().find("WATCH stopped"), std::string::npos);
}

TEST(Watch, OutlivesAVolumeThatVanishesDuringASweep) {
    privately([](const Place& place) {
        tests::shell(
            "mount -t tmpfs m /mnt && mkdir /mnt/one /mnt/two && mount -t tmpfs one /mnt/one && mount -t "
            "tmpfs two /mnt/two && cd /mnt/one && for i in $(seq 40); do mkdir $i; done");
        for (int i = 1; i <= 40; ++i) {
            for (int k = 0; k < 500; ++k) {
                std::ofstream("/mnt/one/" + std::to_string(i) + "/._" + std::to_string(k)) << "x";
            }
        }
        RunningProgram watch(place.home, {"watch", "--sweep-first"});
        ASSERT_TRUE(watch.says("DEL   appledouble"));
        tests::shell("umount -l /mnt/one; touch /mnt/two/._x");
        EXPECT_TRUE(comesTrue([] { return !std::filesystem::exists("/mnt/two/._x"); }));
        EXPECT_EQ(watch.end(SIGTERM), 0);
        tests::shell("umount /mnt/two /mnt");
    });
}

TEST(WatchBadInput, GetsAClearLineAndTheRestGoesOn) {
    const Place place;
    place.folder.file("file");
    place.folder.link("link", "v");
    const std::string missing = place.folder.at("missing");
    const std::string leftOut = "; left out until the watch is started anew\n";
    RunningProgram watch(
        place.home, {"watch", missing, "/usr/share", place.folder.at("file"), place.folder.at("link"), place.root});
    ASSERT_TRUE(watch.says("WATCH started latency=0.25s volumes=1"));
    EXPECT_EQ(watch.errors(), "varnel: " + missing + ": No such file or directory" + leftOut +
                                  "varnel: /usr/share is a protected system path.\n" +
                                  "varnel: " + place.folder.at("file") + ": is not a folder" + leftOut + "varnel: " +
                                  place.folder.at("link") + ": is a link; name the folder that it leads to" + leftOut);
    place.folder.file("v/._x");
    EXPECT_TRUE(place.isGone("._x"));
    EXPECT_EQ(watch.end(SIGINT), 3) << "what was refused is still told in the end";

    const Program varnel(place.home);
    const Finished none = varnel.run({"watch", missing, place.folder.at("file")});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "") << "nothing was watched";
    EXPECT_EQ(varnel.run({"watch", "/etc"}).status, 3);
    EXPECT_EQ(varnel.run({"watch", ""}).status, 2);
    for (const char* minutes : {"0", "-1", "x", "99999999"})
        EXPECT_EQ(varnel.run({"watch", "--sweep-every", minutes, place.root}).status, 2) << minutes;
}

TEST(WatchBadInput, NamesAMacFormatAndALiveShare) {
    privately([](const Place& place) {
        if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
        place.folder.folder("from");
        tests::shell("bindfs -o subtype=hfsplus '" + place.folder.at("from") + "' '" + place.root + "'");
        const Program varnel(place.home);
        const Finished mac = varnel.run({"watch", place.root});
        EXPECT_EQ(mac.status, 3);
        EXPECT_EQ(mac.errors,
                  "varnel: " + place.root + " is on a hfs volume, a Mac format; such volumes are not watched.\n");
        tests::shell("umount '" + place.root + "'");

        tests::shell(
            "mount -t tmpfs m /mnt && mkdir -p /mnt/up /mnt/work && mount -t overlay o -o "
            "lowerdir=/etc,upperdir=/mnt/up,workdir=/mnt/work /etc && mkdir -p /etc/samba && printf "
            "'[s]\\npath=" +
            place.root + "\\nvfs objects=fruit\\n' >/etc/samba/smb.conf");
        const Finished shared = varnel.run({"watch", place.root});
        EXPECT_EQ(shared.status, 3);
        EXPECT_EQ(shared.errors, "varnel: " + place.root +
                                     " is shared by a file server that keeps live data in ._ files "
                                     "(/etc/samba/smb.conf: [s]); --allow-live-forks watches it all the same.\n");
        RunningProgram allowed(place.home, {"watch", "--allow-live-forks", place.root});
        EXPECT_TRUE(allowed.says("WATCH started"));
        EXPECT_EQ(allowed.end(SIGINT), 0);
    });
}

TEST(Watch, HoldsNothingOfTheVolumeAndSleepsWhileNothingHappens) {
    if (tests::hasThreadSanitizer) GTEST_SKIP() << "needs a process without the thread sanitizer's own thread";
    privately([](const Place& place) {
        tests::shell("mount -t tmpfs m /mnt && mkdir /mnt/card && mount -t tmpfs card /mnt/card");
        RunningProgram watch(place.home, {"watch"});
        ASSERT_TRUE(watch.says("WATCH started"));
        std::ofstream("/mnt/card/._x") << "x";
        ASSERT_TRUE(watch.says("WATCH appledouble"));
        // Every change of the processor between threads counts, so a thread that wakes up shows.
        const auto wakeUps = [&watch] {
            long all = 0;
            for (const pid_t process : {watch.process(), watch.worker()}) {
                const std::string tasks = "/proc/" + std::to_string(process) + "/task";
                for (const auto& task : std::filesystem::directory_iterator(tasks)) {
                    std::ifstream status(task.path() / "status");
                    for (std::string word; status >> word;) {
                        long switches = 0;
                        if (word == "voluntary_ctxt_switches:" && status >> switches) all += switches;
                    }
                }
            }
            return all;
        };
        long before = 0;
        EXPECT_TRUE(comesTrue([&] {
            before = wakeUps();
            ::usleep(1000 * 1000);
            return wakeUps() == before;
        })) << "the process never came to rest";
        ::usleep(1500 * 1000);
        EXPECT_EQ(wakeUps(), before);
        tests::shell("umount /mnt/card");
        EXPECT_EQ(watch.end(SIGINT), 0);
        tests::shell("umount /mnt");
    });
}

}  // namespace
}  // namespace varnel
