// SPDX-License-Identifier: MIT
//
// The application as a person meets it: the real program in a session of its own, its menu read and clicked over
// D-Bus, its windows read as a screen reader reads them, and answered with keys and the mouse.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/desktop/DesktopRig.h"
#include "tests/support/PrivateMounts.h"

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

}  // namespace
}  // namespace varnel::tests
