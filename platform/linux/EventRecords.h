// SPDX-License-Identifier: MIT
//
// The records that the kernel's two watching services put into a buffer. Reading them is kept apart from everything
// else, because a record that is cut short or lies about its length must end the reading and nothing more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "core/base/FunctionRef.h"

namespace varnel::EventRecords {

/// One record of inotify.
struct InotifyRecord {
    int watch = -1;
    std::uint32_t mask = 0;
    std::string_view name;  ///< Of the entry in the watched folder; empty where the folder itself is meant.
};

/// One record of fanotify that names an entry by its folder's handle.
struct FanotifyRecord {
    std::uint64_t mask = 0;
    std::span<const std::byte> folder;  ///< The folder's handle, as open_by_handle_at() takes it; empty where none.
    std::string_view name;              ///< "." where the folder itself is meant.
};

/// Calls `visit` with each whole record of a buffer, in order. What the records point to lies in the buffer.
void forEachInotify(std::span<const std::byte> buffer, FunctionRef<void(const InotifyRecord&)> visit);
void forEachFanotify(std::span<const std::byte> buffer, FunctionRef<void(const FanotifyRecord&)> visit);

}  // namespace varnel::EventRecords
