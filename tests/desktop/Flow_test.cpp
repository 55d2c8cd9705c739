// SPDX-License-Identifier: MIT
//
// The application as a person meets it: the real program in a session of its own, its menu read and clicked over
// D-Bus, its windows read as a screen reader reads them, and answered with keys and the mouse.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/desktop/DesktopRig.h"
#include "tests/support/Daemon.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel::tests {
namespace {

namespace fs = std::filesystem;

/// A volume with litter and files that are none, at /media/NAME.
class Stick {
public:
    explicit Stick(const std::string& name) : place_("/media/" + name) {
        fs::create_directories(place_);
        mountTmpfs(place_);
    }

    void put(const std::string& below, const std::string& contents = "x") const {
        const fs::path path = place_ + "/" + below;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << contents;
    }
    void putLitter() const {
        put("DCIM/DSC1.JPG", "photo");
        put("DCIM/._DSC1.JPG", "litter");
        put(".DS_Store", "litter");
        put("Fonts/._Face.ttf", "font");
    }
    bool has(const std::string& below) const { return fs::exists(place_ + "/" + below); }
    bool hasLitter() const { return has("DCIM/._DSC1.JPG") || has(".DS_Store"); }
    bool isWhole() const { return has("DCIM/DSC1.JPG") && has("Fonts/._Face.ttf"); }
    const std::string& place() const { return place_; }
    std::string title() const { return fs::path(place_).filename().string() + " — tmpfs, local"; }

private:
    std::string place_;
};

/// A session in which the watcher is off, so that litter waits for a person.
DesktopRig::Options withoutWatcher() {
    DesktopRig::Options options;
    options.prepare = [](const DesktopSession& session) {
        session.folder().file("home/.config/varnel/varnel.conf", "[General]\nwatcherEnabled=false\n");
    };
    return options;
}

TEST(DesktopMenu, ListsEveryEntryWithItsMarks) {
    onDesktop([] {
        const Stick stick("A&B_C");
        const Stick other("OTHER");
        DesktopRig rig;
        EXPECT_EQ(rig.bar->open().text(),
                  "Varnel (disabled)\n"
                  "Watcher removed 0 items this session (disabled)\n"
                  "---\n"
                  "A&B__C — tmpfs, local\n"
                  "  Scan…\n"
                  "  Clean…\n"
                  "OTHER — tmpfs, local\n"
                  "  Scan…\n"
                  "  Clean…\n"
                  "---\n"
                  "Clean Folder…\n"
                  "Sweep All Volumes…\n"
                  "---\n"
                  "[x] Watcher: On\n"
                  "[ ] Open at Login\n"
                  "Show Log\n"
                  "---\n"
                  "Quit Varnel\n");
    });
}

TEST(DesktopMenu, FollowsVolumesFromOpeningToOpening) {
    onDesktop([] {
        DesktopRig rig;
        const std::string before = rig.bar->open().text();
        EXPECT_NE(before.find("No non-Mac volumes mounted (disabled)\n"), std::string::npos) << before;
        rig.bar->open();
        EXPECT_FALSE(rig.bar->saidChanged());

        const Stick stick("LATER");
        EXPECT_EQ(rig.bar->layout().text(), before);  // nobody opened it yet
        const std::string after = rig.bar->open().text();
        EXPECT_TRUE(rig.bar->saidChanged());
        EXPECT_TRUE(happens([&] { return rig.bar->shapeSignals() > 0; }));
        EXPECT_NE(after.find("LATER — tmpfs, local\n  Scan…\n"), std::string::npos) << after;
        EXPECT_EQ(after.find("No non-Mac volumes mounted"), std::string::npos) << after;
    });
}

TEST(DesktopMenu, OffersToEjectWhatIsReachedThroughANetwork) {
    if (!hasProgram("bindfs")) GTEST_SKIP() << "this machine has no bindfs";
    onDesktop([] {
        const TemporaryFolder share;
        fs::create_directories("/media/SHARE");
        shell("bindfs -o subtype=sshfs '" + share.path() + "' /media/SHARE");
        DesktopRig rig;
        const std::string text = rig.bar->open().text();
        EXPECT_NE(text.find("SHARE — fuse.sshfs, network\n  Scan…\n  Clean…\n  Clean & Eject\n"), std::string::npos)
            << text;
    });
}

TEST(DesktopMenu, CountsWhatTheWatcherRemoved) {
    onDesktop([] {
        const Stick stick("STICK");
        DesktopRig rig;
        ASSERT_TRUE(rig.logs("WATCH started"));
        const int number = rig.bar->open().entries.at(1).number;
        stick.put("._litter");
        EXPECT_TRUE(rig.logs("APP   deleted /media/STICK/._litter"));
        EXPECT_TRUE(
            happens([&] { return rig.bar->open().entries.at(1).label == "Watcher removed 1 items this session"; }));
        EXPECT_EQ(rig.bar->open().entries.at(1).number, number) << "an entry that stays keeps its number";
        EXPECT_TRUE(happens([&] { return rig.bar->appearanceSignals() > 0; }));
    });
}

TEST(DesktopMenu, AnswersEveryCallOfTheInterface) {
    onDesktop([] {
        DesktopRig rig;
        const DrawnEntry menu = rig.bar->open();
        const auto signature = [&rig](const char* method, const QVariantList& arguments) {
            const QDBusMessage answer = rig.bar->callMenu(QLatin1String(method), arguments);
            return answer.type() == QDBusMessage::ErrorMessage ? "error " + answer.errorMessage().toStdString()
                                                               : answer.signature().toStdString();
        };
        const QVariant numbers = QVariant::fromValue(QList<int>{menu.entries.at(0).number, 100000});
        const QStringList names = {QStringLiteral("label")};
        EXPECT_EQ(signature("GetLayout", {0, 1, names}), "u(ia{sv}av)");
        EXPECT_EQ(signature("GetLayout", {100000, -1, QStringList()}), "u(ia{sv}av)");
        EXPECT_EQ(signature("GetGroupProperties", {numbers, names}), "a(ia{sv})");
        EXPECT_EQ(signature("GetGroupProperties", {QVariant::fromValue(QList<int>()), QStringList()}), "a(ia{sv})");
        EXPECT_EQ(signature("GetProperty", {menu.entries.at(0).number, QStringLiteral("label")}), "v");
        EXPECT_EQ(signature("GetProperty", {100000, QStringLiteral("label")}), "v");
        EXPECT_EQ(signature("AboutToShow", {100000}), "b");
        EXPECT_EQ(signature("AboutToShowGroup", {numbers}), "aiai");
        // A heading, a separator and an entry that is long gone do nothing.
        for (const int number : {0, menu.entries.at(0).number, menu.entries.at(2).number, 100000})
            rig.bar->click(number);
        EXPECT_EQ(rig.bar->open().text(), menu.text());
        EXPECT_FALSE(rig.program->ended(std::chrono::milliseconds(200)));
    });
}

TEST(DesktopItem, ShowsOurDrawingAndTellsItsName) {
    onDesktop([] {
        DesktopRig rig;
        EXPECT_EQ(rig.bar->property("Id").toString(), "com.quorin.Varnel");
        EXPECT_EQ(rig.bar->property("Title").toString(), "Varnel");
        EXPECT_EQ(rig.bar->property("Category").toString(), "ApplicationStatus");
        EXPECT_EQ(rig.bar->property("Status").toString(), "Active");
        EXPECT_EQ(rig.bar->property("IconAccessibleDesc").toString(), "Varnel");
        EXPECT_TRUE(rig.bar->property("ItemIsMenu").toBool());
        EXPECT_EQ(rig.bar->toolTip(), "Varnel");
        EXPECT_GE(rig.bar->imageSizes().size(), 5U);
        EXPECT_TRUE(rig.bar->imageSizes().contains(22));
    });
}

TEST(DesktopItem, FindsABarThatComesLaterOrComesAgain) {
    onDesktop([] {
        DesktopRig::Options options;
        options.hasBar = false;
        DesktopRig rig(options);
        ASSERT_TRUE(rig.logs("APP   launched"));
        rig.bar = std::make_unique<Bar>();
        ASSERT_TRUE(rig.bar->hasItem());
        rig.bar.reset();
        rig.bar = std::make_unique<Bar>();
        ASSERT_TRUE(rig.bar->hasItem());
        EXPECT_NE(rig.bar->open().text().find("Quit Varnel\n"), std::string::npos);
    });
}

TEST(DesktopItem, TellsWhereNobodyShowsIt) {
    onDesktop([] {
        DesktopRig::Options options;
        options.hasBar = false;
        DesktopRig rig(options);
        const auto message = rig.windows->dialog("Varnel is running without an icon");
        ASSERT_TRUE(message);
        EXPECT_EQ(message->description, "This desktop shows no status icons. Start Varnel again to open its menu.");
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.windows->areClosed());

        EXPECT_EQ(rig.launch({})->ended(), 0);
        EXPECT_TRUE(happens([] { return Windows::hasMenu(); }));
        DesktopSession::keepPicture("menu-without-a-bar");
        DesktopSession::press("Up Return");  // the last entry
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopItem, StandsInTheTrayOfAnOlderDesktop) {
    if (!hasProgram("trayer")) GTEST_SKIP() << "this machine has no trayer";
    onDesktop([] {
        DesktopRig::Options options;
        options.hasBar = false;
        DesktopRig rig(options);
        const auto tray = rig.session.start("tray", {"trayer", "--edge", "top", "--align", "left", "--widthtype",
                                                     "request", "--height", "32", "--SetDockType", "true"});
        const std::string icon = "xwininfo -root -tree | grep -q '\"varnel-desktop\").* [0-9][0-9]x[0-9][0-9]+'";
        ASSERT_TRUE(happens([&] { return std::system(icon.c_str()) == 0; }));
        for (const int button : {1, 3}) {
            DesktopSession::click(12, 16, button);
            EXPECT_TRUE(happens([] { return Windows::hasMenu(); })) << "mouse button " << button;
            DesktopSession::keepPicture("tray");
            DesktopSession::press("Escape");
            EXPECT_TRUE(happens([] { return !Windows::hasMenu(); })) << "mouse button " << button;
        }
        // It has a place, so nobody is told that there is none.
        EXPECT_FALSE(happens([&] { return !rig.program->said().empty(); }, std::chrono::seconds(4)))
            << rig.program->said();
        // A current bar takes it from there.
        rig.bar = std::make_unique<Bar>();
        ASSERT_TRUE(rig.bar->hasItem());
        EXPECT_TRUE(happens([&] { return std::system(icon.c_str()) != 0; }));
    });
}

TEST(DesktopItem, StaysQuietWithoutABarWhereTheSessionStartedIt) {
    onDesktop([] {
        DesktopRig::Options options;
        options.hasBar = false;
        options.arguments = {"--background"};
        DesktopRig rig(options);
        EXPECT_TRUE(happens([&] { return !rig.program->said().empty(); }));
        EXPECT_EQ(rig.program->said(),
                  "Varnel: this desktop shows no status icons; starting Varnel again opens its menu\n");
        EXPECT_TRUE(rig.windows->dialogs().empty());
    });
}

TEST(DesktopClean, GoesFromTheClickToCleanFinished) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));

        const auto question = rig.windows->dialog("Clean /media/STICK?");
        ASSERT_TRUE(question);
        EXPECT_EQ(question->description, "2 item(s), 12 bytes will be removed. This cannot be undone.");
        DesktopSession::keepPicture("confirmation");
        EXPECT_TRUE(stick.hasLitter());
        DesktopSession::press("Return");

        const auto report = rig.windows->dialog("Clean finished");
        ASSERT_TRUE(report);
        DesktopSession::keepPicture("finished");
        EXPECT_FALSE(stick.hasLitter());
        EXPECT_TRUE(stick.isWhole());
        EXPECT_TRUE(rig.logs("DONE  "));
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.windows->areClosed());
    });
}

