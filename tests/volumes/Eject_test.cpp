// SPDX-License-Identifier: MIT
//
// The disk tools of Linux. What the test mounts is real and so are its devices; UDisks2 is one that does as the test
// says, for drives that no test machine has, and the real one for what it can do with a loop device.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/disk/Disk.h"
#include "core/disk/DiskError.h"
#include "core/disk/DiskTools.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Program.h"
#include "tests/support/SystemBus.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using nlohmann::json;
using tests::Finished;
using tests::LoopDevice;
using tests::Program;
using tests::RealUDisks;
using tests::SystemBus;
using tests::TemporaryFolder;
using Words = std::vector<std::string>;

constexpr const char* card = "/media/card";

std::string said(const std::expected<void, DiskError>& result) {
    return result ? "done" : result.error().message;
}

std::string eject(const std::string& path, bool force = false) {
    return said(Disk::eject(path, force));
}

bool isMounted(const std::string& place) {
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        if (line.find(' ' + place + ' ') != std::string::npos) return true;
    }
    return false;
}

/// One or two devices, the first of them mounted on /media/card, and a bus.
struct Bench {
    TemporaryFolder folder;
    LoopDevice first{folder.at("first")};
    LoopDevice second{folder.at("second")};
    std::unique_ptr<SystemBus> bus;

    /// UDisks2 with one drive and both devices on it; `changes` are merged into that.
    void startUDisks(const json& drive, const json& changes = json::object()) const {
        json parameters = {
            {"drives", {{"stick", drive}}},
            {"blocks",
             {{"disk", {{"number", first.number()}, {"drive", "stick"}}}, {"other", {{"number", second.number()}}}}},
            {"do", {{"Unmount disk", "umount " + first.path()}, {"Unmount other", "umount " + second.path()}}},
        };
        parameters.merge_patch(changes);
        bus->startUDisks(parameters);
    }
};

/// Runs `body` in a mount namespace of its own, with a bench.
void onBench(const std::function<void(const Bench&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (const std::string missing = SystemBus::missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    Bench bench;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/media");
        tests::shell("mkdir /media/card /media/more && mount " + bench.first.path() + " /media/card");
        bench.bus = std::make_unique<SystemBus>(bench.folder.path());
        body(bench);
        bench.bus.reset();
    }),
              0);
}

const json powersOff = {{"CanPowerOff", true}, {"Ejectable", false}};
const json ejects = {{"CanPowerOff", false}, {"Ejectable", true}};
const json doesBoth = {{"CanPowerOff", true}, {"Ejectable", true}};
const json doesNeither = {{"CanPowerOff", false}, {"Ejectable", false}};

TEST(Eject, PowersTheDriveOffIfItCanBeElseEjectsTheMedium) {
    const struct {
        json drive;
        std::string last;
    } cases[] = {{powersOff, "PowerOff stick"}, {ejects, "Eject stick"}, {doesBoth, "PowerOff stick"}};
    for (const auto& c : cases) {
        onBench([&](const Bench& bench) {
            bench.startUDisks(c.drive);
            EXPECT_EQ(eject(card), "done");
            EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", c.last}));
            EXPECT_FALSE(isMounted(card));
        });
    }
}

TEST(Eject, TakesAnyPathOnTheVolumeAndALinkToIt) {
    for (const std::string& path : Words{"/media/card/a/b", "/media/link/a", "/media/card/file"}) {
        onBench([&](const Bench& bench) {
            tests::shell("mkdir -p /media/card/a/b && touch /media/card/file && ln -s card /media/link");
            bench.startUDisks(powersOff);
            EXPECT_EQ(eject(path), "done") << path;
            EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "PowerOff stick"}));
        });
    }
}

