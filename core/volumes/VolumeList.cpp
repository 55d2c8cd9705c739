// SPDX-License-Identifier: MIT
#include "core/volumes/VolumeList.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"
#include "core/volumes/MountedVolumes.h"
#include "core/volumes/Volume.h"

namespace varnel::VolumeList {
namespace {

/// Mount points from both sources, each once.
std::set<std::string> gathered(const MountedVolumes& system) {
    std::set<std::string> paths;
    if (auto visible = system.visible()) {
        for (const std::string& path : *visible)
            paths.insert(Path::standardized(path));
    }
    if (const auto names = system.namesInVolumes()) {
        for (const std::string& name : *names) {
            if (!name.starts_with('.')) paths.insert("/Volumes/" + name);
        }
    }
    return paths;
}

/// Whether `mountPoint` is `path`, or "/" appended to it begins it: without an exception for "/".
bool holds(std::string_view mountPoint, std::string_view path) {
    return path == mountPoint ||
           (path.size() > mountPoint.size() && path.starts_with(mountPoint) && path[mountPoint.size()] == '/');
}

}  // namespace

std::vector<Volume> all() {
    return all(*MountedVolumes::current());
}

std::vector<Volume> all(const MountedVolumes& system) {
    std::vector<Volume> volumes;
    for (const std::string& path : gathered(system)) {
        auto type = system.type(path);
        if (!type) continue;
        const auto attachment = system.attachment(path).value_or(MountedVolumes::Attachment());
        volumes.push_back({path, *std::move(type), attachment.isLocal.value_or(true),
                           attachment.isRemovable.value_or(false), attachment.isInternal.value_or(false)});
    }
    std::stable_sort(volumes.begin(), volumes.end(), [](const Volume& a, const Volume& b) {
        return Text::standardCompare(a.mountPoint, b.mountPoint) < 0;
    });
    return volumes;
}

std::vector<Volume> targets() {
    return targets(*MountedVolumes::current());
}

std::vector<Volume> targets(const MountedVolumes& system) {
    std::vector<Volume> volumes = all(system);
    std::erase_if(volumes, [](const Volume& volume) { return !volume.isTarget(); });
    return volumes;
}

const Volume* volume(const std::string& path, std::span<const Volume> volumes) {
    const std::string standardized = Path::standardized(path);
    const Volume* longest = nullptr;
    std::int64_t length = -1;
    for (const Volume& candidate : volumes) {
        if (!holds(candidate.mountPoint, standardized)) continue;
        const std::int64_t candidateLength = Text::characterCount(candidate.mountPoint);
        if (candidateLength > length) {
            longest = &candidate;
            length = candidateLength;
        }
    }
    return longest;
}

}  // namespace varnel::VolumeList