TEST(DesktopClean, RemovesNothingWhereThePersonDeclines) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        const std::pair<const char*, std::function<void(const Dialog&)>> answers[] = {
            {"Escape", [](const Dialog&) { DesktopSession::press("Escape"); }},
            {"the close box", [](const Dialog&) { DesktopSession::press("alt+F4"); }},
            {"a click on Cancel", [](const Dialog& dialog) { click(*dialog.button("Cancel")); }},
            {"Tab and Return", [](const Dialog&) { DesktopSession::press("Tab Return"); }},
        };
        for (const auto& [name, decline] : answers) {
            ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
            const auto question = rig.windows->dialog("Clean /media/STICK?");
            ASSERT_TRUE(question) << name;
            decline(*question);
            EXPECT_TRUE(rig.windows->areClosed()) << name;
            EXPECT_TRUE(stick.hasLitter()) << name;
        }
        EXPECT_EQ(rig.log().find("DEL   "), std::string::npos);
    });
}

TEST(DesktopClean, AsksWithTheWholePlanInAReadOnlyView) {
    onDesktop([] {
        const Stick stick("STICK");
        for (int i = 0; i < 60; ++i)
            stick.put("DCIM/._DSC" + std::to_string(1000 + i) + ".JPG");
        DesktopRig rig(withoutWatcher());
        ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
        const auto question = rig.windows->dialog("Clean /media/STICK?");
        ASSERT_TRUE(question);
        EXPECT_EQ(question->buttons(), (std::vector<std::string>{"Clean", "Cancel"}));
        EXPECT_TRUE(question->button("Clean")->hasFocus);
        EXPECT_TRUE(question->button("Clean")->isDefault);
        EXPECT_EQ(question->labels(),
                  (std::vector<std::string>{"Clean /media/STICK?",
                                            "60 item(s), 60 bytes will be removed. This cannot be undone."}));
        const Part* const report = question->part("text");
        ASSERT_NE(report, nullptr);
        EXPECT_EQ(report->name, "What will be removed");
        EXPECT_FALSE(report->isEditable);
        EXPECT_EQ(report->text.substr(0, report->text.find('\n')), "/media/STICK");
        EXPECT_NE(report->text.find("\n  … 20 more\n"), std::string::npos) << report->text;
        // 520 by 240 points, at 96 pixels to the inch.
        EXPECT_NEAR(report->place.width(), 520 * 96 / 72, 2);
        EXPECT_NEAR(report->place.height(), 240 * 96 / 72, 2);
        // Neither does a key change it, nor does it answer for the dialog.
        click(*report);
        DesktopSession::type("x");
        EXPECT_EQ(rig.windows->dialog("Clean /media/STICK?")->part("text")->text, report->text);
    });
}

