// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include "core/base/FileDescriptor.h"

namespace varnel::tests {

/// One of this process's limits, lowered while this lives.
class LoweredLimit {
public:
    LoweredLimit(const LoweredLimit&) = delete;
    LoweredLimit& operator=(const LoweredLimit&) = delete;

protected:
    LoweredLimit(decltype(RLIMIT_NPROC) resource, rlim_t limit) : resource_(resource) {
        ::getrlimit(resource_, &before_);
        rlimit lowered = before_;
        lowered.rlim_cur = limit;
        ::setrlimit(resource_, &lowered);
    }
    ~LoweredLimit() { ::setrlimit(resource_, &before_); }

private:
    decltype(RLIMIT_NPROC) resource_;
    rlimit before_{};
};

/// No thread and no process can be begun while this lives. Has no effect on root.
class NoThreads : public LoweredLimit {
public:
    NoThreads() : LoweredLimit(RLIMIT_NPROC, 0) {}
};

/// No descriptor can be opened by this process while this lives.
class NoDescriptors : public LoweredLimit {
public:
    // As many as there are; with a limit below that, poll() fails as well.
    NoDescriptors() : LoweredLimit(RLIMIT_NOFILE, static_cast<rlim_t>(FileDescriptor(::dup(STDERR_FILENO)).get())) {}
};

}  // namespace varnel::tests