TEST(Eject, EjectsTheMediumOfAReaderThatMustStayOn) {
    onBench([](const Bench& bench) {
        bench.startUDisks(doesBoth, {{"failures", {{"PowerOff stick", {"another slot is in use"}}}}});
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "PowerOff stick", "Eject stick"}));
    });
    onBench([](const Bench& bench) {
        bench.startUDisks(
            doesBoth,
            {{"failures", {{"PowerOff stick", {"another slot is in use", "still"}}, {"Eject stick", {"no", "no"}}}}});
        EXPECT_EQ(eject(card), "still") << "of two tries the last one's first word";
    });
}

TEST(Eject, UnmountsEverythingOnTheDriveFirst) {
    onBench([](const Bench& bench) {
        const json parts = {{"blocks",
                             {{"whole", {{"number", 1}, {"drive", "stick"}}},
                              {"disk", {{"table", "whole"}}},
                              {"other", {{"table", "whole"}, {"drive", "stick"}}}}}};
        tests::shell("mkdir /media/again && mount " + bench.second.path() +
                     " /media/more && mount --bind /media/more " + "/media/again");
        bench.startUDisks(powersOff, parts);
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Unmount other", "Unmount other", "PowerOff stick"}));
        for (const char* place : {card, "/media/more", "/media/again"})
            EXPECT_FALSE(isMounted(place)) << place;
    });
}

TEST(Eject, LocksWhatWasUnlocked) {
    onBench([](const Bench& bench) {
        // The mounted device stands for what the other one, a partition, becomes once unlocked.
        bench.startUDisks(powersOff, {{"blocks",
                                       {{"whole", {{"number", 1}, {"drive", "stick"}}},
                                        {"disk", {{"encrypted", "other"}, {"drive", nullptr}}},
                                        {"other", {{"table", "whole"}, {"drive", "stick"}}}}}});
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Lock other", "PowerOff stick"}));
    });
}

TEST(Eject, SaysWhyADriveStaysOnThoughTheUnlockedDeviceIsGone) {
    const struct {
        json failures;
        std::string said;
    } cases[] = {
        {{"one", "two"}, "two"},
        {{"one"}, "done"},
    };
    for (const auto& c : cases) {
        onBench([&](const Bench& bench) {
            // A device that is there from its unlocking to its locking, as those of encrypted disks are.
            const std::string unlocked = "/dev/shm/unlocked";
            tests::mountTmpfs("/dev/shm");
            tests::shell("umount /media/card && cp -a " + bench.first.path() + " " + unlocked + " && mount " +
                         unlocked + " /media/card");
            bench.startUDisks(powersOff,
                              {{"blocks",
                                {{"whole", {{"number", 1}, {"drive", "stick"}}},
                                 {"disk", {{"encrypted", "other"}, {"drive", nullptr}}},
                                 {"other", {{"table", "whole"}, {"drive", "stick"}}}}},
                               {"do", {{"Unmount disk", "umount /media/card"}, {"Lock other", "rm -f " + unlocked}}},
                               {"failures", {{"PowerOff stick", c.failures}}}});
            EXPECT_EQ(eject(card), c.said);
            EXPECT_EQ(bench.bus->calls(),
                      (Words{"Unmount disk", "Lock other", "PowerOff stick", "Lock other", "PowerOff stick"}));
        });
    }
}

