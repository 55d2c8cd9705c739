// SPDX-License-Identifier: MIT
#include "tests/support/WithoutOpenat2.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/openat2.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <stdexcept>

#include "tests/support/PrivateMounts.h"

namespace varnel::tests {

void takeOpenat2Away(int error) {
    std::array<sock_filter, 4> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::runtime_error("cannot filter openat2()");
    }
    open_how how{};
    how.flags = O_PATH;
    const long opened = ::syscall(SYS_openat2, AT_FDCWD, ".", &how, sizeof how);
    const int answer = errno;
    EXPECT_EQ(opened, -1);
    EXPECT_EQ(answer, error);
}

void onBothRoads(const std::function<void()>& body) {
    body();
    const int failures = runInChild([&body] {
        takeOpenat2Away();
        body();
    });
    EXPECT_EQ(failures, 0) << "without openat2()";
}

}  // namespace varnel::tests
