// SPDX-License-Identifier: MIT
#include "cli/Interruption.h"

#include <poll.h>    // IWYU pragma: keep
#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigwait() and the masks are POSIX
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <thread>

#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "cli/ProgressLine.h"
#include "core/base/Process.h"

namespace varnel::cli::Interruption {
namespace {

/// How the watching process hands an interruption on. The terminal signals both processes, so the working one cannot
/// listen to the terminal's own signal without hearing every Ctrl-C twice.
constexpr int handedOn = SIGUSR1;
constexpr std::chrono::milliseconds timeToDie{1000};
constexpr std::chrono::milliseconds timeToEnd{5000};  // with all that a good end has to put away
constexpr std::chrono::milliseconds napLength{5};
constexpr std::chrono::milliseconds lookInterval{200};

std::atomic<const char*> deferral{nullptr};  // what a person is told at the first; null where nothing is deferred
std::atomic<bool> requested{false};
// A pipe with a byte in it once requested. Never closed: whoever waits or answers a signal may outlive everything else.
int requestsRead = -1;
int requestsWritten = -1;

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
    // In poll(), because the thread sanitizer of GCC 12 lets no handler in while read() waits.
    pollfd announcement{announcements, POLLIN, 0};
    while (::poll(&announcement, 1, -1) < 0 && errno == EINTR) {
    }
    unsigned char announced = 0;  // the status
    ssize_t got = 0;
    do {
        got = ::read(announcements, &announced, 1);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        const bool isInterrupted = announced == static_cast<unsigned char>(ExitStatus::interrupted);
        const auto longest = isInterrupted ? timeToDie : timeToEnd;
        // Short naps, because no call waits for a child with a limit; hardly ever more than one.
        int status = 0;
        for (int nap = 0; nap < longest / napLength; ++nap) {
            if (::waitpid(worker, &status, WNOHANG) == worker) leaveWith(status);
            std::this_thread::sleep_for(napLength);
        }
        say("varnel: the disk does not answer; the last call to it is left to the system\n");
        ::_exit(announced);
    }
    int status = 0;
    while (::waitpid(worker, &status, 0) < 0 && errno == EINTR) {
    }
    leaveWith(status);
}

// The working process.

int announcements = -1;  // where it tells the watching one that it is ending

/// Notes an interruption, and gives what the person is told; null where it is to end the process.
const char* note() {
    const char* const answer = deferral;
    if (answer == nullptr || requested.exchange(true)) return nullptr;
    if (::write(requestsWritten, "x", 1) < 0) return answer;  // whoever waits looks now and then
    return answer;
}

void tell(const char* answer) {
    if (::isatty(STDERR_FILENO) != 1) return;
    eraseProgress();
    say(answer);
    say("\n");
}

void listen() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, handedOn);
    std::thread([signals] {
        for (;;) {
            int received = 0;
            if (::sigwait(&signals, &received) != 0) continue;
            const char* const answer = note();
            if (answer == nullptr) leave();
            tell(answer);
        }
    }).detach();
}

/// Ends the work with the process that watches it: whoever kills that one means both.
void endWithWatcher() {
    std::thread([] {
        pollfd end{announcements, 0, 0};  // POLLERR, once nobody reads any more
        while (::poll(&end, 1, -1) < 0 && errno == EINTR) {
        }
        ::_exit(static_cast<int>(ExitStatus::interrupted));
    }).detach();
}

/// In the place of the thread, where the system has none to give: may come in the middle of anything.
void onSignal(int) {
    const int before = errno;  // of the call that was interrupted
    const char* const answer = note();
    if (answer == nullptr) ::_exit(static_cast<int>(ExitStatus::interrupted));
    tell(answer);
    errno = before;
}

void handleUnlessIgnored(int signal, void (*handler)(int)) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;  // as nohup and & ask
    action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

sigset_t ownSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, handedOn})
        sigaddset(&signals, signal);
    return signals;
}

}  // namespace

void begin() {
    sigset_t before;
    const sigset_t signals = ownSignals();
    // Held back before there is any thread or process that could take one for itself.
    ::pthread_sigmask(SIG_BLOCK, &signals, &before);
    if (auto pipe = openPipe()) {
        requestsRead = pipe->reading.release();
        requestsWritten = pipe->writing.release();
    }
    auto announcing = openPipe();
    worker = canWorkAfterFork() && announcing ? ::fork() : -1;
    if (worker < 0) {
        // Without a second process this one answers by itself, as long as no call holds it.
        for (const int signal : {SIGINT, SIGTERM})
            handleUnlessIgnored(signal, onSignal);
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return;
    }
    if (worker > 0) {
        announcing->writing.reset();
        ::signal(handedOn, SIG_IGN);
        // The handlers are set before the signals are let in again.
        for (const int signal : {SIGINT, SIGTERM})
            handleUnlessIgnored(signal, handOn);
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        watch(announcing->reading.get());
    }
    announcing->reading.reset();
    announcements = announcing->writing.release();
    try {
        listen();
        endWithWatcher();
    } catch (const std::system_error&) {
        ::signal(handedOn, onSignal);
        sigset_t own;
        sigemptyset(&own);
        sigaddset(&own, handedOn);
        ::pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
    }
}

Deferred::Deferred(const char* answer) {
    deferral = answer;
}

Deferred::~Deferred() {
    deferral = nullptr;
}

bool isRequested() {
    return requested;
}

void waitUntilRequested() {
    while (!requested) {
        char byte = 0;
        if (::read(requestsRead, &byte, 1) < 0 && errno != EINTR) std::this_thread::sleep_for(lookInterval);
    }
}

void announceEnd(int status) {
    if (announcements < 0) return;
    const auto announced = static_cast<unsigned char>(status);
    // Where nobody hears it, the process is ending anyway.
    if (::write(announcements, &announced, 1) < 0) ::_exit(status);
}

[[noreturn]] void leave() {
    eraseProgress();
    // Said before the end, which may take as long as the disk likes.
    announceEnd(static_cast<int>(ExitStatus::interrupted));
    // What was done before is told, where it was printed but not sent on yet.
    Output::flush();
    ::_exit(static_cast<int>(ExitStatus::interrupted));
}

}  // namespace varnel::cli::Interruption
