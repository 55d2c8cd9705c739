// SPDX-License-Identifier: MIT
#include "platform/linux/EventRecords.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <sys/fanotify.h>  // IWYU pragma: keep
#include <sys/inotify.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "core/base/FunctionRef.h"

namespace varnel::EventRecords {
namespace {

using Bytes = std::span<const std::byte>;

/// Reads a plain structure from the front; false where there are too few bytes.
template <typename Structure>
bool read(Bytes bytes, Structure& structure) {
    if (bytes.size() < sizeof structure) return false;
    std::memcpy(&structure, bytes.data(), sizeof structure);
    return true;
}

/// The text up to its zero byte, or to the end.
std::string_view textIn(Bytes bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), std::byte{0});
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())};
}

/// What follows the header of a record that names a folder by handle: the volume's id, the handle, the name.
void readFolderAndName(Bytes body, FanotifyRecord& record) {
    constexpr std::size_t volumeLength = sizeof(__kernel_fsid_t);
    if (body.size() < volumeLength) return;
    body = body.subspan(volumeLength);
    file_handle handle{};
    if (!read(body, handle) || body.size() - sizeof handle < handle.handle_bytes) return;
    const std::size_t length = sizeof handle + handle.handle_bytes;
    record.folder = body.first(length);
    record.name = textIn(body.subspan(length));
}

}  // namespace

void forEachInotify(Bytes buffer, FunctionRef<void(const InotifyRecord&)> visit) {
    for (inotify_event event{}; read(buffer, event);) {
        const Bytes rest = buffer.subspan(sizeof event);
        if (rest.size() < event.len) return;
        visit({event.wd, event.mask, textIn(rest.first(event.len))});
        buffer = rest.subspan(event.len);
    }
}

void forEachFanotify(Bytes buffer, FunctionRef<void(const FanotifyRecord&)> visit) {
    for (fanotify_event_metadata event{}; read(buffer, event);) {
        if (event.vers != FANOTIFY_METADATA_VERSION || event.event_len < sizeof event ||
            event.event_len > buffer.size() || event.metadata_len > event.event_len) {
            return;
        }
        FanotifyRecord record;
        record.mask = event.mask;
        Bytes infos = buffer.first(event.event_len).subspan(event.metadata_len);
        for (fanotify_event_info_header header{}; read(infos, header);) {
            if (header.len < sizeof header || header.len > infos.size()) break;
            if (header.info_type == FAN_EVENT_INFO_TYPE_DFID_NAME) {
                readFolderAndName(infos.first(header.len).subspan(sizeof header), record);
            }
            infos = infos.subspan(header.len);
        }
        visit(record);
        buffer = buffer.subspan(event.event_len);
    }
}

}  // namespace varnel::EventRecords
