// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>

namespace varnel::tests {

/// No thread and no process can be begun while this lives. Has no effect on root.
class NoThreads {
public:
    NoThreads() {
        ::getrlimit(RLIMIT_NPROC, &before_);
        rlimit none = before_;
        none.rlim_cur = 0;
        ::setrlimit(RLIMIT_NPROC, &none);
    }
    ~NoThreads() { ::setrlimit(RLIMIT_NPROC, &before_); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    rlimit before_{};
};

}  // namespace varnel::tests
