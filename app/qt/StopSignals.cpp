// SPDX-License-Identifier: MIT
//
// A handler may do next to nothing, so it writes a byte into a pipe that the event loop reads.
#include "app/qt/StopSignals.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigaction is POSIX
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <memory>
#include <utility>

namespace varnel {
namespace {

constexpr std::array<int, 3> stopping = {SIGTERM, SIGINT, SIGHUP};

std::array<int, 2> stopPipe = {-1, -1};

void onSignal(int /*signal*/) {
    const int saved = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(stopPipe[1], &byte, 1);
    errno = saved;
}

void handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int one : stopping)
        ::sigaction(one, &action, nullptr);
}

}  // namespace

StopSignals::StopSignals(std::function<void()> onStop) {
    if (::pipe2(stopPipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;
    notifier_ = std::make_unique<QSocketNotifier>(stopPipe[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [onStop = std::move(onStop)] {
        std::array<char, 16> bytes{};
        while (::read(stopPipe[0], bytes.data(), bytes.size()) > 0) {
        }
        onStop();
    });
    handle(onSignal);
}

StopSignals::~StopSignals() {
    if (!notifier_) return;
    handle(SIG_DFL);
    notifier_.reset();
    for (int& end : stopPipe) {
        ::close(end);
        end = -1;
    }
}

}  // namespace varnel
