// SPDX-License-Identifier: MIT
#include "tests/support/Daemon.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnel::tests {

Daemon::Daemon(std::vector<std::string> words, const std::string& log) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ > 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::execv(pointers.front(), pointers.data());
    ::_exit(127);
}

Daemon::~Daemon() {
    ::kill(process_, SIGKILL);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace varnel::tests
