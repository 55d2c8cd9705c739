// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnel {

/// Port: what the system says about the volumes that are mounted at one moment. Abstract because tests hand in their
/// own. Never waits for a server.
class MountedVolumes {
public:
    /// How a volume is attached; a value that the system does not give is absent.
    struct Attachment {
        std::optional<bool> isLocal;
        std::optional<bool> isRemovable;
        std::optional<bool> isInternal;
    };

    virtual ~MountedVolumes() = default;
    MountedVolumes(const MountedVolumes&) = delete;
    MountedVolumes& operator=(const MountedVolumes&) = delete;

    /// The mount points that file managers show, standardised; none where the system cannot be asked.
    virtual std::optional<std::vector<std::string>> visible() const = 0;

    /// The names in the folder "/Volumes"; none where it cannot be listed.
    virtual std::optional<std::vector<std::string>> namesInVolumes() const = 0;

    /// The type of the file system that holds a path; none where there is no such path.
    virtual std::optional<std::string> type(const std::string& path) const = 0;

    /// How the volume that holds a path is attached; none where the system cannot be asked.
    virtual std::optional<Attachment> attachment(const std::string& path) const = 0;

    /// The system as it is now.
    static std::unique_ptr<MountedVolumes> current();

protected:
    MountedVolumes() = default;
};

}  // namespace varnel