TEST(Eject, LetsGoOfALoopDevice) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"blocks", {{"disk", {{"drive", nullptr}, {"isLoop", true}}}}},
                                      {"do", {{"Delete disk", "/sbin/losetup -d " + bench.first.path()}}}});
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Delete disk"}));
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(Eject, TakesALoopDeviceThatLetGoByItselfForEjected) {
    onBench([](const Bench& bench) {
        tests::shell("/sbin/losetup -d " + bench.first.path());  // in use as it is, it waits for its unmounting
        bench.startUDisks(powersOff, {{"blocks", {{"disk", {{"drive", nullptr}, {"isLoop", true}}}}}});
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), Words{"Unmount disk"});
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(Eject, LeavesTheNextDiskOfThatNameAlone) {
    if (!std::filesystem::exists("/sys/block/loop0/diskseq")) GTEST_SKIP() << "needs a kernel that numbers its disks";
    onBench([](const Bench& bench) {
        // The device lets go of its file once unmounted, and somebody has it hold another one at once.
        tests::shell("/sbin/losetup -d " + bench.first.path() + " && cp " + bench.folder.at("first") + " " +
                     bench.folder.at("next"));
        const std::string swapped =
            "umount " + bench.first.path() + " && " +
            tests::patiently("/sbin/losetup " + bench.first.path() + " " + bench.folder.at("next")) + " && mount " +
            bench.first.path() + " /media/more && /sbin/losetup -d " + bench.first.path();
        bench.startUDisks(powersOff, {{"blocks", {{"disk", {{"drive", nullptr}, {"isLoop", true}}}}},
                                      {"do", {{"Unmount disk", swapped}}}});
        EXPECT_EQ(eject(card), "done");
        EXPECT_EQ(bench.bus->calls(), Words{"Unmount disk"});
        EXPECT_TRUE(isMounted("/media/more"));
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(Eject, ForcesTheUnmountingIfAsked) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff);
        EXPECT_EQ(eject(card, /*force=*/true), "done");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk force", "PowerOff stick"}));
    });
}

TEST(Eject, TriesAgainAfterAnUnmountingOfItsOwn) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"failures", {{"Unmount disk", {"one", "two"}}}}});
        EXPECT_EQ(eject(card), "done") << "the program umount did it";
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Unmount disk", "PowerOff stick"}));
        EXPECT_FALSE(isMounted(card));
    });
}

TEST(Eject, SaysWhyAVolumeInUseStays) {
    onBench([](const Bench& bench) {
        const FileDescriptor user(::open("/media/card", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        bench.startUDisks(powersOff);
        const std::string why = eject(card);
        EXPECT_NE(why.find("target is busy"), std::string::npos) << why;
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Unmount disk"}));
        EXPECT_TRUE(isMounted(card));
    });
}

TEST(Eject, SaysWhyADriveStaysOn) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"failures", {{"PowerOff stick", {"one", "  two \n"}}}}});
        EXPECT_EQ(eject(card), "two");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "PowerOff stick", "PowerOff stick"}));
    });
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"failures", {{"PowerOff stick", {"one", ""}}}}});
        EXPECT_EQ(eject(card), "unmounted but could not detach " + bench.first.path());
    });
}

TEST(Eject, NeverGoesOnToTheVolumeAround) {
    onBench([](const Bench& bench) {
        tests::shell("umount /media/card && mount " + bench.second.path() + " /media/more && mkdir /media/more/in && " +
                     "mount " + bench.first.path() + " /media/more/in");
        bench.startUDisks(powersOff, {{"failures", {{"PowerOff stick", {"one", "two"}}}}});
        EXPECT_EQ(eject("/media/more/in"), "two");
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "PowerOff stick", "PowerOff stick"}));
        EXPECT_TRUE(isMounted("/media/more"));
    });
}

TEST(Eject, UnmountsNothingElseOfADriveThatStaysAnyway) {
    onBench([](const Bench& bench) {
        tests::shell("mount " + bench.second.path() + " /media/more");
        bench.startUDisks(doesNeither, {{"blocks",
                                         {{"whole", {{"number", 1}, {"drive", "stick"}}},
                                          {"disk", {{"table", "whole"}}},
                                          {"other", {{"table", "whole"}, {"drive", "stick"}}}}}});
        EXPECT_EQ(eject(card), bench.first.path() + " is on a drive that can neither be powered off nor ejected");
        EXPECT_EQ(bench.bus->calls(), Words{"Unmount disk"}) << "the volume itself, as was asked";
        EXPECT_TRUE(isMounted("/media/more"));
    });
}

TEST(Eject, LeavesADriveThatTheSystemUses) {
    onBench([](const Bench& bench) {
        tests::mountTmpfs("/opt");
        tests::shell("mkdir /opt/x && mount " + bench.second.path() + " /opt/x");
        bench.startUDisks(doesBoth, {{"blocks", {{"other", {{"drive", "stick"}}}}}});
        for (const bool force : {false, true}) {
            EXPECT_EQ(eject(card, force), bench.first.path() + " is on a drive that the system uses: /opt/x");
            for (const std::string& call : bench.bus->calls())
                EXPECT_TRUE(call.starts_with("Unmount disk")) << call;
            EXPECT_TRUE(isMounted("/opt/x"));
            tests::shell("mountpoint -q /media/card || mount " + bench.first.path() + " /media/card");
        }
    });
}

