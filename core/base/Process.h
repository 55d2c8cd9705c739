// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <vector>

#include "core/base/FileDescriptor.h"

namespace varnel {

/// How a program ended, and what it printed.
struct ProgramResult {
    std::int32_t status = -1;  ///< The exit status, the number of the signal that ended it, or -1: it never started.
    std::string output;        ///< Standard output and error as they came, white space at both ends removed.

    bool succeeded() const { return status == 0; }
};

/// Runs the program at an absolute path and waits for its end, without a time limit. `arguments` come behind the
/// program's own name; no shell reads them. Standard input is empty, the language of messages is "C.UTF-8".
///
/// A program that cannot be started gives the status -1 and the reason as its output. An output that is not UTF-8
/// counts as empty. Safe on any thread.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments);

/// Port: the platform's words for a program that could not be started, `error` being the errno value.
std::string launchFailure(const std::string& program, int error);

struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

/// Port: whether a process that was forked, and became no other program, may use the whole system.
bool canWorkAfterFork();

/// Port: a pipe that programs do not inherit, from the start where the system can do that; else the errno value.
std::expected<Pipe, int> openPipe();

}  // namespace varnel