TEST(DesktopClean, ScansAndRemovesAtOnceForScan) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        ASSERT_TRUE(rig.bar->click({stick.title(), "Scan…"}));
        const auto report = rig.windows->dialog("Clean finished");
        ASSERT_TRUE(report);
        EXPECT_EQ(report->description, "removed 2 items, 12 bytes");
        EXPECT_EQ(report->buttons(), (std::vector<std::string>{"OK"}));
        EXPECT_FALSE(stick.hasLitter());
        EXPECT_TRUE(stick.isWhole());
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());

        ASSERT_TRUE(rig.bar->click({stick.title(), "Scan…"}));
        const auto nothing = rig.windows->dialog("Nothing to clean");
        ASSERT_TRUE(nothing);
        EXPECT_EQ(nothing->description, "No macOS metadata found.");
    });
}

TEST(DesktopClean, EjectsWhatIsReachedThroughANetwork) {
    if (!hasProgram("bindfs")) GTEST_SKIP() << "this machine has no bindfs";
    onDesktop([] {
        const TemporaryFolder share;
        share.file("._litter");
        share.file("photo.jpg");
        fs::create_directories("/media/SHARE");
        DesktopRig rig(withoutWatcher());
        for (const bool isInUse : {true, false}) {
            shell("bindfs -o subtype=sshfs '" + share.path() + "' /media/SHARE");
            std::optional<std::ifstream> user;
            if (isInUse) user.emplace("/media/SHARE/photo.jpg");
            share.file("._litter");
            ASSERT_TRUE(rig.bar->click({"SHARE — fuse.sshfs, network", "Clean & Eject"}));
            ASSERT_TRUE(rig.windows->dialog("Clean /media/SHARE?"));
            DesktopSession::press("Return");
            const auto report = rig.windows->dialog("Clean finished");
            ASSERT_TRUE(report);
            const std::string expected =
                isInUse ? "removed 1 items, 1 byte\n\nEject failed: " : "removed 1 items, 1 byte\n\nEjected.";
            EXPECT_TRUE(report->description.starts_with(expected)) << report->description;
            DesktopSession::keepPicture(isInUse ? "eject-failed" : "ejected");
            EXPECT_FALSE(share.has("._litter"));
            EXPECT_TRUE(share.has("photo.jpg"));
            DesktopSession::press("Return");
            EXPECT_TRUE(rig.windows->areClosed());
            user.reset();
            if (isInUse) unmount("/media/SHARE");
            EXPECT_FALSE(fs::exists("/media/SHARE/photo.jpg"));
        }
    });
}