TEST(Eject, LeavesADriveThatTheSystemUsesInADeviceMadeOfIt) {
    // Where a logical volume, an array or a partition of one shows in the folder of the device below it.
    for (const std::string& place : Words{"holders/volume", "holders/array/holders/volume", "holders/array/arrayp1"}) {
        onBench([&](const Bench& bench) {
            const LoopDevice third(bench.folder.at("third"));
            const std::string made = bench.folder.at("third.sysfs/" + place);
            const std::string holders = "/sys/block/" + third.name() + "/holders";
            tests::mountTmpfs("/opt");
            tests::shell("mkdir /opt/x && mount " + bench.second.path() + " /opt/x && mkdir -p " + made +
                         " && cp /sys/block/" + bench.second.name() + "/dev " + made + " && touch " + made +
                         "/partition && mount --bind " + bench.folder.at("third.sysfs/holders") + " " + holders);
            bench.startUDisks(doesBoth, {{"blocks", {{"third", {{"number", third.number()}, {"drive", "stick"}}}}}});
            EXPECT_EQ(eject(card), bench.first.path() + " is on a drive that the system uses: /opt/x") << place;
            EXPECT_EQ(bench.bus->calls(), Words{"Unmount disk"}) << "the volume itself, as was asked";
            EXPECT_TRUE(isMounted("/opt/x"));
            tests::unmount(holders);
        });
    }
}

TEST(Eject, LeavesProtectedPlacesMounted) {
    onBench([](const Bench& bench) {
        tests::mountTmpfs("/opt");
        bench.startUDisks(doesBoth);
        for (const bool force : {false, true}) {
            EXPECT_EQ(eject("/opt", force), "/opt is a protected system path.");
            EXPECT_EQ(said(Disk::unmount("/opt", force)), "/opt is a protected system path.");
        }
        EXPECT_TRUE(isMounted("/opt"));
        EXPECT_EQ(bench.bus->calls(), Words{});
    });
}

TEST(Eject, LeavesTheRootAlone) {
    struct stat facts {};
    ASSERT_EQ(::stat("/", &facts), 0);
    onBench([&](const Bench& bench) {
        bench.startUDisks(doesBoth, {{"blocks", {{"disk", {{"number", facts.st_dev}}}}}});
        tests::shell("mkdir /media/bound && mount --bind " + bench.folder.folder("bound") + " /media/bound");
        // Without privileges, because the kernel would make "/" read-only for whoever may unmount it.
        EXPECT_EQ(tests::runUnprivileged([&] {
                      for (const std::string& path : Words{"/", "/home", bench.folder.path()}) {
                          EXPECT_NE(eject(path, /*force=*/true), "done") << path;
                          EXPECT_EQ(said(Disk::unmount(path, /*force=*/true)), "/ is a protected system path.") << path;
                      }
                  }),
                  0);
        EXPECT_NE(eject("/media/bound"), "done");
        EXPECT_EQ(bench.bus->calls(), Words{});
        EXPECT_TRUE(isMounted("/"));
    });
}

TEST(Eject, DetachesNothingThatIsStillMounted) {
    onBench([](const Bench& bench) {
        // A UDisks2 that sees other mounts than this process.
        bench.startUDisks(powersOff, {{"blocks", {{"disk", {{"drive", nullptr}, {"isLoop", true}}}}},
                                      {"do", {{"Unmount disk", "true"}}}});
        FileDescriptor user(::open("/media/card", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_EQ(eject(card), bench.first.path() + " is still mounted: /media/card");
        EXPECT_TRUE(isMounted(card));
        EXPECT_EQ(bench.bus->calls(), (Words{"Unmount disk", "Unmount disk"}));
        user.reset();
        EXPECT_EQ(eject(card), "done") << "by the program umount";
        EXPECT_EQ(bench.bus->calls().back(), "Delete disk");
    });
}

TEST(Eject, SaysWhenUDisks2DoesNotKnowTheDevice) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"blocks", {{"disk", nullptr}}}});
        EXPECT_EQ(eject(card), "UDisks2 does not know " + bench.first.path());
        EXPECT_FALSE(isMounted(card)) << "the program umount needs nobody";
    });
}

