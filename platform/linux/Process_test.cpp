// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <stdexcept>

#include "tests/support/ErrorTexts.h"
#include "tests/support/PrivateMounts.h"

namespace varnel {
namespace {

/// From now on the kernel refuses this process every pipe that is not closed on exec from the start.
void takeInheritedPipesAway() {
#ifdef SYS_pipe
    constexpr unsigned oldCall = SYS_pipe;
#else
    constexpr unsigned oldCall = SYS_pipe2;  // refused below
#endif
    std::array<sock_filter, 7> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pipe2, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CLOEXEC, 2, 1),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, oldCall, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(EPERM)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::runtime_error("cannot filter pipe()");
    }
}

TEST(RunProgramOnLinux, SaysWhatTheCallSaysWhereNothingStarts) {
    EXPECT_EQ(tests::compareErrorTexts("Linux", "launch", launchFailure), 2);
}

// Whoever starts a program on another thread, a library perhaps, would else hand the writing end on to it.
TEST(RunProgramOnLinux, HasItsPipeClosedOnExecFromTheStart) {
    EXPECT_EQ(tests::runInChild([] {
                  takeInheritedPipesAway();
                  std::array<int, 2> ends{};
                  ASSERT_NE(::pipe(ends.data()), 0);
                  EXPECT_EQ(runProgram("/bin/echo", {"said"}).output, "said");
              }),
              0);
}

}  // namespace
}  // namespace varnel
