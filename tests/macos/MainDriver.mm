// SPDX-License-Identifier: MIT
//
// Stands for AppKit's event loop in a program that is otherwise the application's own main(): says how main() left the
// process when the loop began, launches, opens the menu, and ends as AppKit does.
#import <AppKit/AppKit.h>

#include <signal.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "tests/macos/gnustep/DesktopFakes.h"

namespace {

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void tell(bool isRight, const char* what) {
    if (isRight) return;
    std::printf("WRONG: %s\n", what);
    std::fflush(stdout);
    ::_exit(1);
}

}  // namespace

@implementation NSApplication (VarnelMainDriver)
- (void)run {
    using namespace varnel::tests;
    std::array<char, PATH_MAX> folder{};
    tell(isIgnored(SIGPIPE) && isIgnored(SIGXFSZ), "a full log or a closed pipe would end the process");
    tell(::getcwd(folder.data(), folder.size()) != nullptr && folder[0] == '/' && folder[1] == '\0',
         "a volume would be kept in use");
    tell([self delegate] != nil, "nobody hears of the launch");
    tell(Fakes::desktopCalls == std::vector<std::string>{"policy 1"}, "the application would be in the Dock");
    NSNotification* const word = [NSNotification notificationWithName:@"word" object:self];
    [[self delegate] applicationDidFinishLaunching:word];
    tell(Fakes::statusBar.items == 1, "there is no status item");
    [[Fakes::statusBar.menu delegate] menuNeedsUpdate:Fakes::statusBar.menu];
    tell([Fakes::statusBar.menu numberOfItems] == 13, "the menu is not filled");
    std::atexit([] { ::_exit(2); });
    std::printf("launched and ending\n");
    std::fflush(stdout);
    [[self delegate] applicationWillTerminate:word];
    tell(false, "AppKit would end the process its own way");
}
@end
