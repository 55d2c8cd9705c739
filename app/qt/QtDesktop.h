// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPointer>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/Desktop.h"
#include "app/qt/ApplicationService.h"
#include "app/qt/LoginItem.h"
#include "app/qt/Preferences.h"
#include "app/qt/StatusArea.h"

class QDialog;

namespace varnel {

/// The desktop of Linux, by Qt.
class QtDesktop final : public Desktop {
public:
    /// `isInBackground`: started by the session, so that nothing is to appear that nobody asked for.
    QtDesktop(ApplicationService& service, bool isInBackground);
    ~QtDesktop() override;

    /// Who is called back. Not kept alive.
    void setDelegate(const std::weak_ptr<AppDelegate>& delegate) { delegate_ = delegate; }

    /// Has files and folders cleaned, and an entry of the menu carried out, as a launch asked for.
    void open(const std::vector<std::string>& urls);
    void activateAction(const std::string& name);

    /// Takes the status item away. To be called when the event loop has ended: what is left to be done may take a
    /// while, and a process that waits for a dead disk cannot be ended at all.
    void leave() { statusArea_.reset(); }

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
    void perform(MenuAction action, const std::optional<std::string>& representedObject);
    int run(QDialog& dialog);

    ApplicationService& service_;
    const bool isInBackground_;
    std::weak_ptr<AppDelegate> delegate_;
    Preferences preferences_;
    LoginItem loginItem_;
    std::unique_ptr<StatusArea> statusArea_;
    std::vector<QDialog*> open_;  // the uppermost last
    bool isEnding_ = false;
    QObject main_;  // lives on the main thread; what is handed to it runs there
};

}  // namespace varnel