TEST(DesktopClean, KeepsTheMenuAliveWhileADiskIsDead) {
    if (!hasProgram("bindfs")) GTEST_SKIP() << "this machine has no bindfs";
    onDesktop([] {
        const TemporaryFolder share;
        share.file("._litter");
        fs::create_directories("/media/DEAD");
        const Daemon driver({"/usr/bin/bindfs", "-f", share.path(), "/media/DEAD"}, "/dev/null");
        ASSERT_TRUE(happens([] { return fs::exists("/media/DEAD/._litter"); }));
        DesktopRig rig(withoutWatcher());
        const DrawnEntry menu = rig.bar->open();
        const DrawnEntry volume = menu.entries.at(3);
        ASSERT_EQ(volume.entries.at(1).label, "Clean…");
        ::kill(driver.process(), SIGSTOP);
        rig.bar->click(volume.entries.at(1).number);
        for (int i = 0; i < 20; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_EQ(rig.bar->open().text(), menu.text());
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
        }
        EXPECT_TRUE(rig.windows->dialogs().empty());
        // Even then it can be left, though the kernel may keep what remains of the process until the disk answers.
        ASSERT_TRUE(rig.bar->click({"Quit Varnel"}));
        EXPECT_TRUE(happens([&] { return !rig.bar->isItemThere(); }));
        auto next = rig.launch({});
        EXPECT_TRUE(rig.bar->hasNewItem());
        ::kill(driver.process(), SIGCONT);
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopClean, FinishesOneQuestionBeforeTheNext) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        ASSERT_TRUE(rig.bar->click({"Sweep All Volumes…"}));
        const auto question = rig.windows->dialog("Sweep all non-Mac volumes?");
        ASSERT_TRUE(question);
        ASSERT_TRUE(rig.bar->click({stick.title(), "Scan…"}));
        ASSERT_TRUE(rig.bar->click({"Watcher: Off"}));
        EXPECT_FALSE(happens([&] { return rig.windows->dialogs().size() > 1; }, std::chrono::milliseconds(500)));
        EXPECT_TRUE(stick.hasLitter());
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());
        EXPECT_EQ(rig.log().find("SWEEP"), std::string::npos);
        EXPECT_EQ(rig.log().find("watcher on"), std::string::npos);
    });
}

