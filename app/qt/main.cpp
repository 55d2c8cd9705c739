// SPDX-License-Identifier: MIT
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals are POSIX's
#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <QIcon>
#include <QSessionManager>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "app/AppDelegate.h"
#include "app/AppPorts.h"
#include "app/qt/ApplicationService.h"
#include "app/qt/LaunchArguments.h"
#include "app/qt/QtDesktop.h"
#include "app/qt/StopSignals.h"

namespace {

using namespace varnel;

constexpr const char* help =
    "Usage: varnel-desktop [--background] [--action NAME] [FILE-OR-URL...]\n"
    "\n"
    "Shows Varnel in the status area. Where it is running already, hands over to it:\n"
    "a file or folder is cleaned after a question; without any, the menu opens.\n"
    "\n"
    "  --background   show nothing that nobody asked for; for the start of a session\n"
    "  --action NAME  clean-folder, sweep-all-volumes, show-log or quit\n"
    "  --version      print the version\n"
    "  --help         print this text\n";

int complain(const std::string& message) {
    std::fputs(("varnel-desktop: " + message + '\n').c_str(), stderr);
    return 1;
}

/// Ends the process where Qt would abort it, above all where there is no display.
void onQtMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    std::fputs(("varnel-desktop: " + message.toStdString() + '\n').c_str(), stderr);
    if (type == QtFatalMsg) ::_exit(1);
}

void beUnobtrusive(QApplication& application) {
    application.setQuitOnLastWindowClosed(false);
    application.setQuitLockEnabled(false);
    // The login item starts it with the session; the session itself must not, too.
    QObject::connect(&application, &QGuiApplication::saveStateRequest, &application,
                     [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); });
}

int run(QApplication& application, const LaunchArguments& arguments) {
    ApplicationService service(QDBusConnection::sessionBus());
    switch (service.takeName()) {
        case ApplicationService::Role::first:
            break;
        case ApplicationService::Role::second:
            if (const auto handedOver = service.handOver(arguments); !handedOver) {
                return complain(handedOver.error().toStdString());
            }
            return 0;
        case ApplicationService::Role::unknown:
            complain("there is no session bus: other programs and a second launch cannot hand files over");
            break;
    }

    const auto desktop = std::make_shared<QtDesktop>(service, arguments.isInBackground);
    const auto delegate = AppDelegate::create(desktop, AppPorts::ofSystem(desktop));
    desktop->setDelegate(delegate);
    const StopSignals stop([desktop] { desktop->terminate(); });
    desktop->onMain([desktop, delegate, arguments] {
        delegate->applicationDidFinishLaunching();
        if (!arguments.urls.empty()) desktop->open(arguments.urls);
        if (arguments.action) desktop->activateAction(*arguments.action);
    });
    const int status = application.exec();
    desktop->leave();
    delegate->applicationWillTerminate();
    // Work in the background may still hold the delegate, or hang on a dead disk: it is abandoned.
    std::fflush(nullptr);
    ::_exit(status);
}

}  // namespace

int main(int count, char** words) {
    // A closed pipe or a limit on file sizes must end a write with an error, not the process in the middle of its work.
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
    // Whoever started this may ignore its children; then nobody could tell how one of ours ended.
    ::signal(SIGCHLD, SIG_DFL);
    qInstallMessageHandler(onQtMessage);

    // Before Qt decodes them: a path may hold any bytes.
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    const auto early =
        LaunchArguments::parse(std::vector<std::string>(words + (count > 0 ? 1 : 0), words + count), folder);
    if (early && early->request == LaunchArguments::Request::showHelp) return std::fputs(help, stdout) < 0;
    if (early && early->request == LaunchArguments::Request::showVersion)
        return std::puts("varnel-desktop " VARNEL_VERSION) < 0;
    // A volume would be kept in use, which nobody could eject then.
    if (::chdir("/") != 0) return complain("the folder / cannot be entered");

    QApplication application(count, words);
    // Which has taken its own options away.
    const auto arguments =
        LaunchArguments::parse(std::vector<std::string>(words + (count > 0 ? 1 : 0), words + count), folder);
    if (!arguments) return complain(arguments.error() + "; see varnel-desktop --help");
    QApplication::setApplicationName(QStringLiteral("varnel-desktop"));
    QApplication::setApplicationDisplayName(QStringLiteral("Varnel"));
    QApplication::setApplicationVersion(QStringLiteral(VARNEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.quorin.Varnel"));
    QApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("com.quorin.Varnel"), QIcon(QStringLiteral(":/varnel/com.quorin.Varnel.svg"))));
    beUnobtrusive(application);
    return run(application, *arguments);
}
