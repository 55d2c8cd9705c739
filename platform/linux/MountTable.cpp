// SPDX-License-Identifier: MIT
#include "platform/linux/MountTable.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <libmount/libmount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FunctionRef.h"

namespace varnel::MountTable {
namespace {

struct TableDeleter {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct IteratorDeleter {
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::string text(const char* value) {
    return value == nullptr ? std::string() : std::string(value);
}

/// What the block device itself says it holds, for drivers whose mounts all bear one name.
std::optional<std::string> typeOnDevice(const std::string& device) {
    char* const found = mnt_get_fstype(device.c_str(), nullptr, nullptr);
    if (found == nullptr) return std::nullopt;
    std::string type(found);
    std::free(found);
    return type;
}

std::string macNameFor(std::string type) {
    constexpr std::string_view fusePrefix = "fuse.";
    const bool isFuse = type.starts_with(fusePrefix);
    const std::string_view driver = isFuse ? std::string_view(type).substr(fusePrefix.size()) : std::string_view(type);
    if (driver.starts_with("hfsplus") || (isFuse && driver.starts_with("hfs"))) return "hfs";
    if (driver == "apfs" || (isFuse && driver.find("apfs") != std::string_view::npos)) return "apfs";
    return type;
}

using Table = std::unique_ptr<libmnt_table, TableDeleter>;

/// The kernel's own table.
Table kernelTable() {
    return Table(mnt_new_table_from_file("/proc/self/mountinfo"));
}

/// The same with what mount(8) keeps beside it: options that mean something to programs only, not to the kernel.
Table fullTable() {
    Table table(mnt_new_table());
    if (table && mnt_table_parse_mtab(table.get(), nullptr) != 0) return nullptr;
    return table;
}

/// Calls `visit` with every mount, in the kernel's order; false where the table could not be read.
bool forEachMount(const Table& table, FunctionRef<void(libmnt_fs*)> visit) {
    const std::unique_ptr<libmnt_iter, IteratorDeleter> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !iterator) return false;
    for (libmnt_fs* mount = nullptr; mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0;)
        visit(mount);
    return true;
}

std::optional<std::vector<Mount>> mountsOf(const Table& table) {
    std::vector<Mount> mounts;
    const bool isRead = forEachMount(table, [&mounts](libmnt_fs* mount) {
        Mount entry;
        entry.id = static_cast<std::uint64_t>(mnt_fs_get_id(mount));
        entry.mountPoint = text(mnt_fs_get_target(mount));
        entry.root = text(mnt_fs_get_root(mount));
        entry.driver = text(mnt_fs_get_fstype(mount));
        entry.source = text(mnt_fs_get_source(mount));
        entry.isShown = mnt_fs_match_options(mount, "x-gvfs-show") == 1;
        entry.isHidden = mnt_fs_match_options(mount, "x-gvfs-hide") == 1;
        mounts.push_back(std::move(entry));
    });
    if (!isRead) return std::nullopt;
    return mounts;
}

/// Facts of a path with one of the two numbers of the mount that it lies on; none where there is no such number.
std::optional<struct statx> askFor(const std::string& path, unsigned mask) {
    struct statx answer {};
    constexpr int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
    if (::statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | mask, &answer) != 0) return std::nullopt;
    if ((answer.stx_mask & mask) != mask) return std::nullopt;
    return answer;
}

/// The numbers that are never given out again of all mounts; none where the kernel has no such numbers.
std::optional<std::vector<std::uint64_t>> uniqueMounts() {
    constexpr long listmountCall = 458;
    constexpr std::size_t atOnce = 256;
    struct {
        std::uint32_t size = 24;
        std::uint32_t unused = 0;
        std::uint64_t parent = UINT64_MAX;  // the topmost mount
        std::uint64_t after = 0;
    } request;
    std::vector<std::uint64_t> ids;
    for (;;) {
        const std::size_t known = ids.size();
        ids.resize(known + atOnce);
        const long got = ::syscall(listmountCall, &request, ids.data() + known, atOnce, 0);
        if (got < 0) return std::nullopt;
        ids.resize(known + static_cast<std::size_t>(got));
        if (static_cast<std::size_t>(got) < atOnce) return ids;
        request.after = ids.back();
    }
}

}  // namespace

std::optional<std::vector<Mount>> read() {
    return mountsOf(fullTable());
}

std::optional<std::vector<Mount>> readFrom(const std::string& file) {
    return mountsOf(Table(mnt_new_table_from_file(file.c_str())));
}

std::optional<Places> places() {
    Places places;
    const bool isRead = forEachMount(kernelTable(), [&places](libmnt_fs* mount) {
        places.all.emplace(static_cast<std::uint64_t>(mnt_fs_get_id(mount)), text(mnt_fs_get_target(mount)));
    });
    if (!isRead) return std::nullopt;
    // Asked by number: a path to a mount may lead through the server of another that does not answer.
    if (const auto ids = uniqueMounts()) {
        places.isExact = true;
        for (const std::uint64_t id : *ids)
            places.all.emplace(id, std::string());
    }
    return places;
}

std::optional<std::uint64_t> mountOf(const std::string& path) {
    const auto facts = askFor(path, STATX_MNT_ID);
    if (!facts) return std::nullopt;
    return facts->stx_mnt_id;
}

std::optional<Occupant> occupantOf(const std::string& path) {
    if (const auto facts = askFor(path, uniqueMountMask)) return Occupant{facts->stx_mnt_id};
    const auto facts = askFor(path, STATX_MNT_ID | STATX_INO);
    if (!facts) return std::nullopt;
    return Occupant{facts->stx_mnt_id, makedev(facts->stx_dev_major, facts->stx_dev_minor), facts->stx_ino};
}

std::string typeOf(const Mount& mount) {
    const bool isAnyOnDevice = mount.driver == "fuseblk" || mount.driver.starts_with("fuseblk.");
    const auto real = isAnyOnDevice ? typeOnDevice(mount.source) : std::nullopt;
    return macNameFor(real.value_or(mount.driver));
}

const Mount* find(const std::vector<Mount>& table, std::uint64_t id) {
    const auto found = std::find_if(table.begin(), table.end(), [id](const Mount& mount) { return mount.id == id; });
    return found == table.end() ? nullptr : &*found;
}

}  // namespace varnel::MountTable
