// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/desktop/Bar.h"
#include "tests/desktop/DesktopSession.h"
#include "tests/desktop/Windows.h"

namespace varnel::tests {

/// A session with a bar, and varnel-desktop in it.
class DesktopRig {
public:
    struct Options {
        DesktopSession::Options session;
        bool hasBar = true;
        std::map<std::string, std::string> environment;  ///< Of the program.
        std::vector<std::string> arguments;
        std::function<void(const DesktopSession&)> prepare = [](const DesktopSession&) {};
    };

    DesktopRig() : DesktopRig(Options()) {}
    explicit DesktopRig(Options options);
    ~DesktopRig();

    /// Starts the program once more, as a launch from the desktop or a file manager would.
    std::unique_ptr<Companion> launch(const std::vector<std::string>& arguments,
                                      const std::map<std::string, std::string>& environment = {}) const;

    /// Waits for a line in the activity log.
    bool logs(const std::string& text) const;
    std::string log() const;

    DesktopSession session;
    QCoreApplication application;
    std::unique_ptr<Bar> bar;
    std::unique_ptr<Companion> program;
    std::unique_ptr<Windows> windows;
};

/// Runs a part of a test in a mount namespace of its own, with an empty /media; skips the test where that is
/// impossible here.
void onDesktop(const std::function<void()>& body);

}  // namespace varnel::tests
