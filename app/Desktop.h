// SPDX-License-Identifier: MIT
//
// All that the application needs of the desktop it runs on. A desktop shows values and calls AppDelegate back; it
// decides nothing and knows no text of its own.
//
// What a desktop's main() does, in this order: ignore SIGPIPE and SIGXFSZ, so that a log that is full ends nothing;
// take SIGCHLD back to its default, so that it is told how its tools ended; go to the folder "/", so that no volume is
// kept in use; make the platform's application object; make the desktop; make
// the AppDelegate and remember it for calling back; keep the application out of the dock and the task bar; run the
// event loop. When the loop has ended, and applicationWillTerminate() has returned, it leaves with _exit(0): work in
// the background, or a watcher on a dead disk, may still hold the delegate, the desktop and the log, and is abandoned.
#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <string>

#include "app/Alert.h"

namespace varnel {

/// What stands in the status bar, as a value. Its menu is not part of it.
struct StatusItem {
    std::string symbol;  ///< Name of the system's symbol, or of an icon of that name.
    std::string accessibilityDescription;
    bool isTemplate = false;  ///< The image is a shape that takes the bar's own colours.
    std::string toolTip;

    bool operator==(const StatusItem&) const = default;
};

/// A panel in which one existing file or folder is chosen, as a value.
struct OpenPanel {
    bool canChooseDirectories = true;
    bool canChooseFiles = true;
    bool allowsMultipleSelection = false;
    std::string prompt;   ///< Title of the button that chooses.
    std::string message;  ///< What is to be chosen.

    bool operator==(const OpenPanel&) const = default;
};

/// Why opening at login could not be switched.
struct LoginItemFailure {
    std::string reason;  ///< The system's own words.
    /// What helps, shown below the reason; empty where nothing is known to. A platform without that folder has its own.
    std::string advice = "This only works when Varnel is installed in /Applications.";
};

/// Port: the desktop. Abstract because tests record and answer. Main thread only, but for inBackground(), onMain(),
/// isMainThread() and writeToConsole(), which are safe from any thread.
class Desktop {
public:
    virtual ~Desktop() = default;
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    /// Makes AppDelegate::cleanUsingVarnel() reachable for other applications, and lets the system know of it.
    virtual void provideServices() = 0;

    /// Puts the item in the status bar and keeps it there as long as the application runs; called once. Before each
    /// opening its menu is filled from AppDelegate::menuNeedsUpdate(), and a chosen entry with an action goes to
    /// AppDelegate::perform(). Where the bar has no place for the image or the tool tip, they are left out in silence.
    virtual void showStatusItem(const StatusItem& item) = 0;

    /// Brings the application to the front, shows the alert and waits for the answer. True where it was the first
    /// button; false for any other, for the close box or Escape, and where the application is ending.
    ///
    /// Work that was handed to onMain() goes on meanwhile, and may show another alert on top. Where such work asks, the
    /// rest may have to wait for the answer: macOS runs nothing of its main queue within work of that queue.
    virtual bool ask(const Alert& alert) = 0;

    /// Brings the application to the front, shows the panel and waits. The path that was chosen, as the platform spells
    /// it, or none.
    virtual std::optional<std::string> choose(const OpenPanel& panel) = 0;

    /// Opens a file with the application that the system associates with it; does nothing where there is none.
    virtual void openFile(const std::string& path) = 0;

    /// The person's own setting under that key; none where nothing was ever stored. Asked afresh at every call.
    virtual std::optional<bool> preference(const std::string& key) const = 0;

    /// Stores the setting so that it survives the process.
    virtual void setPreference(const std::string& key, bool value) = 0;

    /// Whether the system says that it opens this application at login. Any state but a plain yes is false.
    virtual bool opensAtLogin() const = 0;

    /// Registers (true) or unregisters (false) the application for opening at login.
    virtual std::expected<void, LoginItemFailure> setOpensAtLogin(bool opens) = 0;

    /// The path that a URL names; none where the text is no URL, or no file's. FileURL::path() does it where the
    /// platform has no file URLs of its own making.
    virtual std::optional<std::string> pathOfURL(const std::string& url) const = 0;

    /// Ends the event loop in the platform's ordinary way, which calls AppDelegate::applicationWillTerminate() on the
    /// way out. Returns before or after that, or never.
    virtual void terminate() = 0;

    /// Runs `work` soon on some other thread, for a person who waits. Several pieces may run at once. Never waited for
    /// when the application ends. False where no thread is to be had: it will never run.
    virtual bool inBackground(std::function<void()> work) = 0;

    /// Runs `work` soon on the main thread, in the order of the calls, also while an alert or a panel is open that no
    /// such work has opened; never within this call. Dropped where the event loop has ended.
    virtual void onMain(std::function<void()> work) = 0;

    virtual bool isMainThread() const = 0;

    /// One line for whoever looks after the machine: the system console, the journal or standard error.
    virtual void writeToConsole(const std::string& message) = 0;

protected:
    Desktop() = default;
};

}  // namespace varnel
