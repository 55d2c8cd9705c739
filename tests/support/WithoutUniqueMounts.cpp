// SPDX-License-Identifier: MIT
#include "tests/support/WithoutUniqueMounts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <stdexcept>

namespace varnel::tests {

void takeUniqueMountsAway() {
    constexpr unsigned listmountCall = 458;
    constexpr unsigned uniqueMountMask = 0x4000;
    std::array<sock_filter, 8> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, listmountCall, 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_statx, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[3])),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, uniqueMountMask, 2, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::runtime_error("cannot filter what tells the mounts");
    }
    struct statx answer {};
    EXPECT_EQ(::statx(AT_FDCWD, "/", 0, uniqueMountMask, &answer), -1);
    EXPECT_EQ(::statx(AT_FDCWD, "/", 0, STATX_MNT_ID, &answer), 0);
    EXPECT_EQ(::syscall(listmountCall, nullptr, nullptr, 0, 0), -1);
    EXPECT_EQ(errno, ENOSYS);
}

}  // namespace varnel::tests
