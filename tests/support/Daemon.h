// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace varnel::tests {

/// A program in the background, killed when this goes, and with the process that started it.
class Daemon {
public:
    /// `words`: an absolute path and arguments. `log`: a file for what it prints.
    Daemon(std::vector<std::string> words, const std::string& log);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
};

}  // namespace varnel::tests