TEST(DesktopClean, ComesToTheFrontOfWhatThePersonIsAt) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        const auto other = rig.session.start("other", {"display", "-geometry", "1200x800+0+0", "logo:"});
        ASSERT_TRUE(happens([] { return std::system("xwininfo -root -tree | grep -q 'ImageMagick: .*[0-9]x'") == 0; }));
        for (int i = 0; i < 3; ++i) {
            DesktopSession::click(600, 300);
            DesktopSession::press("Shift_L");
            ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
            ASSERT_TRUE(rig.windows->dialog("Clean /media/STICK?")) << i;
            DesktopSession::keepPicture("in-front");
            DesktopSession::press("Escape");
            EXPECT_TRUE(rig.windows->areClosed());
        }
    });
}

TEST(DesktopCommands, SweepsAllVolumes) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig rig;
        ASSERT_TRUE(rig.logs("WATCH started"));
        ASSERT_TRUE(rig.bar->click({"Sweep All Volumes…"}));
        const auto question = rig.windows->dialog("Sweep all non-Mac volumes?");
        ASSERT_TRUE(question);
        EXPECT_EQ(
            question->description,
            "Scans every mounted non-Mac volume with the live rule set. This can take a while on network shares.");
        EXPECT_EQ(question->buttons(), (std::vector<std::string>{"Sweep", "Cancel"}));
        DesktopSession::keepPicture("sweep");
        EXPECT_TRUE(stick.hasLitter());
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.logs("SWEEP /media/STICK removed 2 items, 12 bytes"));
        EXPECT_FALSE(stick.hasLitter());
        EXPECT_TRUE(stick.isWhole());
        EXPECT_EQ(rig.bar->open().entries.at(1).label, "Watcher removed 2 items this session");
        EXPECT_TRUE(rig.windows->areClosed());
    });
}

TEST(DesktopCommands, CleansAChosenFolderOrFile) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig::Options options = withoutWatcher();
        // A desktop with a file dialog of its own, which is not the one that is wanted.
        options.environment["QT_QPA_PLATFORMTHEME"] = "gtk3";
        DesktopRig rig(options);
        ASSERT_TRUE(rig.bar->click({"Clean Folder…"}));
        const auto panel = rig.windows->dialog("Choose a folder or volume to clean");
        ASSERT_TRUE(panel);
        EXPECT_NE(panel->button("Clean"), nullptr);
        DesktopSession::keepPicture("panel");
        DesktopSession::type("/media/STICK/DCIM");
        DesktopSession::press("Return");
        const auto question = rig.windows->dialog("Clean /media/STICK/DCIM?");
        ASSERT_TRUE(question);
        DesktopSession::press("Return");
        ASSERT_TRUE(rig.windows->dialog("Clean finished"));
        EXPECT_FALSE(stick.has("DCIM/._DSC1.JPG"));
        EXPECT_TRUE(stick.has(".DS_Store"));
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.windows->areClosed());

        ASSERT_TRUE(rig.bar->click({"Clean Folder…"}));
        ASSERT_TRUE(rig.windows->dialog("Choose a folder or volume to clean"));
        DesktopSession::type("/media/STICK/DCIM/DSC1.JPG");
        DesktopSession::press("Return");
        ASSERT_TRUE(rig.windows->dialog("Nothing to clean")) << "a file has nothing below it";
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.windows->areClosed());

        ASSERT_TRUE(rig.bar->click({"Clean Folder…"}));
        ASSERT_TRUE(rig.windows->dialog("Choose a folder or volume to clean"));
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());
    });
}

TEST(DesktopCommands, SwitchesTheWatcher) {
    onDesktop([] {
        const Stick stick("STICK");
        DesktopRig rig;
        ASSERT_TRUE(rig.logs("WATCH started"));
        ASSERT_TRUE(rig.bar->click({"Watcher: On"}));
        ASSERT_TRUE(rig.logs("APP   watcher off\n"));
        EXPECT_NE(rig.bar->open().text().find("[ ] Watcher: Off\n"), std::string::npos);
        EXPECT_NE(rig.session.folder().contents("home/.config/varnel/varnel.conf").find("watcherEnabled=false"),
                  std::string::npos);
        stick.put("._litter");
        ASSERT_TRUE(rig.bar->click({"Watcher: Off"}));
        ASSERT_TRUE(rig.logs("APP   watcher on\n"));
        ASSERT_TRUE(happens([&] { return rig.log().rfind("WATCH started") > rig.log().find("WATCH stopped"); }));
        EXPECT_NE(rig.bar->open().text().find("[x] Watcher: On\n"), std::string::npos);
        stick.put("._more");
        EXPECT_TRUE(happens([&] { return !stick.has("._more"); }));
        EXPECT_TRUE(stick.has("._litter")) << "what came while it was off waits for a sweep";
    });
}

