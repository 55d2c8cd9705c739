// SPDX-License-Identifier: MIT
#include "cli/Interruption.h"

#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigwait() and the masks are POSIX
#include <unistd.h>

#include <atomic>
#include <string_view>
#include <thread>

#include "cli/ExitStatus.h"
#include "cli/ProgressLine.h"

namespace varnel::cli::Interruption {
namespace {

std::atomic<bool> isDeferred{false};
std::atomic<bool> requested{false};

void say(std::string_view text) {
    if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;  // there is nobody to tell
}

[[noreturn]] void leave() {
    if (::isatty(STDERR_FILENO) == 1) say(ProgressLine::eraser());
    ::_exit(static_cast<int>(ExitStatus::interrupted));
}

}  // namespace

void begin() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals] {
        for (;;) {
            int received = 0;
            if (::sigwait(&signals, &received) != 0) continue;
            if (!isDeferred || requested.exchange(true)) leave();
            if (::isatty(STDERR_FILENO) == 1) {
                say(ProgressLine::eraser());
                say("finishing the item at hand; Ctrl-C again stops at once\n");
            }
        }
    }).detach();
}

Deferred::Deferred() {
    isDeferred = true;
}

Deferred::~Deferred() {
    isDeferred = false;
}

bool isRequested() {
    return requested;
}

}  // namespace varnel::cli::Interruption