TEST(Eject, SaysWhenTheAnswerCannotBeRead) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff, {{"answer", "nonsense"}});
        EXPECT_EQ(eject(card), "UDisks2 gave an answer that cannot be read");
    });
}

TEST(Eject, AnswersLikeAMissingProgramWithoutUDisks2) {
    onBench([](const Bench& bench) {
        const auto tools = DiskTools::ofSystem();
        EXPECT_EQ(tools->deviceIdentifier(card), bench.first.path()) << "that is in the mount table";
        for (const ProgramResult& result :
             {tools->eject(bench.first.path(), /*force=*/false), tools->unmount(card, /*force=*/false)}) {
            EXPECT_EQ(result.status, -1);
            EXPECT_TRUE(result.output.starts_with("UDisks2 cannot be reached: The name org.freedesktop.UDisks2"))
                << result.output;
        }
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
        EXPECT_EQ(tools->eject(bench.first.path(), /*force=*/false).status, -1);
        EXPECT_EQ(tools->eject(bench.first.path(), /*force=*/false).output,
                  "UDisks2 cannot be reached: No such file or directory");
        EXPECT_EQ(eject(card), "UDisks2 cannot be reached: No such file or directory");
        tests::shell("mount " + bench.first.path() + " /media/card");
        EXPECT_EQ(said(Disk::unmount(card, /*force=*/false)), "done") << "by the program umount";
        EXPECT_FALSE(isMounted(card));
    });
}

TEST(Eject, SetsNoTimeLimit) {
    onBench([](const Bench& bench) {
        ::setenv("SYSTEMD_BUS_TIMEOUT", "200ms", 1);
        bench.startUDisks(powersOff, {{"do", {{"PowerOff stick", "sleep 1"}}}});
        EXPECT_EQ(eject(card), "done");
    });
}

TEST(Eject, UnmountsWhatHasNoDevice) {
    onBench([](const Bench& bench) {
        tests::mountTmpfs("/media/more");
        EXPECT_EQ(eject("/media/more"), "done");
        EXPECT_FALSE(isMounted("/media/more"));
        tests::mountTmpfs("/media/more");
        const std::string inside = "/media/more/a";
        tests::shell("mkdir " + inside);
        EXPECT_EQ(eject(inside), "done");
        EXPECT_FALSE(isMounted("/media/more"));
        tests::mountTmpfs("/media/more");
        const FileDescriptor user(::open("/media/more", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        EXPECT_EQ(eject("/media/more"), "umount: /media/more: target is busy.");
        EXPECT_TRUE(isMounted("/media/more"));
        EXPECT_EQ(bench.bus->calls(), Words{});
    });
}

TEST(Eject, SaysWhenThereIsNoSuchPath) {
    onBench([](const Bench&) { EXPECT_EQ(eject("/media/nowhere"), "No such file or directory"); });
}

TEST(Unmount, LeavesTheDriveOn) {
    onBench([](const Bench& bench) {
        bench.startUDisks(powersOff);
        EXPECT_EQ(said(Disk::unmount(card, /*force=*/false)), "done");
        EXPECT_EQ(bench.bus->calls(), Words{"Unmount disk"});
        EXPECT_FALSE(isMounted(card));
    });
}

TEST(Unmount, TakesThePlaceThatWasNamedAndNoOther) {
    onBench([](const Bench& bench) {
        tests::shell("mount " + bench.first.path() + " /media/more");
        bench.startUDisks(powersOff);
        EXPECT_EQ(said(Disk::unmount("/media/more", /*force=*/false)), "done");
        EXPECT_EQ(bench.bus->calls(), Words{}) << "UDisks2 might choose the other";
        EXPECT_TRUE(isMounted(card));
        EXPECT_FALSE(isMounted("/media/more"));
    });
}

/// The real UDisks2 with the first device mounted on /media/card, and the tool.
void onRealDevice(const std::function<void(const Bench&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    if (const std::string missing = RealUDisks::missing(); !missing.empty()) GTEST_SKIP() << "needs " << missing;
    const Bench bench;
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs("/media");
        const RealUDisks udisks(bench.folder.path());
        RealUDisks::add(bench.first);
        tests::shell("mkdir /media/card && mount " + bench.first.path() + " /media/card");
        ASSERT_TRUE(RealUDisks::knowsMount(bench.first.path(), card));
        body(bench);
    }),
              0);
}

