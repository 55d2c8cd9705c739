// SPDX-License-Identifier: MIT
#import <AppKit/AppKit.h>

#include <signal.h>
#include <unistd.h>

#include <memory>

#include "app/AppDelegate.h"
#include "app/AppPorts.h"
#include "app/appkit/AppKitDesktop.h"
#include "app/appkit/ApplicationDelegate.h"

int main() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
    ::signal(SIGCHLD, SIG_DFL);
    if (::chdir("/") != 0) return 1;
    @autoreleasepool {
        NSApplication* const application = [NSApplication sharedApplication];
        const auto desktop = std::make_shared<varnel::AppKitDesktop>();
        const auto delegate = varnel::AppDelegate::create(desktop, varnel::AppPorts::ofSystem(desktop));
        // Kept for the life of the process: the application does not keep its delegate.
        VarnelApplicationDelegate* const forwarder = [[VarnelApplicationDelegate alloc] initWithDelegate:delegate];
        desktop->setDelegate(forwarder);
        [application setDelegate:forwarder];
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        [application run];
        [forwarder release];
    }
    ::_exit(0);
}
