// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <QDBusConnection>
#include <QString>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace varnel::tests {

/// A program that runs beside the test, and dies with it.
class Companion {
public:
    /// `environment` is added to the test's own; an empty text takes a variable away. What it says goes to `outFile`.
    Companion(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment,
              const std::string& outFile);
    ~Companion();
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

    pid_t process() const { return process_; }
    void signal(int signal) const;

    /// The exit status, or 128 and the signal; none where it still runs after so long.
    std::optional<int> ended(std::chrono::milliseconds patience = std::chrono::seconds(10));

    /// What it has said so far.
    std::string said() const;

private:
    std::string outFile_;
    pid_t process_ = -1;
    std::optional<int> status_;
};

/// A desktop session of the test's own: home folder, session bus, X server, window manager, and the bus over which
/// screen readers look at windows. To be made in a child process, whose environment it changes.
class DesktopSession {
public:
    struct Options {
        bool hasBus = true;
        bool hasWindowManager = true;  ///< Without one what is typed goes where the mouse is.
        std::string screen = "1280x900x24";
    };

    DesktopSession() : DesktopSession(Options()) {}
    explicit DesktopSession(const Options& options);
    ~DesktopSession();

    /// The program without which there is no such session; empty where none is missing.
    static std::string missing();

    const TemporaryFolder& folder() const { return folder_; }
    std::string home() const { return folder_.at("home"); }
    std::string busAddress() const;

    /// A connection of the test's own to the bus of the latest session, known by `name`.
    static QDBusConnection connect(const QString& name);

    /// Starts a program in the session; `name` is for its output.
    std::unique_ptr<Companion> start(const std::string& name, const std::vector<std::string>& words,
                                     const std::map<std::string, std::string>& environment = {}) const;

    /// Presses keys ("Return", "Escape", "ctrl+c") in the window that has the focus.
    static void press(const std::string& keys);
    static void type(const std::string& text);
    static void click(int x, int y, int button = 1);

    /// Keeps a picture of the screen among the artefacts of the build.
    static void keepPicture(const std::string& name);

private:
    TemporaryFolder folder_;
    std::vector<std::unique_ptr<Companion>> companions_;
};

/// Waits like comesTrue(), and answers meanwhile what comes over the bus.
bool happens(const std::function<bool()>& condition, std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace varnel::tests
