// SPDX-License-Identifier: MIT
//
// statfs() waits for the server of a dead network mount, and knows numbers where the mount table has names. So the
// kernel is asked which mount the path lies on, without a synchronisation, and the mount table what that mount is.
#include "core/scan/FSInfo.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <libmount/libmount.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::FSInfo {
namespace {

struct TableDeleter {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct IteratorDeleter {
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::optional<std::uint64_t> mountOf(const std::string& path) {
    struct statx answer {};
    constexpr int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
    if (::statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | STATX_MNT_ID, &answer) != 0) return std::nullopt;
    if ((answer.stx_mask & STATX_MNT_ID) == 0) return std::nullopt;
    return answer.stx_mnt_id;
}

/// What the block device itself says it holds, for drivers whose mounts all bear one name.
std::optional<std::string> typeOnDevice(const char* device) {
    if (device == nullptr) return std::nullopt;
    char* const found = mnt_get_fstype(device, nullptr, nullptr);
    if (found == nullptr) return std::nullopt;
    std::string type(found);
    std::free(found);  // NOLINT(cppcoreguidelines-no-malloc): libmount hands out malloc'ed text
    return type;
}

std::string macNameFor(std::string type) {
    const std::string_view driver =
        std::string_view(type).starts_with("fuse.") ? std::string_view(type).substr(5) : type;
    const bool isFuse = driver.size() != type.size();
    if (driver.starts_with("hfsplus") || (isFuse && driver.starts_with("hfs"))) return "hfs";
    if (driver == "apfs" || (isFuse && driver.find("apfs") != std::string_view::npos)) return "apfs";
    return type;
}

std::string typeOf(libmnt_fs* mount) {
    const char* const name = mnt_fs_get_fstype(mount);
    std::string type = name == nullptr ? std::string() : std::string(name);
    if (type == "fuseblk" || type.starts_with("fuseblk.")) {
        if (auto real = typeOnDevice(mnt_fs_get_source(mount))) type = *std::move(real);
    }
    return macNameFor(std::move(type));
}

}  // namespace

std::optional<std::string> type(const std::string& path) {
    const auto wanted = mountOf(path);
    if (!wanted) return std::nullopt;
    const std::unique_ptr<libmnt_table, TableDeleter> table(mnt_new_table_from_file("/proc/self/mountinfo"));
    const std::unique_ptr<libmnt_iter, IteratorDeleter> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !iterator) return std::nullopt;
    libmnt_fs* mount = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
        if (static_cast<std::uint64_t>(mnt_fs_get_id(mount)) == *wanted) return typeOf(mount);
    }
    return std::nullopt;
}

}  // namespace varnel::FSInfo
