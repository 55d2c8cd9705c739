// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the masks are POSIX
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/Text.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX has every program declare it

namespace varnel {
namespace {

constexpr std::string_view languageName = "LC_ALL=";
constexpr const char* language = "LC_ALL=C.UTF-8";

/// What the child shall have that this process has not, or the other way round.
class SpawnActions {
public:
    /// `output`: where both its streams go.
    explicit SpawnActions(int output) {
        ::posix_spawn_file_actions_init(&files_);
        ::posix_spawnattr_init(&attributes_);
        // In this order, because `output` is one of the three itself where this process was started without them.
        ::posix_spawn_file_actions_adddup2(&files_, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&files_, output, STDERR_FILENO);
        ::posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        resetSignals();
    }
    ~SpawnActions() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&files_);
    }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    const posix_spawn_file_actions_t* files() const { return &files_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    /// Whatever this process blocks or ignores for its own sake would be blocked and ignored in the child too.
    void resetSignals() {
        sigset_t none;
        sigset_t ours;
        sigemptyset(&none);
        sigemptyset(&ours);
        for (const int signal : {SIGPIPE, SIGXFSZ})
            sigaddset(&ours, signal);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &ours);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }

    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environment() {
    std::vector<std::string> variables;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        if (!std::string_view(*variable).starts_with(languageName)) variables.emplace_back(*variable);
    }
    variables.emplace_back(language);
    return variables;
}

struct Running {
    pid_t process = -1;
    FileDescriptor output;
};

/// Starts the program; gives the errno value where that fails.
std::expected<Running, int> start(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment();
    const std::vector<char*> wordPointers = pointersTo(words);
    const std::vector<char*> variablePointers = pointersTo(variables);

    // Not every system makes a pipe that is closed on exec from the start. Meanwhile no other thread may come here and
    // start a program, or that one would hold the writing end and our reading would not end before it does.
    static std::mutex starting;
    const std::lock_guard lock(starting);
    auto pipe = openPipe();
    if (!pipe) return std::unexpected(pipe.error());
    Running running{-1, std::move(pipe->reading)};
    const SpawnActions actions(pipe->writing.get());
    const int error = ::posix_spawn(&running.process, program.c_str(), actions.files(), actions.attributes(),
                                    wordPointers.data(), variablePointers.data());
    if (error != 0) return std::unexpected(error);
    return running;
}

std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
        if (got > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            return text;
        }
    }
}

/// Waits for the end; gives the errno value where nobody can tell how it ended.
std::expected<std::int32_t, int> waitFor(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) return std::unexpected(errno);
    }
    // NOLINTNEXTLINE(misc-include-cleaner): of <sys/wait.h>, which <stdlib.h> defines as well
    return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

}  // namespace

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments) {
    const auto running = start(program, arguments);
    if (!running) return {-1, launchFailure(program, running.error())};
    // Read first: a program whose output fills the pipe ends only when somebody reads.
    std::string output = readToEnd(running->output.get());
    const auto status = waitFor(running->process);
    if (!status) return {-1, std::generic_category().message(status.error())};
    if (!Text::isValidUTF8(output)) output.clear();
    return {*status, std::string(Text::trimmed(output))};
}

}  // namespace varnel