TEST(DesktopCommands, OpensAtLogin) {
    onDesktop([] {
        DesktopRig rig;
        ASSERT_TRUE(rig.bar->click({"Open at Login"}));
        const std::string entry = "home/.config/autostart/com.quorin.Varnel.desktop";
        ASSERT_TRUE(happens([&] { return rig.session.folder().has(entry); }));
        EXPECT_NE(rig.session.folder().contents(entry).find(std::string("Exec=\"") + VARNEL_DESKTOP_PROGRAM + "\""),
                  std::string::npos);
        EXPECT_NE(rig.bar->open().text().find("[x] Open at Login\n"), std::string::npos);
        ASSERT_TRUE(rig.bar->click({"Open at Login"}));
        EXPECT_TRUE(happens([&] { return !rig.session.folder().has(entry); }));
        EXPECT_NE(rig.bar->open().text().find("[ ] Open at Login\n"), std::string::npos);
    });
}

TEST(DesktopCommands, TellsWhyItCannotOpenAtLogin) {
    onDesktop([] {
        DesktopRig rig;
        // A file where the folder should be.
        rig.session.folder().file("home/.config/autostart");
        ASSERT_TRUE(rig.bar->click({"Open at Login"}));
        const auto message = rig.windows->dialog("Could not change login item");
        ASSERT_TRUE(message);
        EXPECT_EQ(message->buttons(), (std::vector<std::string>{"OK"}));
        EXPECT_NE(message->description.find("/home/.config/autostart/com.quorin.Varnel.desktop"), std::string::npos)
            << message->description;
        DesktopSession::keepPicture("login-item");
        DesktopSession::press("Return");
        EXPECT_TRUE(rig.windows->areClosed());
        EXPECT_NE(rig.bar->open().text().find("[ ] Open at Login\n"), std::string::npos);
    });
}

TEST(DesktopCommands, ShowsTheLogInTheApplicationForIt) {
    onDesktop([] {
        DesktopRig::Options options;
        options.prepare = [](const DesktopSession& session) {
            const std::string opener =
                session.folder().file("bin/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$@\" >>\"$HOME/opened\"\n");
            fs::permissions(opener, fs::perms::owner_all);
        };
        DesktopRig rig(options);
        ASSERT_TRUE(rig.bar->click({"Show Log"}));
        const std::string expected = "file://" + rig.session.home() + "/Library/Logs/Varnel/varnel.log\n";
        EXPECT_TRUE(happens([&] { return rig.session.folder().contents("home/opened") == expected; }))
            << rig.session.folder().contents("home/opened");
    });
}

TEST(DesktopCommands, QuitsAndStopsTheWatcher) {
    onDesktop([] {
        DesktopRig rig;
        ASSERT_TRUE(rig.logs("WATCH started"));
        ASSERT_TRUE(rig.bar->click({"Quit Varnel"}));
        EXPECT_EQ(rig.program->ended(), 0);
        EXPECT_NE(rig.log().find("WATCH stopped"), std::string::npos);
        EXPECT_EQ(rig.program->said(), "");
    });
}

TEST(DesktopCommands, LeavesOnASignalAlsoWhileAsking) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            DesktopRig rig(withoutWatcher());
            ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
            ASSERT_TRUE(rig.windows->dialog("Clean /media/STICK?"));
            rig.program->signal(signal);
            EXPECT_EQ(rig.program->ended(), 0) << signal;
            EXPECT_TRUE(stick.hasLitter());
        }
    });
}

TEST(DesktopService, TakesWhatASecondLaunchHandsOver) {
    onDesktop([] {
        const Stick stick("MY STICK%25#?ä");
        stick.putLitter();
        DesktopRig rig(withoutWatcher());
        const auto second = rig.launch({stick.place()});
        EXPECT_EQ(second->ended(), 0) << second->said();
        ASSERT_TRUE(rig.windows->dialog("Clean " + stick.place() + "?"));
        DesktopSession::press("Return");
        ASSERT_TRUE(rig.windows->dialog("Clean finished"));
        EXPECT_FALSE(stick.hasLitter());
        EXPECT_TRUE(stick.isWhole());
    });
}

TEST(DesktopService, KeepsNoVolumeInUse) {
    onDesktop([] {
        const DesktopRig rig(withoutWatcher());
        const std::string process = "/proc/" + std::to_string(rig.program->process());
        EXPECT_EQ(std::filesystem::read_symlink(process + "/cwd"), "/");
    });
}

TEST(DesktopService, TakesTheFirstOfManyThatMayBeCleaned) {
    onDesktop([] {
        const Stick stick("STICK");
        const Stick other("OTHER");
        stick.putLitter();
        other.putLitter();
        DesktopRig rig(withoutWatcher());
        const auto second = rig.launch({"sftp://server/folder", "file://server/folder", "file:///broken%zz", "/usr",
                                        "file://" + stick.place(), other.place()});
        EXPECT_EQ(second->ended(), 0) << second->said();
        const auto refused = rig.windows->dialog("Refused");
        ASSERT_TRUE(refused);
        EXPECT_EQ(refused->description, "/usr is a protected system path.");
        DesktopSession::press("Return");
        ASSERT_TRUE(rig.windows->dialog("Clean /media/STICK?"));
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());
        EXPECT_TRUE(stick.hasLitter());
        EXPECT_TRUE(other.hasLitter());
    });
}

