// SPDX-License-Identifier: MIT
//
// Stands for AppKit's event loop in a program that is otherwise the application's own main(): launches, opens the menu,
// does what a person would, and ends as AppKit does. Writes down all that reaches the system; tests/macos/check_life.py
// compares that with what is recorded.   PICTURES tells where pictures go.
#import <AppKit/AppKit.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "core/volumes/VolumeList.h"
#include "tests/macos/gnustep/DesktopFakes.h"
#include "tests/macos/gnustep/Fakes.h"
#include "tests/macos/gnustep/Pictures.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

@protocol VarnelService
- (void)cleanUsingVarnel:(NSPasteboard*)pasteboard userData:(NSString*)userData error:(NSString**)error;
@end

namespace {

using namespace varnel;
using namespace varnel::tests;
using Texts = std::vector<std::string>;

/// What main() itself asks to be ignored: GNUstep ignores closed pipes by itself, so the process's state proves
/// nothing.
std::set<int> ignored;

using Handler = void (*)(int);
extern "C" {
Handler systemsSignal(int signal, Handler handler) __asm__("__real_signal");
Handler notedSignal(int signal, Handler handler) __asm__("__wrap_signal");

Handler notedSignal(int signal, Handler handler) {
    if (handler == SIG_IGN) ignored.insert(signal);
    return systemsSignal(signal, handler);
}
}

void tell(bool isRight, const char* what) {
    if (isRight) return;
    std::printf("WRONG: %s\n", what);
    std::fflush(stdout);
    ::_exit(1);
}

std::string joined(const Texts& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "|") + text;
    return all;
}

std::string utf8(NSString* string) {
    return string == nil ? "-" : [string UTF8String];
}

/// What the application did since the last step, and the volumes on which it does it: a card and a share.
class Life {
public:
    Life() {
        Fakes::setMounted({.volumes = {{.path = card, .isRemovable = true}, {.path = share, .isLocal = false}}});
        type_ = VolumeList::targets().at(0).fsType;
    }

    /// Writes what came since the last step. Lines of the system log come from several threads, in no order.
    void step(const char* name) {
        print(std::string("== ") + name);
        news("APPLICATION ", Fakes::desktopCalls, seenCalls_);
        news("QUEUE ", Fakes::queues(), seenQueues_);
        news("STREAM ", Fakes::streamCalls(), seenStream_);
        for (; seenPanels_ < Fakes::panels.size(); ++seenPanels_) {
            const auto& panel = Fakes::panels[seenPanels_];
            print("PANEL directories=" + std::to_string(panel.directories) + " files=" + std::to_string(panel.files) +
                  " multiple=" + std::to_string(panel.multiple) + " prompt=" + panel.prompt +
                  " message=" + panel.message);
        }
        for (; seenAlerts_ < Fakes::alerts.size(); ++seenAlerts_) {
            const auto& alert = Fakes::alerts[seenAlerts_];
            print("ALERT " + alert.message + (alert.isWarning ? " (warning)" : ""));
            print("  " + alert.informativeText);
            print("  buttons " + joined(alert.buttons));
            if (alert.report) print("  report " + alert.reportForm + "\n" + *alert.report);
        }
        Texts logged = Fakes::logged();
        std::sort(logged.begin() + static_cast<std::ptrdiff_t>(seenLog_), logged.end());
        news("LOG ", logged, seenLog_);
    }

    void menu(const char* name) {
        NSMenu* const menu = open();
        print(std::string("== ") + name);
        entries(menu, "MENU ");
        Pictures::ofMenu(menu, name);
    }

    /// Chooses the entry at a place in the menu, and below it where it has more.
    static void choose(NSInteger at, NSInteger below = -1) {
        NSMenuItem* item = [open() itemAtIndex:at];
        if (below >= 0) item = [[item submenu] itemAtIndex:below];
        [[item target] performSelector:[item action] withObject:item];
    }

    static void untilAlerts(std::size_t count) {
        while (Fakes::alerts.size() < count)
            tell(Fakes::runMainItem(std::chrono::seconds(20)), "an alert does not come");
    }

    TemporaryFolder tree;
    std::string card = tree.folder("CARD");
    std::string share = tree.folder("SHARE");

private:
    static NSMenu* open() {
        [[Fakes::statusBar.menu delegate] menuNeedsUpdate:Fakes::statusBar.menu];
        return Fakes::statusBar.menu;
    }

    void entries(NSMenu* menu, const std::string& indent) {
        for (NSMenuItem* item in [menu itemArray]) {
            if ([item isSeparatorItem]) {
                print(indent + "---");
                continue;
            }
            // A menu's own action for what has entries below differs from system to system.
            const bool hasMore = [item hasSubmenu] != NO;
            const std::string action =
                hasMore || [item action] == nullptr ? "-" : utf8(NSStringFromSelector([item action]));
            const std::string target =
                hasMore || [item target] == nil ? "-" : utf8(NSStringFromClass([[item target] class]));
            print(indent + utf8([item title]) + " action=" + action + " target=" + target +
                  " object=" + utf8([item representedObject]) + " enabled=" + std::to_string([item isEnabled] != NO) +
                  " state=" + std::to_string([item state]) + " key='" + utf8([item keyEquivalent]) + "'");
            if (hasMore) entries([item submenu], indent + "  ");
        }
    }

    void news(const char* tag, const Texts& all, std::size_t& seen) const {
        for (; seen < all.size(); ++seen)
            print(tag + all[seen]);
    }