TEST(EjectForReal, LetsGoOfALoopDevice) {
    onRealDevice([](const Bench& bench) {
        EXPECT_EQ(eject(card), "done");
        EXPECT_FALSE(isMounted(card));
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(EjectForReal, UnmountsTheOtherPartitionsFirst) {
    onRealDevice([](const Bench& bench) {
        if (!tests::hasProgram("sfdisk")) GTEST_SKIP() << "needs the program sfdisk";
        // A kernel that cannot read such tables itself is told what is in it.
        tests::shell("umount /media/card && printf 'size=6M\\nsize=6M\\n' | /sbin/sfdisk -q --no-reread " +
                     bench.first.path() + " && partx -a " + bench.first.path() + "; true");
        RealUDisks::add(bench.first);
        const std::string one = bench.first.path() + "p1";
        const std::string two = bench.first.path() + "p2";
        if (!std::filesystem::exists(two)) GTEST_SKIP() << "this kernel knows no partitions";
        tests::shell("mkdir /media/more && for P in " + one + " " + two +
                     "; do /sbin/mkfs.ext4 -q -F $P || exit; done");
        RealUDisks::add(bench.first);
        tests::shell("mount " + one + " /media/card && mount " + two + " /media/more");
        ASSERT_TRUE(RealUDisks::knowsMount(one, card) && RealUDisks::knowsMount(two, "/media/more"));
        EXPECT_EQ(eject(card), "done");
        EXPECT_FALSE(isMounted(card) || isMounted("/media/more"));
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(EjectForReal, SaysWhyAVolumeInUseStays) {
    onRealDevice([](const Bench& bench) {
        FileDescriptor user(::open("/media/card", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const std::string why = eject(card);
        EXPECT_NE(why.find("target is busy"), std::string::npos) << why;
        EXPECT_TRUE(isMounted(card));
        EXPECT_TRUE(bench.first.isAttached());
        user.reset();
        EXPECT_EQ(eject(card), "done");
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(EjectForReal, NeedsTheRightTo) {
    onRealDevice([](const Bench& bench) {
        EXPECT_EQ(tests::runUnprivileged([] {
                      const std::string why = eject(card);
                      EXPECT_NE(why.find("Not authorized"), std::string::npos) << why;
                  }),
                  0);
        EXPECT_TRUE(isMounted(card));
        EXPECT_TRUE(bench.first.isAttached());
    });
}

/// Runs the tool in a folder in which the test itself is not.
std::string runIn(const std::string& folder, const Bench& bench, const std::string& words) {
    const std::string out = bench.folder.at("out");
    tests::shell("cd " + folder + " && HOME=" + bench.folder.folder("home") + " exec " VARNEL_PROGRAM " " + words +
                 " >" + out + " 2>&1");
    return bench.folder.contents("out");
}

TEST(EjectCommand, EjectsTheVolumeOfAnyPathOnIt) {
    for (const std::string& path : Words{"/media/card", "/media/card/", "/media/card/in/file", "/media/link"}) {
        onRealDevice([&](const Bench& bench) {
            tests::shell("mkdir /media/card/in && touch /media/card/in/file && ln -s card/in /media/link");
            const Finished done = Program(bench.folder.folder("home")).run({"eject", path});
            EXPECT_EQ(done.out, "ejected /media/card\n");
            EXPECT_EQ(done.errors, "");
            EXPECT_EQ(done.status, 0);
            EXPECT_TRUE(bench.first.isFreed()) << path;
        });
    }
}

TEST(EjectCommand, MayBeGivenInsideTheVolume) {
    onRealDevice([](const Bench& bench) {
        tests::shell("mkdir /media/card/in");
        EXPECT_EQ(runIn("/media/card/in", bench, "eject ."), "ejected /media/card\n");
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(EjectCommand, SaysWhyNot) {
    onRealDevice([](const Bench& bench) {
        const Program varnel(bench.folder.folder("home"));
        const FileDescriptor user(::open("/media/card", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const Finished busy = varnel.run({"eject", card});
        EXPECT_EQ(busy.status, 1);
        EXPECT_EQ(busy.out, "");
        EXPECT_TRUE(busy.errors.starts_with("varnel: /media/card: eject failed: Error unmounting")) << busy.errors;
        EXPECT_TRUE(busy.errors.ends_with("target is busy\n")) << busy.errors;
        EXPECT_TRUE(isMounted(card));

        const Finished missing = varnel.run({"eject", "/media/nowhere"});
        EXPECT_EQ(missing.status, 1);
        EXPECT_EQ(missing.errors, "varnel: /media/nowhere: No such file or directory\n");

        const Finished system = varnel.run({"eject", bench.folder.path()});
        EXPECT_EQ(system.status, 3);
        EXPECT_EQ(system.errors,
                  "varnel: " + bench.folder.path() + " is on the volume /, which the system uses and nobody ejects.\n");
    });
}

/// Puts litter on the card, at two places.
void litter() {
    tests::shell(
        "mkdir -p /media/card/a /media/card/b/__MACOSX && cd /media/card && "
        "echo x | tee a/._x b/._y b/.DS_Store b/__MACOSX/z keep >/dev/null");
}

TEST(CleanAndEject, CleansEveryPathAndThenEjectsTheVolumeOnce) {
    onRealDevice([](const Bench& bench) {
        litter();
        const Finished done = Program(bench.folder.folder("home"))
                                  .run({"clean", "--yes", "--eject", "--samples", "0", "/media/card/a", "/media/card/b",
                                        "/media/card/b/.."});
        EXPECT_EQ(done.errors, "");
        EXPECT_EQ(done.status, 0);
        EXPECT_TRUE(done.out.ends_with("\nejected /media/card\n")) << done.out;
        EXPECT_EQ(done.out.find("ejected"), done.out.rfind("ejected"));
        EXPECT_TRUE(bench.first.isFreed());
        // Read from the image itself, for the device may be somebody else's by now.
        const std::string listed = bench.folder.at("listed");
        tests::shell("for F in / /a /b; do /sbin/debugfs -R \"ls -p $F\" " + bench.folder.at("first") + "; done >" +
                     listed + " 2>/dev/null");
        const std::string names = bench.folder.contents("listed");
        EXPECT_NE(names.find("/keep/"), std::string::npos) << names;
        for (const char* name : {"/._x/", "/._y/", "/.DS_Store/", "/__MACOSX/"})
            EXPECT_EQ(names.find(name), std::string::npos) << names;
    });
}

TEST(CleanAndEject, EjectsWhatWasCleanBefore) {
    onRealDevice([](const Bench& bench) {
        const std::string out = runIn("/media/card", bench, "clean --yes --eject --json .");
        EXPECT_TRUE(out.ends_with("{\"volume\":\"/media/card\",\"ejected\":true,\"error\":\"\"}\n")) << out;
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(CleanAndEject, ReportsACleanWhoseVolumeStays) {
    onRealDevice([](const Bench& bench) {
        litter();
        const FileDescriptor user(::open("/media/card", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const Finished done = Program(bench.folder.folder("home")).run({"clean", "--yes", "--eject", "--json", card});
        EXPECT_EQ(done.status, 1);
        const std::size_t second = done.out.find('\n') + 1;
        EXPECT_EQ(json::parse(done.out.substr(0, second))["removed"].get<int>(), 4);
        const json ejected = json::parse(done.out.substr(second));
        EXPECT_EQ(ejected["volume"].get<std::string>(), card);
        EXPECT_FALSE(ejected["ejected"].get<bool>());
        EXPECT_TRUE(ejected["error"].get<std::string>().ends_with("target is busy"));
        EXPECT_FALSE(std::filesystem::exists("/media/card/a/._x"));
    });
}

TEST(CleanAndEject, EjectsAVolumeWhereSomethingCouldNotBeRemoved) {
    onRealDevice([](const Bench& bench) {
        if (!tests::hasProgram("chattr")) GTEST_SKIP() << "needs the program chattr";
        litter();
        tests::shell("chattr +i /media/card/a/._x");
        const Finished done = Program(bench.folder.folder("home")).run({"clean", "--yes", "--eject", card});
        EXPECT_EQ(done.status, 1);
        EXPECT_NE(done.errors.find("/media/card/a/._x — "), std::string::npos) << done.errors;
        EXPECT_TRUE(done.out.ends_with("\nejected /media/card\n")) << done.out;
        EXPECT_TRUE(bench.first.isFreed());
    });
}

TEST(CleanAndEject, EjectsNothingThatWasNotCleaned) {
    onRealDevice([](const Bench& bench) {
        litter();
        const Program varnel(bench.folder.folder("home"));
        const Finished dry = varnel.run({"clean", "--dry-run", "--eject", card});
        EXPECT_EQ(dry.status, 0);
        EXPECT_EQ(dry.errors, "varnel: would eject /media/card\n");
        const Finished declined =
            varnel.runOnTerminal({"clean", "--eject", card}, {{tests::shows("Clean? [y/N] "), "n\n"}});
        EXPECT_EQ(declined.status, 1);
        const Finished interrupted =
            varnel.runOnTerminal({"clean", "--eject", card}, {{tests::shows("Clean? [y/N] "), "\x03"}});
        EXPECT_EQ(interrupted.status, 130);
        EXPECT_TRUE(isMounted(card));
        EXPECT_TRUE(bench.first.isAttached());
        EXPECT_TRUE(std::filesystem::exists("/media/card/a/._x"));
    });
}

TEST(CleanAndEject, EjectsNoOtherVolumeThatTookThePlace) {
    onRealDevice([](const Bench& bench) {
        litter();
        RealUDisks::add(bench.second);
        const auto swapped = [&](const std::string& shown) {
            if (shown.find("Clean? [y/N] ") == std::string::npos) return false;
            tests::shell("umount /media/card && mount " + bench.second.path() + " /media/card");
            return true;
        };
        const Finished done =
            Program(bench.folder.folder("home")).runOnTerminal({"clean", "--eject", card}, {{swapped, "y\n"}});
        EXPECT_EQ(done.status, 1);
        EXPECT_NE(done.out.find("varnel: /media/card: eject failed: it is not mounted any more"), std::string::npos)
            << done.out;
        EXPECT_TRUE(isMounted(card));
        EXPECT_TRUE(bench.second.isAttached());
    });
}

TEST(CleanAndEject, RefusesBeforeItCleansWhatIsNeverEjected) {
    const TemporaryFolder folder;
    folder.file("v/._x");
    const Finished done = Program(folder.folder("home")).run({"clean", "--yes", "--eject", "--json", folder.at("v")});
    EXPECT_EQ(done.status, 3);
    EXPECT_NE(done.errors.find("which the system uses and nobody ejects."), std::string::npos) << done.errors;
    EXPECT_EQ(json::parse(done.out)["failures"].size(), 1U);
    EXPECT_TRUE(folder.has("v/._x"));
}

}  // namespace
}  // namespace varnel
