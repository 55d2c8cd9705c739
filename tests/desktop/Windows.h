// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QRect>
#include <QString>
#include <optional>
#include <string>
#include <vector>

namespace varnel::tests {

/// A part of a window, as a screen reader is told of it.
struct Part {
    std::string role;
    std::string name;
    std::string description;
    std::string text;  ///< Of a part that holds text to read through.
    QRect place;       ///< On the screen.
    bool hasFocus = false;
    bool isDefault = false;
    bool isEditable = false;
};

/// A dialog, as a screen reader is told of it.
struct Dialog {
    std::string name;
    std::string description;
    QRect place;
    std::vector<Part> parts;

    /// Names of the buttons in reading order; of a role for all.
    std::vector<std::string> buttons() const;
    /// The texts on it, from top to bottom.
    std::vector<std::string> labels() const;
    const Part* part(const std::string& role, const std::string& partName) const;
    const Part* button(const std::string& title) const;
    /// The first part of a role.
    const Part* part(const std::string& role) const;
};

/// Looks at the windows of the session's programs the way screen readers do.
class Windows {
public:
    Windows();
    ~Windows();
    Windows(const Windows&) = delete;
    Windows& operator=(const Windows&) = delete;

    /// The dialogs that are open now, the latest last.
    std::vector<Dialog> dialogs();

    /// Waits until a dialog of that name is open and takes what is typed.
    std::optional<Dialog> dialog(const std::string& name);

    /// Whether the menu of the program is open on the screen; not to be asked while a dialog is.
    static bool hasMenu();

    /// Waits until no dialog is open.
    bool areClosed();

private:
    struct Reference {
        QString service;
        QString path;
    };

    std::vector<Reference> windows();
    std::vector<Reference> childrenOf(const Reference& one);
    Part read(const Reference& one);
    void collect(const Reference& one, std::vector<Part>& into, int depth);

    std::optional<QDBusConnection> bus_;
};

/// Clicks into the middle of a part with the mouse.
void click(const Part& part);

}  // namespace varnel::tests
