// SPDX-License-Identifier: MIT
#include "core/scan/FSInfo.h"

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/Path.h"
#include "core/scan/Directory.h"

namespace varnel::FSInfo {

std::optional<Entry> entry(const std::string& path) {
    const auto facts = Directory::facts(path);
    if (!facts) return std::nullopt;
    return Entry{facts->isDirectory, facts->isSymlink, facts->device, facts->size};
}

std::optional<std::int32_t> device(const std::string& path) {
    const auto facts = Directory::factsFollowingLinks(path);
    if (!facts) return std::nullopt;
    return facts->device;
}

std::optional<std::int32_t> linkDevice(const std::string& path) {
    const auto facts = Directory::facts(path);
    if (!facts) return std::nullopt;
    return facts->device;
}

bool isMountPoint(const std::string& path) {
    const std::string parent(Path::withoutLastComponent(path));
    if (parent == path) return true;
    const auto here = Directory::lastingFacts(path);
    if (!here) return false;
    const auto above = Directory::lastingFacts(parent);
    if (!above) return false;
    return here->isMountRoot || here->device != above->device;
}

}  // namespace varnel::FSInfo
