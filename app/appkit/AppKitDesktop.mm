// SPDX-License-Identifier: MIT
#include "app/appkit/AppKitDesktop.h"

#import <ServiceManagement/ServiceManagement.h>
#include <dispatch/dispatch.h>

#include <memory>
#include <utility>

#include "app/FileURL.h"

namespace varnel {
namespace {

using ObjectiveC::string;
using ObjectiveC::text;
using Work = std::function<void()>;

void bringToFront() {
    [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
}

NSScrollView* reportView(const std::string& report) {
    NSScrollView* const scroll = [[[NSScrollView alloc] initWithFrame:NSMakeRect(0, 0, 520, 240)] autorelease];
    NSTextView* const view = [[[NSTextView alloc] initWithFrame:[scroll bounds]] autorelease];
    [view setEditable:NO];
    [view setRichText:NO];
    [view setFont:[NSFont monospacedSystemFontOfSize:11 weight:NSFontWeightRegular]];
    [view setString:string(report)];
    [scroll setDocumentView:view];
    [scroll setHasVerticalScroller:YES];
    [scroll setBorderType:NSBezelBorder];
    return scroll;
}

void runOwned(void* context) {
    const std::unique_ptr<Work> work(static_cast<Work*>(context));
    (*work)();
}

void submit(dispatch_queue_t queue, Work work) {
    dispatch_async_f(queue, std::make_unique<Work>(std::move(work)).release(), runOwned);
}

}  // namespace

void AppKitDesktop::provideServices() {
    [[NSApplication sharedApplication] setServicesProvider:delegate_];
    NSUpdateDynamicServices();
}

void AppKitDesktop::showStatusItem(const StatusItem& item) {
    @autoreleasepool {
        NSStatusItem* const shown = [[NSStatusBar systemStatusBar] statusItemWithLength:NSVariableStatusItemLength];
        if (NSStatusBarButton* const button = [shown button]) {
            NSImage* const image = [NSImage imageWithSystemSymbolName:string(item.symbol)
                                             accessibilityDescription:string(item.accessibilityDescription)];
            [image setTemplate:item.isTemplate];
            [button setImage:image];
            [button setToolTip:string(item.toolTip)];
        }
        NSMenu* const menu = [[[NSMenu alloc] initWithTitle:@""] autorelease];
        [menu setAutoenablesItems:NO];
        [menu setDelegate:delegate_];
        [shown setMenu:menu];
        statusItem_.emplace(shown);
    }
}

bool AppKitDesktop::ask(const Alert& alert) {
    @autoreleasepool {
        NSAlert* const panel = [[[NSAlert alloc] init] autorelease];
        [panel setMessageText:string(alert.message)];
        [panel setInformativeText:string(alert.informativeText)];
        if (alert.style == Alert::Style::warning) [panel setAlertStyle:NSAlertStyleWarning];
        if (alert.report) [panel setAccessoryView:reportView(*alert.report)];
        for (const std::string& button : alert.buttons)
            [panel addButtonWithTitle:string(button)];
        bringToFront();
        return [panel runModal] == NSAlertFirstButtonReturn;
    }
}

std::optional<std::string> AppKitDesktop::choose(const OpenPanel& panel) {
    @autoreleasepool {
        NSOpenPanel* const shown = [NSOpenPanel openPanel];
        [shown setCanChooseDirectories:panel.canChooseDirectories];
        [shown setCanChooseFiles:panel.canChooseFiles];
        [shown setAllowsMultipleSelection:panel.allowsMultipleSelection];
        [shown setPrompt:string(panel.prompt)];
        [shown setMessage:string(panel.message)];
        bringToFront();
        if ([shown runModal] != NSModalResponseOK || [shown URL] == nil) return std::nullopt;
        return text([[shown URL] path]);
    }
}

void AppKitDesktop::openFile(const std::string& path) {
    @autoreleasepool {
        [[NSWorkspace sharedWorkspace] openURL:[NSURL fileURLWithPath:string(path)]];
    }
}

std::optional<bool> AppKitDesktop::preference(const std::string& key) const {
    @autoreleasepool {
        NSUserDefaults* const defaults = [NSUserDefaults standardUserDefaults];
        if ([defaults objectForKey:string(key)] == nil) return std::nullopt;
        return [defaults boolForKey:string(key)];
    }
}

void AppKitDesktop::setPreference(const std::string& key, bool value) {
    @autoreleasepool {
        [[NSUserDefaults standardUserDefaults] setBool:value forKey:string(key)];
        // The process may leave before the system would store it.
        [[NSUserDefaults standardUserDefaults] synchronize];
    }
}

bool AppKitDesktop::opensAtLogin() const {
    @autoreleasepool {
        return [[SMAppService mainAppService] status] == SMAppServiceStatusEnabled;
    }
}

std::expected<void, LoginItemFailure> AppKitDesktop::setOpensAtLogin(bool opens) {
    @autoreleasepool {
        NSError* error = nil;
        SMAppService* const service = [SMAppService mainAppService];
        if (opens ? [service registerAndReturnError:&error] : [service unregisterAndReturnError:&error]) return {};
        return std::unexpected(LoginItemFailure{.reason = text([error localizedDescription])});
    }
}

std::optional<std::string> AppKitDesktop::pathOfURL(const std::string& url) const {
    const auto path = FileURL::path(url);
    // A file may be named by its number, which the system alone can resolve.
    if (!path || !path->starts_with("/.file/")) return path;
    @autoreleasepool {
        NSString* const found = [[[NSURL URLWithString:string(url)] filePathURL] path];
        return found == nil ? std::nullopt : std::optional(text(found));
    }
}

void AppKitDesktop::terminate() {
    [[NSApplication sharedApplication] terminate:nil];
}

bool AppKitDesktop::inBackground(std::function<void()> work) {
    submit(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), std::move(work));
    return true;
}

void AppKitDesktop::onMain(std::function<void()> work) {
    submit(dispatch_get_main_queue(), std::move(work));
}

bool AppKitDesktop::isMainThread() const {
    return [NSThread isMainThread];
}

void AppKitDesktop::writeToConsole(const std::string& message) {
    @autoreleasepool {
        NSLog(@"%@", string(message));
    }
}

}  // namespace varnel
