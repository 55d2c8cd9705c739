// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace varnel {

/// Owns one open file descriptor, or none, and closes it when it goes.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = std::exchange(other.descriptor_, -1);
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    /// The descriptor, still owned by this object; negative when there is none.
    int get() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }

    /// A second descriptor of the same open file, or none where there is no room for one.
    FileDescriptor duplicate() const { return FileDescriptor(::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0)); }

    /// Gives the descriptor away, to whoever closes it instead; negative when there is none.
    int release() { return std::exchange(descriptor_, -1); }

    void reset() {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_ = -1;
};

}  // namespace varnel
