// SPDX-License-Identifier: MIT
#include "tests/support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Waiting.h"

namespace varnel::tests {
namespace {

constexpr std::chrono::seconds longestRun{60};

[[noreturn]] void become(const std::string& home, const std::vector<std::string>& arguments) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("TZ", "UTC", 1);
    std::vector<std::string> words = {VARNEL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    ::execv(VARNEL_PROGRAM, pointers.data());
    ::_exit(127);
}

int statusFrom(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int statusOf(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return statusFrom(status);
}

/// Reads what is there; false at the end.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 65536> buffer{};
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    if (got <= 0) return got < 0 && errno == EINTR;
    text.append(buffer.data(), static_cast<std::size_t>(got));
    return true;
}

}  // namespace

Finished Program::run(const std::vector<std::string>& arguments, const std::string& out) const {
    std::array<int, 2> outPipe{};
    std::array<int, 2> errorPipe{};
    if (::pipe2(outPipe.data(), O_CLOEXEC) != 0 || ::pipe2(errorPipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        const int target = out.empty() ? outPipe[1] : ::open(out.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ::dup2(target, STDOUT_FILENO);
        ::dup2(errorPipe[1], STDERR_FILENO);
        become(home_, arguments);
    }
    ::close(outPipe[1]);
    ::close(errorPipe[1]);
    Finished finished;
    std::array<pollfd, 2> ends = {pollfd{outPipe[0], POLLIN, 0}, pollfd{errorPipe[0], POLLIN, 0}};
    const auto deadline = std::chrono::steady_clock::now() + longestRun;
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (std::chrono::steady_clock::now() > deadline) ::kill(child, SIGKILL);
        ::poll(ends.data(), ends.size(), 1000);
        if (ends[0].revents != 0 && !readSome(outPipe[0], finished.out)) ends[0].fd = -1;
        if (ends[1].revents != 0 && !readSome(errorPipe[0], finished.errors)) ends[1].fd = -1;
        ends[0].revents = ends[1].revents = 0;
    }
    ::close(outPipe[0]);
    ::close(errorPipe[0]);
    finished.status = statusOf(child);
    return finished;
}

Finished Program::runOnTerminal(const std::vector<std::string>& arguments, std::vector<Typed> typing,
                                const std::string& out) const {
    int terminal = -1;
    termios settings{};
    ::cfmakeraw(&settings);
    settings.c_lflag |= ISIG | ICANON;  // Ctrl-C is a signal, input comes by the line, nothing is echoed
    settings.c_iflag |= ICRNL;
    settings.c_cc[VINTR] = '\x03';
    settings.c_cc[VEOF] = '\x04';
    const pid_t child = ::forkpty(&terminal, nullptr, &settings, nullptr);
    if (child < 0) throw std::runtime_error("no terminal");
    if (child == 0) {
        if (!out.empty()) ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), STDOUT_FILENO);
        become(home_, arguments);
    }
    Finished finished;
    const auto deadline = std::chrono::steady_clock::now() + longestRun;
    for (bool isOpen = true; isOpen;) {
        for (auto typed = typing.begin(); typed != typing.end();) {
            if (!typed->when(finished.out)) {
                ++typed;
                continue;
            }
            if (::write(terminal, typed->answer.data(), typed->answer.size()) < 0) break;
            typed = typing.erase(typed);
        }
        if (std::chrono::steady_clock::now() > deadline) ::kill(child, SIGKILL);
        pollfd end{terminal, POLLIN, 0};
        if (::poll(&end, 1, 50) > 0) {
            isOpen = readSome(terminal, finished.out);
            continue;
        }
        // Whatever it started may live on and keep the terminal open; a shell waits for the program alone.
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            ::close(terminal);
            finished.status = statusFrom(status);
            return finished;
        }
    }
    ::close(terminal);
    finished.status = statusOf(child);
    return finished;
}

namespace {

std::string contentsOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace

RunningProgram::RunningProgram(const std::string& home, const std::vector<std::string>& arguments)
    : outFile_(home + "/out"), errorFile_(home + "/errors") {
    // What an earlier program said in the same home must not be taken for this one's.
    for (const std::string& file : {outFile_, errorFile_})
        ::unlink(file.c_str());
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
        constexpr int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
        ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        ::dup2(::open(outFile_.c_str(), flags, 0644), STDOUT_FILENO);
        ::dup2(::open(errorFile_.c_str(), flags, 0644), STDERR_FILENO);
        become(home, arguments);
    }
}

RunningProgram::~RunningProgram() {
    if (process_ > 0) end(SIGKILL);
}

std::string RunningProgram::out() const {
    return contentsOf(outFile_);
}

std::string RunningProgram::errors() const {
    return contentsOf(errorFile_);
}

bool RunningProgram::says(const std::string& text) const {
    return comesTrue([&] { return out().find(text) != std::string::npos; });
}

bool RunningProgram::complains(const std::string& text) const {
    return comesTrue([&] { return errors().find(text) != std::string::npos; });
}

pid_t RunningProgram::worker() const {
    const std::string process = std::to_string(process_);
    std::ifstream children("/proc/" + process + "/task/" + process + "/children");
    pid_t worker = -1;
    children >> worker;
    return worker;
}

int RunningProgram::end(int signal) {
    ::kill(process_, signal);
    const int status = statusOf(process_);
    process_ = -1;
    return status;
}

std::function<bool(const std::string&)> shows(std::string text) {
    return [text = std::move(text)](const std::string& shown) { return shown.find(text) != std::string::npos; };
}

}  // namespace varnel::tests
