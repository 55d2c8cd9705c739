// SPDX-License-Identifier: MIT
#include "cli/Interruption.h"

#include <fcntl.h>
#include <poll.h>    // IWYU pragma: keep
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigwait() and the masks are POSIX
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "cli/ProgressLine.h"

namespace varnel::cli::Interruption {
namespace {

/// How the watching process hands an interruption on. The terminal signals both processes, so the working one cannot
/// listen to the terminal's own signal without hearing every Ctrl-C twice.
constexpr int handedOn = SIGUSR1;
constexpr std::chrono::milliseconds timeToDie{1000};
constexpr std::chrono::milliseconds napLength{5};

std::atomic<bool> isDeferred{false};
std::atomic<bool> requested{false};

void say(std::string_view text) {
    if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;  // there is nobody to tell
}

void eraseProgress() {
    if (::isatty(STDERR_FILENO) == 1) say(ProgressLine::eraser());
}

// The watching process. Its one child is the working process.

pid_t worker = -1;

void handOn(int) {
    ::kill(worker, handedOn);
}

[[noreturn]] void leaveWith(int status) {
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

/// Waits for the worker to end, or to announce that it is ending: the kernel may hold it back for as long as a dead
/// disk keeps one of its calls.
[[noreturn]] void watch(int announcements) {
    char announcement = 0;
    ssize_t got = 0;
    do {
        got = ::read(announcements, &announcement, 1);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        // Short naps, because no call waits for a child with a limit; hardly ever more than one.
        int status = 0;
        for (int nap = 0; nap < timeToDie / napLength; ++nap) {
            if (::waitpid(worker, &status, WNOHANG) == worker) leaveWith(status);
            std::this_thread::sleep_for(napLength);
        }
        say("varnel: the disk does not answer; the last call to it is left to the system\n");
        ::_exit(static_cast<int>(ExitStatus::interrupted));
    }
    int status = 0;
    while (::waitpid(worker, &status, 0) < 0 && errno == EINTR) {
    }
    leaveWith(status);
}

// The working process.

[[noreturn]] void leave(int announcements) {
    eraseProgress();
    // Said before the end, which may take as long as the disk likes.
    if (::write(announcements, "x", 1) < 0) ::_exit(static_cast<int>(ExitStatus::interrupted));
    // What was done before is told, where it was printed but not sent on yet.
    Output::flush();
    ::_exit(static_cast<int>(ExitStatus::interrupted));
}

void listen(int announcements) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, handedOn);
    std::thread([signals, announcements] {
        for (;;) {
            int received = 0;
            if (::sigwait(&signals, &received) != 0) continue;
            if (!isDeferred || requested.exchange(true)) leave(announcements);
            if (::isatty(STDERR_FILENO) == 1) {
                eraseProgress();
                say("finishing the item at hand; Ctrl-C again stops at once\n");
            }
        }
    }).detach();
}

/// Ends the work with the process that watches it: whoever kills that one means both.
void endWithWatcher(int announcements) {
    std::thread([announcements] {
        pollfd end{announcements, 0, 0};  // POLLERR, once nobody reads any more
        while (::poll(&end, 1, -1) < 0 && errno == EINTR) {
        }
        ::_exit(static_cast<int>(ExitStatus::interrupted));
    }).detach();
}

void handOnUnlessIgnored(int signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;  // as nohup and & ask
    action = {};
    action.sa_handler = handOn;
    ::sigaction(signal, &action, nullptr);
}

void blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, handedOn})
        sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

void begin() {
    std::array<int, 2> ends{};
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    blockSignals();
    const bool hasPipe = ::pipe(ends.data()) == 0;
    worker = hasPipe ? ::fork() : -1;
    if (worker < 0) {
        // No room for a second process: Ctrl-C ends this one as it ends any other.
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return;
    }
    for (const int end : ends)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    if (worker > 0) {
        ::close(ends[1]);
        ::signal(handedOn, SIG_IGN);
        // The handlers are set before the signals are let in again.
        handOnUnlessIgnored(SIGINT);
        handOnUnlessIgnored(SIGTERM);
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        watch(ends[0]);
    }
    ::close(ends[0]);
    listen(ends[1]);
    endWithWatcher(ends[1]);
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
