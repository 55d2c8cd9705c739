// SPDX-License-Identifier: MIT
//
// statfs() waits for the server of a dead network mount, and knows numbers where the mount table has names. So the
// kernel is asked which mount the path lies on, without a synchronisation, and the mount table what that mount is.
#include "core/scan/FSInfo.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <optional>
#include <string>

#include "platform/linux/MountTable.h"

namespace varnel::FSInfo {

std::optional<std::string> type(const std::string& path) {
    const auto id = MountTable::mountOf(path);
    const auto table = id ? MountTable::read() : std::nullopt;
    const MountTable::Mount* const mount = table ? MountTable::find(*table, *id) : nullptr;
    if (mount == nullptr) return std::nullopt;
    return MountTable::typeOf(*mount);
}

}  // namespace varnel::FSInfo
