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
    /// typed, once; "\x03" is Ctrl-C. What is typed is not echoed.
    struct Typed {
        std::function<bool(const std::string& shown)> when;
        std::string answer;
    };
    Finished runOnTerminal(const std::vector<std::string>& arguments, std::vector<Typed> typing = {}) const;

private:
    std::string home_;
};

/// A condition for typing: the text has appeared.
std::function<bool(const std::string&)> shows(std::string text);

}  // namespace varnel::tests