    /// Without what is of this machine and this run.
    void print(std::string line) const {
        replace(line, tree.path(), "T");
        for (const char* const before : {"— ", "filesystem: "})
            replace(line, before + type_, before + std::string("TYPE"));
        replace(line, std::getenv("HOME"), "HOME");
        std::puts(line.c_str());
    }

    static void replace(std::string& line, const std::string& what, const std::string& with) {
        for (std::size_t at = line.find(what); at != std::string::npos; at = line.find(what, at + with.size()))
            line.replace(at, what.size(), with);
    }

    std::string type_;
    std::size_t seenCalls_ = 0;
    std::size_t seenQueues_ = 0;
    std::size_t seenStream_ = 0;
    std::size_t seenPanels_ = 0;
    std::size_t seenAlerts_ = 0;
    std::size_t seenLog_ = 0;
};

constexpr std::uint32_t itemCreated = 0x100;

void live(Life& life) {
    tell(tests::comesTrue([] { return !Fakes::streamCalls().empty() && Fakes::streamCalls().back() == "start"; }),
         "the watcher does not start");
    Fakes::deliver({"/elsewhere"}, {itemCreated});  // once what waits on the watcher's queue is done
    life.step("launch");
    Fakes::readButton();
    std::printf("STATUS ITEM symbol=%s description=%s template=%d toolTip=%s length=%g items=%d\n",
                Fakes::statusBar.symbol.c_str(), Fakes::statusBar.description.c_str(), Fakes::statusBar.isTemplate,
                Fakes::statusBar.toolTip.c_str(), Fakes::statusBar.length, Fakes::statusBar.items);
    life.menu("menu");

    life.tree.file("CARD/keep.txt");
    Fakes::deliver({life.tree.file("CARD/.DS_Store"), life.card + "/gone", life.card + "/keep.txt"},
                   {itemCreated, 0x200, itemCreated});
    life.step("live deletion");

    // One in each folder, for the disk lists its names in an order of its own.
    for (const char* const name : {"CARD/._a.jpg", "CARD/DCIM/Thumbs.db", "CARD/DCIM/100/.fseventsd/x"})
        life.tree.file(name, "1234");
    Fakes::answers = {1};
    Life::choose(3, 1);
    Life::untilAlerts(1);
    life.step("clean, cancelled");
    Life::choose(3, 2);
    Life::untilAlerts(3);
    life.step("clean and eject");
    Life::choose(4, 0);
    Life::untilAlerts(4);
    life.step("scan of what is clean");

    Fakes::chosen = "/usr/share";
    Life::choose(6);
    life.step("a protected folder is chosen");
    Life::choose(7);
    Fakes::deliver({"/elsewhere"}, {itemCreated});
    life.step("sweep");
    Life::choose(9);
    life.step("watcher off");
    Life::choose(9);
    Fakes::loginRefusal = "Operation not permitted";
    tell(tests::comesTrue([] { return Fakes::streamCalls().back() == "start"; }), "the watcher does not start again");
    Fakes::deliver({"/elsewhere"}, {itemCreated});
    life.step("watcher on");
    Life::choose(10);
    life.step("login item refused");
    Fakes::loginRefusal.reset();
    Life::choose(10);
    Life::choose(11);
    life.step("login item, log");

    id const delegate = [NSApp delegate];
    NSString* error = nil;
    [delegate cleanUsingVarnel:Fakes::pasteboard({"file:///usr/bin", "file:///etc"}) userData:nil error:&error];
    [delegate cleanUsingVarnel:Fakes::pasteboard({}, @[ @"/bin" ]) userData:nil error:&error];
    [delegate cleanUsingVarnel:Fakes::pasteboard({}) userData:nil error:&error];
    tell(error == nil, "the service reports an error");
    life.step("services");

    Fakes::setMounted({.volumes = {{.path = life.share, .isLocal = false}}});
    Fakes::postUnmount();
    Fakes::deliver({life.tree.file("CARD/.DS_Store")}, {itemCreated});
    tell(life.tree.has("CARD/.DS_Store"), "a volume is watched that is gone");
    Fakes::setMounted({});
    life.menu("menu-without-volumes");
    Life::choose(12);
    life.step("quit");
    // Nothing is destroyed any more: the application ends the process.
    std::filesystem::remove_all(life.tree.path());
    std::puts("== end");
    std::fflush(stdout);
    Fakes::tellAtOnce = true;
}

}  // namespace

@implementation NSApplication (VarnelMainDriver)
- (void)run {
    std::array<char, PATH_MAX> folder{};
    tell(ignored == std::set<int>{SIGPIPE, SIGXFSZ}, "a full log or a closed pipe would end the process");
    tell(::getcwd(folder.data(), folder.size()) != nullptr && folder[0] == '/' && folder[1] == '\0',
         "a volume would be kept in use");
    tell([self delegate] != nil, "nobody hears of the launch");
    tell(Fakes::desktopCalls == Texts{"policy 1"}, "the application would be in the Dock");
    if (const char* const pictures = std::getenv("PICTURES")) Pictures::folder = pictures;
    NSNotification* const word = [NSNotification notificationWithName:@"word" object:self];
    Life life;
    [[self delegate] applicationDidFinishLaunching:word];
    tell(Fakes::statusBar.items == 1, "there is no status item");
    live(life);
    std::atexit([] { ::_exit(2); });
    std::fflush(stdout);
    [[self delegate] applicationWillTerminate:word];
    tell(false, "AppKit would end the process its own way");
}
@end
