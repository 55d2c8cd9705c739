// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <expected>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/Alert.h"
#include "app/Desktop.h"
#include "app/FileURL.h"

namespace varnel::tests {

/// A desktop without a screen: it remembers what it was told, answers as the test says, and runs the work that was
/// handed to it when the test says so. Work in the background runs on a thread of its own.
class RecordingDesktop final : public Desktop {
public:
    void provideServices() final { record("provideServices"); }

    void showStatusItem(const StatusItem& item) final {
        record("showStatusItem");
        statusItems.push_back(item);
    }

    bool ask(const Alert& alert) final {
        record("ask " + alert.message);
        alerts.push_back(alert);
        const auto answer = answers.find(alert.message);
        return answer != answers.end() && answer->second();
    }

    std::optional<std::string> choose(const OpenPanel& panel) final {
        record("choose");
        panels.push_back(panel);
        return chosen;
    }

    void openFile(const std::string& path) final { record("openFile " + path); }

    std::optional<bool> preference(const std::string& key) const final {
        expectMain();
        ++preferenceReads;
        const auto stored = preferences.find(key);
        return stored == preferences.end() ? std::nullopt : std::optional(stored->second);
    }

    void setPreference(const std::string& key, bool value) final {
        record("setPreference " + key + (value ? " true" : " false"));
        preferences[key] = value;
    }

    bool opensAtLogin() const final {
        expectMain();
        return isLoginItem;
    }

    std::expected<void, LoginItemFailure> setOpensAtLogin(bool opens) final {
        record(opens ? "register at login" : "unregister at login");
        if (loginItemFailure) return std::unexpected(*loginItemFailure);
        isLoginItem = opens;
        return {};
    }

    std::optional<std::string> pathOfURL(const std::string& url) const final { return FileURL::path(url); }

    void terminate() final { record("terminate"); }

    bool inBackground(std::function<void()> work) final {
        const std::lock_guard lock(mutex_);
        if (canBegin) background_.push_back(std::move(work));
        return canBegin;
    }

    void onMain(std::function<void()> work) final {
        const std::lock_guard lock(mutex_);
        main_.push_back(std::move(work));
    }

    bool isMainThread() const final { return std::this_thread::get_id() == mainThread_; }

    void writeToConsole(const std::string& message) final {
        const std::lock_guard lock(mutex_);
        console.push_back(message);
    }

    /// Says yes to every alert with that message, doing `meanwhile` while it is open.
    void accept(
        const std::string& message, std::function<void()> meanwhile = [] {}) {
        answers[message] = [meanwhile = std::move(meanwhile)] {
            meanwhile();
            return true;
        };
    }
    /// Says no to it.
    void decline(
        const std::string& message, std::function<void()> meanwhile = [] {}) {
        answers[message] = [meanwhile = std::move(meanwhile)] {
            meanwhile();
            return false;
        };
    }

    /// Runs the oldest work that waits for the background, to its end; false where there is none.
    bool runBackground() {
        const auto work = taken(background_);
        if (!work) return false;
        std::thread(*work).join();
        return true;
    }
    /// The same on a thread that the test joins itself.
    std::thread beginBackground() { return std::thread(taken(background_).value()); }

    /// Runs the oldest work that waits for the main thread; false where there is none, or where it has to wait.
    bool runMain() {
        if (depth_ > 0 && !nests) return false;
        const auto work = taken(main_);
        if (!work) return false;
        ++depth_;
        (*work)();
        --depth_;
        return true;
    }

    /// Runs everything that waits, and what comes of it.
    void settle() {
        while (runBackground() || runMain()) {
        }
    }

    /// Lets go of the work that waits, as the end of the process does.
    void drop() {
        while (taken(background_) || taken(main_)) {
        }
    }

    std::size_t waitingInBackground() const { return background_.size(); }
    std::size_t waitingOnMain() const { return main_.size(); }

    std::vector<std::string> messages() const {
        std::vector<std::string> messages;
        for (const Alert& alert : alerts)
            messages.push_back(alert.message);
        return messages;
    }

    // What happened.
    std::vector<std::string> calls;  ///< In order; without what only asks.
    std::vector<Alert> alerts;
    std::vector<OpenPanel> panels;
    std::vector<StatusItem> statusItems;
    std::vector<std::string> console;
    mutable int preferenceReads = 0;

    // How the desktop answers. An alert that is not named here is closed without a button.
    std::map<std::string, std::function<bool()>> answers;
    std::optional<std::string> chosen;
    bool canBegin = true;  ///< Work in the background.
    bool nests = false;    ///< Work on the main thread, while an alert is open that such work has opened.
    std::map<std::string, bool> preferences;
    bool isLoginItem = false;
    std::optional<LoginItemFailure> loginItemFailure;

private:
    using Work = std::deque<std::function<void()>>;

    void expectMain() const { EXPECT_TRUE(isMainThread()) << "the desktop was touched off the main thread"; }

    void record(std::string call) {
        expectMain();
        calls.push_back(std::move(call));
    }

    std::optional<std::function<void()>> taken(Work& waiting) {
        const std::lock_guard lock(mutex_);
        if (waiting.empty()) return std::nullopt;
        auto work = std::move(waiting.front());
        waiting.pop_front();
        return work;
    }

    const std::thread::id mainThread_ = std::this_thread::get_id();
    std::mutex mutex_;
    Work background_;
    Work main_;
    int depth_ = 0;  // of the work that runs on the main thread
};

}  // namespace varnel::tests
