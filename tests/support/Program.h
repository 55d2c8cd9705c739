// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace varnel::tests {

/// What a finished program left behind.
struct Finished {
    int status = -1;     ///< Exit status, or 128 and the signal.
    std::string out;     ///< Standard output; on a terminal everything that appeared on it.
    std::string errors;  ///< Standard error; empty on a terminal.
};

/// Runs the tool `varnel` as a person or a script would.
class Program {
public:
    /// `home` is the home folder that the program sees.
    explicit Program(std::string home) : home_(std::move(home)) {}

    /// Runs it with no terminal and an empty standard input. `out`: a file for standard output instead of a pipe.
    Finished run(const std::vector<std::string>& arguments, const std::string& out = "") const;

    /// Runs it on a terminal of its own. Whenever everything that has appeared so far satisfies `when`, `answer` is
    /// typed, once; "\x03" is Ctrl-C. What is typed is not echoed. `out`: a file for standard output instead.
    struct Typed {
        std::function<bool(const std::string& shown)> when;
        std::string answer;
    };
    Finished runOnTerminal(const std::vector<std::string>& arguments, std::vector<Typed> typing = {},
                           const std::string& out = "") const;

private:
    std::string home_;
};

/// The tool while it runs, with what it has said so far. Killed where it still runs in the end.
class RunningProgram {
public:
    RunningProgram(const std::string& home, const std::vector<std::string>& arguments);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    /// Waits until its output, or its messages, hold a text; false where that never came.
    bool says(const std::string& text) const;
    bool complains(const std::string& text) const;

    std::string out() const;
    std::string errors() const;
    pid_t process() const { return process_; }
    /// The process that does the work of the one that was started.
    pid_t worker() const;

    /// Sends a signal and waits for the end; gives the exit status, or 128 and the signal.
    int end(int signal);

private:
    std::string outFile_;
    std::string errorFile_;
    pid_t process_ = -1;
};

/// A condition for typing: the text has appeared.
std::function<bool(const std::string&)> shows(std::string text);

}  // namespace varnel::tests
