// SPDX-License-Identifier: MIT
#include "tests/support/WithoutOpenat2.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <stdexcept>

#include "tests/support/PrivateMounts.h"

namespace varnel::tests {

void takeOpenat2Away() {
    std::array<sock_filter, 4> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::runtime_error("cannot filter openat2()");
    }
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
