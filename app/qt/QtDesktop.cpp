// SPDX-License-Identifier: MIT
#include "app/qt/QtDesktop.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QFile>
#include <QMetaObject>
#include <QThread>
#include <QUrl>
#include <array>
#include <cstdio>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "app/Alert.h"
#include "app/Desktop.h"
#include "app/FileURL.h"
#include "app/StatusMenu.h"
#include "app/qt/AlertDialog.h"
#include "app/qt/FilePanel.h"
#include "app/qt/QtText.h"

namespace varnel {
namespace {

/// The entries of the menu that another program, or the desktop's list of programs, may name.
constexpr std::array<std::pair<std::string_view, MenuAction>, 4> namedActions = {{
    {"clean-folder", MenuAction::chooseFolder},
    {"sweep-all-volumes", MenuAction::sweepAll},
    {"show-log", MenuAction::showLog},
    {"quit", MenuAction::quit},
}};

void bringToFront(QDialog& dialog) {
    dialog.raise();
    dialog.activateWindow();
}

constexpr const char* loginAdvice = "Varnel must be able to write to the folder of programs that are started at login.";

}  // namespace

QtDesktop::QtDesktop(ApplicationService& service, bool isInBackground)
    : service_(service),
      isInBackground_(isInBackground),
      preferences_(Preferences::defaultFile()),
      loginItem_(LoginItem::ofThisProgram()) {}

QtDesktop::~QtDesktop() = default;

void QtDesktop::open(const std::vector<std::string>& urls) {
    const auto delegate = delegate_.lock();
    if (!delegate || isEnding_) return;
    delegate->cleanUsingVarnel({.fileURLs = {urls.begin(), urls.end()}, .fileNames = std::nullopt});
}

void QtDesktop::activateAction(const std::string& name) {
    for (const auto& [known, action] : namedActions) {
        if (known == name) return perform(action, std::nullopt);
    }
    writeToConsole("Varnel: no action is called " + name);
}

void QtDesktop::provideServices() {
    service_.provide({.activate =
                          [this] {
                              if (statusArea_) statusArea_->popUp();
                          },
                      .open = [this](const std::vector<std::string>& urls) { open(urls); },
                      .activateAction = [this](const std::string& name) { activateAction(name); }});
}

void QtDesktop::showStatusItem(const StatusItem& item) {
    const auto menu = [this] {
        const auto delegate = delegate_.lock();
        return delegate ? delegate->menuNeedsUpdate() : StatusMenu();
    };
    statusArea_ = std::make_unique<StatusArea>(
        item, menu, [this](MenuAction action, const std::optional<std::string>& object) { perform(action, object); });
    statusArea_->onHomeless = [this] {
        writeToConsole("Varnel: this desktop shows no status icons; starting Varnel again opens its menu");
        if (isInBackground_) return;
        ask({.message = "Varnel is running without an icon",
             .informativeText = "This desktop shows no status icons. Start Varnel again to open its menu.",
             .buttons = {"OK"},
             .style = Alert::Style::plain,
             .report = std::nullopt});
    };
}

void QtDesktop::perform(MenuAction action, const std::optional<std::string>& representedObject) {
    const auto delegate = delegate_.lock();
    if (!delegate || isEnding_) return;
    if (!open_.empty() && action != MenuAction::quit) {
        // A question is open, and waits for its answer before anything else is done.
        bringToFront(*open_.back());
        return;
    }
    delegate->perform(action, representedObject);
    if (statusArea_ && !isEnding_) statusArea_->refresh();
}

int QtDesktop::run(QDialog& dialog) {
    if (isEnding_) return QDialog::Rejected;
    open_.push_back(&dialog);
    dialog.setModal(true);
    dialog.show();
    bringToFront(dialog);
    const int result = dialog.exec();
    open_.pop_back();
    return isEnding_ ? QDialog::Rejected : result;
}

bool QtDesktop::ask(const Alert& alert) {
    AlertDialog dialog(alert);
    return run(dialog) == QDialog::Accepted;
}

std::optional<std::string> QtDesktop::choose(const OpenPanel& panel) {
    FilePanel dialog(panel);
    return run(dialog) == QDialog::Accepted ? dialog.path() : std::nullopt;
}

void QtDesktop::openFile(const std::string& path) {
    const QUrl url = QUrl::fromLocalFile(QFile::decodeName(path.c_str()));
    if (!QDesktopServices::openUrl(url)) writeToConsole("Varnel: no application opens " + path);
}

std::optional<bool> QtDesktop::preference(const std::string& key) const {
    return preferences_.value(QtText::shown(key));
}

void QtDesktop::setPreference(const std::string& key, bool value) {
    if (preferences_.setValue(QtText::shown(key), value)) return;
    writeToConsole("Varnel: could not store the preferences in " + QtText::utf8(preferences_.file()));
}

bool QtDesktop::opensAtLogin() const {
    return loginItem_.isEnabled();
}

std::expected<void, LoginItemFailure> QtDesktop::setOpensAtLogin(bool opens) {
    const auto done = loginItem_.setEnabled(opens);
    if (done) return {};
    return std::unexpected(LoginItemFailure{.reason = QtText::utf8(done.error()), .advice = loginAdvice});
}

std::optional<std::string> QtDesktop::pathOfURL(const std::string& url) const {
    return FileURL::path(url);
}

void QtDesktop::terminate() {
    isEnding_ = true;
    service_.leaveName();
    // Of every loop, those of open alerts as well.
    QCoreApplication::exit(0);
}

bool QtDesktop::inBackground(std::function<void()> work) {
    try {
        std::thread(std::move(work)).detach();
        return true;
    } catch (const std::system_error& error) {
        writeToConsole(std::string("Varnel: could not begin to work: ") + error.what());
        return false;
    }
}

void QtDesktop::onMain(std::function<void()> work) {
    QMetaObject::invokeMethod(&main_, std::move(work), Qt::QueuedConnection);
}

bool QtDesktop::isMainThread() const {
    return QThread::currentThread() == main_.thread();
}

void QtDesktop::writeToConsole(const std::string& message) {
    // The session keeps what its programs say there in its journal.
    std::fputs((message + '\n').c_str(), stderr);
}

}  // namespace varnel
