// SPDX-License-Identifier: MIT
#include "tests/support/PrivateMounts.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

namespace varnel::tests {
namespace {

constexpr int crashed = 1000;

void require(bool succeeded, const std::string& what) {
    if (!succeeded) throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

bool enterPrivateNamespace() {
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Counts the failures of the part that runs in a child, since the parent hears of none.
class FailureCounter : public ::testing::EmptyTestEventListener {
public:
    explicit FailureCounter(int& count) : count_(count) {}
    void OnTestPartResult(const ::testing::TestPartResult& result) override {
        if (result.failed()) ++count_;
    }

private:
    int& count_;
};

std::set<pid_t> ownChildren() {
    std::ifstream list("/proc/thread-self/children");
    return {std::istream_iterator<pid_t>(list), std::istream_iterator<pid_t>()};
}

/// Ends every process that has become this one's child since. A daemon that outlived its test would keep the test's
/// mounts, and a machine has room for so many only. Each is asked first, because a driver that is killed may leave its
/// volume, and whoever waits for it, behind.
void endNewChildren(const std::set<pid_t>& before) {
    constexpr int naps = 200;
    for (bool isDone = false; !isDone;) {
        isDone = true;
        for (const pid_t child : ownChildren()) {
            if (before.contains(child)) continue;
            isDone = false;
            ::kill(child, SIGTERM);
            pid_t ended = 0;
            for (int nap = 0; nap < naps && ended == 0; ++nap) {
                ended = ::waitpid(child, nullptr, WNOHANG);
                if (ended == 0) ::usleep(10 * 1000);
            }
            if (ended != 0) continue;
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }
}

int inChild(const std::function<void()>& prepare, const std::function<void()>& body) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const auto before = ownChildren();
    std::cout.flush();
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) return crashed;
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        int failures = 0;
        ::testing::UnitTest::GetInstance()->listeners().Append(new FailureCounter(failures));
        try {
            prepare();
            body();
        } catch (const std::exception& error) {
            std::cout << "in the child: " << error.what() << std::endl;
            ++failures;
        }
        std::cout.flush();
        std::fflush(nullptr);
        ::_exit(std::min(failures, 100));
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    endNewChildren(before);
    return WIFEXITED(status) ? WEXITSTATUS(status) : crashed;
}

bool drop(int capability) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> sets{};
    if (::syscall(SYS_capget, &header, sets.data()) != 0) return false;
    sets[0].effective &= ~(std::uint32_t{1} << capability);
    return ::syscall(SYS_capset, &header, sets.data()) == 0;
}

}  // namespace

PrivateMounts::PrivateMounts() {
    if (inChild([] { require(enterPrivateNamespace(), "unshare"); }, [] {}) != 0) {
        reason_ = ::geteuid() == 0 ? "this machine grants no mount namespace" : "only root may mount";
    }
}

int PrivateMounts::run(const std::function<void()>& body) const {
    return inChild([] { require(enterPrivateNamespace(), "unshare"); }, body);
}

int runInChild(const std::function<void()>& body) {
    return inChild([] {}, body);
}

int runInChildAlone(const std::function<void()>& body) {
    const pid_t parent = ::getpid();
    return inChild([] {},
                   [&] {
                       ::kill(parent, SIGSTOP);
                       ::close_range(STDERR_FILENO + 1, ~0U, 0);  // what the parent lets go must not live on here
                       try {
                           body();
                       } catch (...) {
                           ::kill(parent, SIGCONT);
                           throw;
                       }
                       ::kill(parent, SIGCONT);
                   });
}

int runUnprivileged(const std::function<void()>& body) {
    constexpr uid_t nobody = 65534;
    return inChild(
        [] {
            if (::geteuid() != 0) return;  // as good as it gets
            require(::setgroups(0, nullptr) == 0, "setgroups");
            require(::setresgid(nobody, nobody, nobody) == 0, "setresgid");
            require(::setresuid(nobody, nobody, nobody) == 0, "setresuid");
        },
        body);
}

bool dropSystemAdministration() {
    return drop(CAP_SYS_ADMIN);
}

bool dropFindingByHandle() {
    return drop(CAP_DAC_READ_SEARCH);
}

void shell(const std::string& command) {
    std::FILE* const pipe = ::popen(("{ " + command + "\n} 2>&1 </dev/null").c_str(), "r");
    require(pipe != nullptr, command);
    std::string output;
    std::array<char, 4096> buffer{};
    while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), got);
    if (::pclose(pipe) != 0) throw std::runtime_error(command + ": " + output);
}

std::string patiently(const std::string& command) {
    return "{ tries=0; until " + command +
           "; do tries=$((tries + 1)); [ $tries -lt 100 ] || exit 1; sleep 0.1; done; }";
}

bool hasProgram(const std::string& name) {
    return ::system(("PATH=$PATH:/sbin:/usr/sbin command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

void mountTmpfs(const std::string& folder, const std::string& options) {
    require(::mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) == 0, "mounting a tmpfs on " + folder);
}

void bindMount(const std::string& from, const std::string& folder) {
    require(::mount(from.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0, "binding " + from + " on " + folder);
}

void unmount(const std::string& folder) {
    require(::umount2(folder.c_str(), 0) == 0, "unmounting " + folder);
}

}  // namespace varnel::tests