TEST(DesktopService, IsSilentWhereNothingUsableIsHandedOver) {
    onDesktop([] {
        DesktopRig rig(withoutWatcher());
        EXPECT_EQ(rig.launch({"sftp://server/folder", "file:relative", "http://example.org/"})->ended(), 0);
        EXPECT_FALSE(happens([&] { return !rig.windows->dialogs().empty(); }, std::chrono::milliseconds(500)));
        EXPECT_EQ(rig.program->said(), "");
    });
}

TEST(DesktopService, CleansWhatTheFirstLaunchIsGiven) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig::Options options = withoutWatcher();
        options.arguments = {"/media/STICK/../STICK/"};
        DesktopRig rig(options);
        ASSERT_TRUE(rig.windows->dialog("Clean /media/STICK?"));
    });
}

TEST(DesktopService, CarriesOutANamedEntry) {
    onDesktop([] {
        DesktopRig rig(withoutWatcher());
        EXPECT_EQ(rig.launch({"--action", "sweep-all-volumes"})->ended(), 0);
        ASSERT_TRUE(rig.windows->dialog("Sweep all non-Mac volumes?"));
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());
        EXPECT_EQ(rig.launch({"--action", "no such"})->ended(), 0);
        EXPECT_TRUE(happens([&] { return rig.program->said() == "Varnel: no action is called no such\n"; }));
        EXPECT_EQ(rig.launch({"--action", "quit"})->ended(), 0);
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopService, LeavesItsPlaceToTheNextLaunchAsSoonAsItEnds) {
    onDesktop([] {
        DesktopRig rig(withoutWatcher());
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(rig.launch({"--action", "quit"})->ended(), 0);
            rig.bar = nullptr;
            rig.bar = std::make_unique<Bar>();
            auto next = rig.launch({"--action", "sweep-all-volumes"});
            EXPECT_EQ(rig.program->ended(), 0);
            rig.program = std::move(next);
            ASSERT_TRUE(rig.windows->dialog("Sweep all non-Mac volumes?")) << i;
        }
    });
}

TEST(DesktopService, OpensTheMenuForASecondLaunch) {
    onDesktop([] {
        const Stick stick("A&B_C");
        DesktopRig rig;
        shell("xdotool mousemove 300 200");
        EXPECT_EQ(rig.launch({})->ended(), 0);
        EXPECT_TRUE(happens([] { return Windows::hasMenu(); }));
        DesktopSession::press("Down Right");
        DesktopSession::keepPicture("menu");
        DesktopSession::press("Escape Escape");
        EXPECT_TRUE(happens([] { return !Windows::hasMenu(); }));
        // What the session starts once more stays quiet.
        EXPECT_EQ(rig.launch({"--background"})->ended(), 0);
        EXPECT_FALSE(happens([] { return Windows::hasMenu(); }, std::chrono::milliseconds(500)));
    });
}

