// SPDX-License-Identifier: MIT
#include "tests/desktop/DesktopSession.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "tests/support/PrivateMounts.h"
#include "tests/support/Waiting.h"

namespace varnel::tests {
namespace {

constexpr const char* accessibilityLauncher = "/usr/libexec/at-spi-bus-launcher";

/// The descriptor on which an X server tells its number.
constexpr int displayDescriptor = 3;

void setVariable(const std::string& name, const std::string& value) {
    value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

}  // namespace

Companion::Companion(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment,
                     const std::string& outFile)
    : outFile_(outFile) {
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no child process");
    if (process_ > 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const auto& [name, value] : environment)
        setVariable(name, value);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    const int out = ::open(outFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
    std::vector<std::string> copy = words;
    std::vector<char*> pointers;
    for (std::string& word : copy)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    ::execvp(pointers.front(), pointers.data());
    ::_exit(127);
}

Companion::~Companion() {
    if (status_) return;
    ::kill(process_, SIGKILL);
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
}

void Companion::signal(int signal) const {
    ::kill(process_, signal);
}

std::optional<int> Companion::ended(std::chrono::milliseconds patience) {
    happens(
        [this] {
            int status = 0;
            if (!status_ && ::waitpid(process_, &status, WNOHANG) == process_) {
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            return status_.has_value();
        },
        patience);
    return status_;
}

std::string Companion::said() const {
    std::ifstream stream(outFile_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string DesktopSession::missing() {
    for (const char* const program :
         {"Xvfb", "dbus-daemon", "openbox", "xdotool", "xprop", "display", "import", accessibilityLauncher}) {
        if (!hasProgram(program)) return program;
    }
    return {};
}

DesktopSession::DesktopSession(const Options& options) {
    for (const char* const below : {"home", "run", "bin"})
        folder_.folder(below);
    ::chmod(folder_.at("run").c_str(), 0700);
    for (const char* const name :
         {"WAYLAND_DISPLAY", "XAUTHORITY", "XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "QT_QPA_PLATFORMTHEME",
          "QT_SCALE_FACTOR", "QT_STYLE_OVERRIDE", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
          "XDG_STATE_HOME", "DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN", "DBUS_SESSION_BUS_ADDRESS", "DISPLAY"}) {
        ::unsetenv(name);
    }
    setVariable("HOME", home());
    setVariable("XDG_RUNTIME_DIR", folder_.at("run"));
    setVariable("LC_ALL", "C.UTF-8");
    setVariable("TZ", "UTC");
    setVariable("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    setVariable("PATH", folder_.at("bin") + ":" + std::getenv("PATH") + ":/usr/sbin:/sbin");

    // A first process gives the server a descriptor to tell its number on.
    const std::string number = folder_.at("display");
    companions_.push_back(
        start("xserver", {"sh", "-c",
                          "exec Xvfb -displayfd " + std::to_string(displayDescriptor) + " -screen 0 " + options.screen +
                              " -nolisten tcp -noreset 3>'" + number + "'"}));
    if (!comesTrue([&] { return exists(number) && folder_.contents("display").ends_with('\n'); })) {
        throw std::runtime_error("no X server: " + companions_.back()->said());
    }
    const std::string display = folder_.contents("display");
    setVariable("DISPLAY", ":" + display.substr(0, display.size() - 1));

    if (options.hasBus) {
        companions_.push_back(
            start("bus", {"dbus-daemon", "--session", "--nofork", "--print-address", "--address=" + busAddress()}));
        // Printed when it listens.
        if (!comesTrue([this] { return companions_.back()->said().find("unix:") != std::string::npos; })) {
            throw std::runtime_error("no session bus");
        }
        setVariable("DBUS_SESSION_BUS_ADDRESS", busAddress());
        companions_.push_back(start("accessibility", {accessibilityLauncher, "--launch-immediately"}));
    } else {
        // Without this some libraries would start a bus of their own.
        setVariable("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder_.at("run/nothing"));
    }
    if (!options.hasWindowManager) return;
    companions_.push_back(start("windows", {"openbox", "--sm-disable"}));
    // The last that it does before it is ready is to take the focus from whatever has it.
    if (!comesTrue([] { return std::system("xdotool getwindowfocus >/dev/null 2>&1") == 0; })) {
        throw std::runtime_error("no window manager");
    }
}

DesktopSession::~DesktopSession() {
    while (!companions_.empty())
        companions_.pop_back();
}

std::string DesktopSession::busAddress() const {
    return "unix:path=" + folder_.at("run/bus");
}

QDBusConnection DesktopSession::connect(const QString& name) {
    // By its address: for "the session bus" a process remembers the first one.
    return QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), name);
}

std::unique_ptr<Companion> DesktopSession::start(const std::string& name, const std::vector<std::string>& words,
                                                 const std::map<std::string, std::string>& environment) const {
    return std::make_unique<Companion>(words, environment, folder_.at(name + ".out"));
}

void DesktopSession::press(const std::string& keys) {
    shell("xdotool key --clearmodifiers " + keys);
}

void DesktopSession::type(const std::string& text) {
    shell("xdotool type --clearmodifiers -- '" + text + "'");
}

void DesktopSession::click(int x, int y, int button) {
    shell("xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click " + std::to_string(button));
}

void DesktopSession::keepPicture(const std::string& name) {
    std::filesystem::create_directories(VARNEL_PICTURES);
    shell(std::string("import -window root '") + VARNEL_PICTURES + "/" + name + ".png'");
}

bool happens(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    return comesTrue(
        [&condition] {
            QCoreApplication::processEvents();
            return condition();
        },
        patience);
}

}  // namespace varnel::tests
