// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "core/base/Process.h"
#include "core/disk/DiskTools.h"

namespace varnel {

/// The disk tools of macOS, as command lines of its disk utility and of umount.
class DiskUtility final : public DiskTools {
public:
    /// Absolute paths.
    struct Programs {
        std::string diskutil = "/usr/sbin/diskutil";
        std::string umount = "/sbin/umount";
    };

    DiskUtility() = default;
    explicit DiskUtility(Programs programs);

    std::optional<std::string> deviceIdentifier(const std::string& path) final;
    ProgramResult eject(const std::string& target, bool force) final;
    ProgramResult unmount(const std::string& path, bool force) final;
    ProgramResult unmountPlainly(const std::string& path, bool force) final;

private:
    Programs programs_;
};

}  // namespace varnel
