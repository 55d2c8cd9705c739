// SPDX-License-Identifier: MIT
#pragma once

#import <AppKit/AppKit.h>

#include <expected>
#include <functional>
#include <optional>
#include <string>

#include "app/Alert.h"
#include "app/Desktop.h"
#include "app/appkit/ApplicationDelegate.h"
#include "platform/macos/ObjectiveC.h"

namespace varnel {

/// The desktop of macOS.
class AppKitDesktop final : public Desktop {
public:
    /// To be called before the application runs. The delegate is the process's own, and is not kept.
    void setDelegate(VarnelApplicationDelegate* _Nonnull delegate) { delegate_ = delegate; }

    void provideServices() final;
    void showStatusItem(const StatusItem& item) final;
    bool ask(const Alert& alert) final;
    std::optional<std::string> choose(const OpenPanel& panel) final;
    void openFile(const std::string& path) final;
    std::optional<bool> preference(const std::string& key) const final;
    void setPreference(const std::string& key, bool value) final;
    bool opensAtLogin() const final;
    std::expected<void, LoginItemFailure> setOpensAtLogin(bool opens) final;
    std::optional<std::string> pathOfURL(const std::string& url) const final;
    void terminate() final;
    bool inBackground(std::function<void()> work) final;
    void onMain(std::function<void()> work) final;
    bool isMainThread() const final;
    void writeToConsole(const std::string& message) final;

private:
    VarnelApplicationDelegate* _Nullable delegate_ = nil;
    std::optional<ObjectiveC::Retained> statusItem_;  // the bar does not keep it
};

}  // namespace varnel
