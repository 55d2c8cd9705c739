// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/base/Process.h"

namespace varnel {

/// Port: what the system can do to the disk below a volume. Each operation answers like a program that was run: 0 where
/// it succeeded, else a status and what there is to say about it; -1 where it could not even begin. Abstract because
/// tests hand in their own. Each blocks until it is done.
class DiskTools {
public:
    virtual ~DiskTools() = default;
    DiskTools(const DiskTools&) = delete;
    DiskTools& operator=(const DiskTools&) = delete;

    /// The name of the device below the volume that holds a path; none where there is none, or nobody knows.
    virtual std::optional<std::string> deviceIdentifier(const std::string& path) = 0;

    /// Takes a disk out of use, so that it can be pulled: `target` is a device's name or a path on the volume.
    virtual ProgramResult eject(const std::string& target, bool force) = 0;

    /// Unmounts the volume that holds a path.
    virtual ProgramResult unmount(const std::string& path, bool force) = 0;

    /// The same by the plainest means there are.
    virtual ProgramResult unmountPlainly(const std::string& path, bool force) = 0;

    /// The tools of this system, to be used for one volume.
    static std::unique_ptr<DiskTools> ofSystem();

protected:
    DiskTools() = default;
};

}  // namespace varnel