TEST(DesktopTrouble, RunsWithoutASessionBus) {
    onDesktop([] {
        DesktopRig::Options options;
        options.session.hasBus = false;
        DesktopRig rig(options);
        EXPECT_TRUE(rig.logs("APP   launched (watcher on)"));
        EXPECT_EQ(
            rig.program->said(),
            "varnel-desktop: there is no session bus: other programs and a second launch cannot hand files over\n");
        rig.program->signal(SIGTERM);
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopTrouble, SaysSoWhereThereIsNoDisplay) {
    onDesktop([] {
        DesktopRig rig;
        const std::map<std::string, std::string> displays[] = {
            {{"DISPLAY", ""}}, {{"DISPLAY", ":9999"}}, {{"QT_QPA_PLATFORM", "nonsense"}}};
        for (const auto& environment : displays) {
            const auto other = rig.launch({}, environment);
            EXPECT_EQ(other->ended(), 1) << other->said();
            EXPECT_NE(other->said().find("varnel-desktop: "), std::string::npos);
        }
    });
}

TEST(DesktopTrouble, SwitchesNothingOnThatAGarbledPreferenceMayMean) {
    onDesktop([] {
        const std::string on = "[x] Watcher: On\n";
        const std::string off = "[ ] Watcher: Off\n";
        const struct {
            const char* garbage;
            std::string before;
            const char* entry;
            std::string after;
        } cases[] = {
            {"watcherEnabled=maybe\n", off, "Watcher: Off", on},
            {"[General]\nwatcherEnabled=\n", off, "Watcher: Off", on},
            {"[General\nwatcherEnabled\n\xff\xfe\0x", on, "Watcher: On", off},  // which holds no preference at all
        };
        for (const auto& [garbage, before, entry, after] : cases) {
            DesktopRig::Options options;
            options.prepare = [garbage](const DesktopSession& session) {
                session.folder().file("home/.config/varnel/varnel.conf", garbage);
            };
            DesktopRig rig(options);
            EXPECT_NE(rig.bar->open().text().find(before), std::string::npos) << garbage;
            ASSERT_TRUE(rig.bar->click({entry}));
            EXPECT_TRUE(happens([&] { return rig.bar->open().text().find(after) != std::string::npos; })) << garbage;
        }
    });
}

TEST(DesktopTrouble, ShowsItsMenuWithoutALog) {
    onDesktop([] {
        DesktopRig::Options options;
        options.prepare = [](const DesktopSession& session) { session.folder().file("home/Library", "no folder"); };
        DesktopRig rig(options);
        EXPECT_TRUE(happens([&] { return rig.program->said() == "Varnel: log unavailable\n"; })) << rig.program->said();
        EXPECT_NE(rig.bar->open().text().find("[x] Watcher: On\n"), std::string::npos);
        ASSERT_TRUE(rig.bar->click({"Show Log"}));
        ASSERT_TRUE(rig.bar->click({"Quit Varnel"}));
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopLooks, FitsATwiceScaledScreen) {
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        DesktopRig::Options options = withoutWatcher();
        options.session.screen = "1920x1080x24";
        options.environment = {{"QT_SCALE_FACTOR", "2"}};
        DesktopRig rig(options);
        ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
        const auto question = rig.windows->dialog("Clean /media/STICK?");
        ASSERT_TRUE(question);
        DesktopSession::keepPicture("confirmation-scaled");
        const int scale = 2;  // which screen readers are not told of
        EXPECT_LE(question->place.height() * scale, 1080);
        EXPECT_LE(question->place.width() * scale, 1920);
        EXPECT_GT(question->part("text")->place.height() * scale, 480);
    });
}

TEST(DesktopLooks, IsTheSameUnderWayland) {
    if (!hasProgram("weston")) GTEST_SKIP() << "this machine has no weston";
    onDesktop([] {
        const Stick stick("STICK");
        stick.putLitter();
        std::unique_ptr<Companion> compositor;
        DesktopRig::Options options = withoutWatcher();
        options.session.hasWindowManager = false;
        options.environment = {{"QT_QPA_PLATFORM", "wayland"}, {"WAYLAND_DISPLAY", "wayland-test"}, {"DISPLAY", ""}};
        options.prepare = [&, before = options.prepare](const DesktopSession& session) {
            before(session);
            compositor =
                session.start("compositor", {"weston", "--backend=x11-backend.so", "--use-pixman", "--width=1200",
                                             "--height=800", "--socket=wayland-test", "--idle-time=0"});
            ASSERT_TRUE(happens([&] { return session.folder().has("run/wayland-test"); }));
            ASSERT_TRUE(happens([] { return std::system("xwininfo -root -tree | grep -q 'Weston.*1200x800'") == 0; }));
        };
        DesktopRig rig(options);
        ASSERT_TRUE(rig.bar->click({stick.title(), "Clean…"}));
        const auto question = rig.windows->dialog("Clean /media/STICK?");
        ASSERT_TRUE(question);
        DesktopSession::keepPicture("wayland");
        DesktopSession::press("Escape");
        EXPECT_TRUE(rig.windows->areClosed());
        EXPECT_TRUE(stick.hasLitter());
        ASSERT_TRUE(rig.bar->click({stick.title(), "Scan…"}));
        ASSERT_TRUE(rig.windows->dialog("Clean finished"));
        EXPECT_FALSE(stick.hasLitter());
        EXPECT_TRUE(stick.isWhole());
        ASSERT_TRUE(rig.bar->click({"Quit Varnel"}));
        EXPECT_EQ(rig.program->ended(), 0);
    });
}

TEST(DesktopLooks, BreaksPathsThatAreLongerThanTheScreenIsWide) {
    onDesktop([] {
        const Stick stick("STICK");
        std::string below;
        for (int i = 0; i < 15; ++i)
            below += std::string(200, static_cast<char>('a' + i)) + "/";
        stick.put(below + "._litter");
        DesktopRig rig(withoutWatcher());
        const std::string folder = stick.place() + "/" + below;
        EXPECT_EQ(rig.launch({folder})->ended(), 0);
        const auto question = rig.windows->dialog("Clean " + folder.substr(0, folder.size() - 1) + "?");
        ASSERT_TRUE(question);
        DesktopSession::keepPicture("long-path");
        EXPECT_LE(question->place.width(), 1280);
        EXPECT_LE(question->place.height(), 900);
        EXPECT_LE(question->button("Clean")->place.bottom(), 900);
    });
}

}  // namespace
}  // namespace varnel::tests
