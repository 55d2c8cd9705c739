// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include "core/base/FileDescriptor.h"

namespace varnel::tests {

/// No descriptor can be opened by this process while this lives.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit none = before_;
        // As many as there are; with a limit below that, poll() fails as well.
        none.rlim_cur = static_cast<rlim_t>(FileDescriptor(::dup(STDERR_FILENO)).get());
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
};

}  // namespace varnel::tests
