// SPDX-License-Identifier: MIT
//
// openat2() does in one call, and without a race, what otherwise takes a loop: no link, no mount, nothing above the
// folder. Kernels before 5.6 and old container filters lack it; then each component is opened by itself and checked.
#include "core/scan/Directory.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/FileDescriptor.h"
#include "platform/posix/Stepwise.h"

namespace varnel::Directory {
namespace {

constexpr int listFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
constexpr int lookUpFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::size_t longestPath = 4095;  // what one call takes, without the terminating zero
constexpr int mostTries = 64;              // where an error means "try again"

/// No link of any kind, no mount, nothing above the folder.
constexpr std::uint64_t beneath = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;

/// The same for one name without a slash, which cannot lead above the folder: the kernel has less to prove.
constexpr std::uint64_t justBelow = RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;

/// Cleared for good once the kernel or a filter in front of it turns out not to know the call.
std::atomic<bool> hasOpenat2{true};

int flagsFor(Purpose purpose) {
    return purpose == Purpose::list ? listFlags : lookUpFlags;
}

bool meansUnknownCall(int error) {
    return error == ENOSYS || error == EPERM || error == E2BIG || error == EINVAL;
}

std::expected<Facts, int> askFor(int folder, const char* name, int flags) {
    struct statx answer;  // the kernel fills in all of it
    if (::statx(folder, name, flags | AT_NO_AUTOMOUNT, STATX_TYPE | STATX_INO | STATX_SIZE | STATX_MNT_ID, &answer) !=
        0) {
        return std::unexpected(errno);
    }
    Facts facts;
    facts.isDirectory = S_ISDIR(answer.stx_mode);
    facts.isSymlink = S_ISLNK(answer.stx_mode);
    facts.isMountRoot = (answer.stx_attributes & answer.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0;
    // The kernel's device numbers have 32 bits; only the C library's type is wider.
    facts.device = static_cast<std::int32_t>(makedev(answer.stx_dev_major, answer.stx_dev_minor));
    facts.size = static_cast<std::int64_t>(answer.stx_size);
    facts.inode = answer.stx_ino;
    facts.mount = (answer.stx_mask & STATX_MNT_ID) != 0 ? answer.stx_mnt_id : 0;
    return facts;
}

/// One openat2() beneath `folder`; ENOSYS where the call cannot be used.
std::expected<FileDescriptor, int> openSafely(int folder, const char* below, Purpose purpose,
                                              std::uint64_t resolve = beneath) {
    if (!hasOpenat2.load(std::memory_order_relaxed)) return std::unexpected(ENOSYS);
    open_how how{};
    how.flags = static_cast<unsigned>(flagsFor(purpose));
    how.resolve = resolve;
    int error = 0;
    for (int attempt = 0; attempt < mostTries; ++attempt) {
        const long descriptor = ::syscall(SYS_openat2, folder, below, &how, sizeof how);
        if (descriptor >= 0) return FileDescriptor(static_cast<int>(descriptor));
        error = errno;
        if (error != EAGAIN && error != EINTR) break;  // EAGAIN: a rename raced the resolution
    }
    if (!meansUnknownCall(error)) return std::unexpected(error);
    // A folder may itself answer EPERM or EINVAL: "." of a folder that is open already tells which of the two it is.
    const long probe = ::syscall(SYS_openat2, folder, ".", &how, sizeof how);
    if (probe >= 0) {
        ::close(static_cast<int>(probe));
        return std::unexpected(error);
    }
    const int probeError = errno;
    if (!meansUnknownCall(probeError)) return std::unexpected(error);
    hasOpenat2.store(false, std::memory_order_relaxed);
    return std::unexpected(ENOSYS);
}

}  // namespace

std::expected<Facts, int> facts(int folder, const char* name) {
    return askFor(folder, name, AT_SYMLINK_NOFOLLOW);
}

std::expected<Facts, int> facts(const std::string& path) {
    return askFor(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW);
}

std::expected<Facts, int> lastingFacts(const std::string& path) {
    return askFor(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC);
}

std::expected<Facts, int> factsFollowingLinks(const std::string& path) {
    return askFor(AT_FDCWD, path.c_str(), 0);
}

std::expected<Facts, int> factsOf(int descriptor) {
    // What tells one open folder from another never changes, so no server need be asked for it again.
    return askFor(descriptor, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC);
}

std::expected<FileDescriptor, int> openRoot(const std::string& path, Links links, Purpose purpose) {
    const int flags = flagsFor(purpose);
    return Stepwise::openFolder(AT_FDCWD, path.c_str(), links == Links::follow ? flags & ~O_NOFOLLOW : flags);
}

std::expected<Opened, int> openChild(int folder, const std::string& name) {
    // "name/." is "name" plus the proof, in the same call, that names can be looked up in it.
    std::array<char, NAME_MAX * 4> buffer;
    if (name.size() + 3 > buffer.size()) return std::unexpected(ENAMETOOLONG);
    std::memcpy(buffer.data(), name.data(), name.size());
    std::memcpy(buffer.data() + name.size(), "/.", 3);
    auto opened = openSafely(folder, buffer.data(), Purpose::list, justBelow);
    if (opened) return Opened{*std::move(opened), true};
    if (opened.error() == EACCES) {
        auto listable = openSafely(folder, name.c_str(), Purpose::list, justBelow);
        if (!listable) return std::unexpected(listable.error());
        return Opened{*std::move(listable), false};
    }
    if (opened.error() != ENOSYS) return std::unexpected(opened.error());
    auto component = Stepwise::openChild(folder, name, listFlags);
    if (!component) return std::unexpected(component.error());
    const bool isSearchable = facts(component->get(), ".").has_value();
    return Opened{*std::move(component), isSearchable};
}

std::expected<FileDescriptor, int> openBeneath(int folder, std::string_view below, Purpose purpose) {
    FileDescriptor current;
    const auto here = [&] { return current.isOpen() ? current.get() : folder; };
    while (below.size() > longestPath) {
        const std::size_t slash = below.rfind('/', longestPath);
        if (slash == std::string_view::npos || slash == 0) return std::unexpected(ENAMETOOLONG);
        auto opened = openBeneath(here(), below.substr(0, slash), Purpose::lookUp);
        if (!opened) return opened;
        current = *std::move(opened);
        below.remove_prefix(slash + 1);
    }
    const std::string path(below.empty() ? std::string_view(".") : below);
    auto opened = openSafely(here(), path.c_str(), purpose);
    if (opened || opened.error() != ENOSYS) return opened;
    return Stepwise::openBeneath(here(), below, flagsFor(purpose));
}

/// The kernel's record: inode and offset (8 bytes each), record length (2), kind (1), the name with its zero.
struct Listing::State {
    static constexpr std::size_t lengthAt = 16;
    static constexpr std::size_t kindAt = 18;
    static constexpr std::size_t nameAt = 19;

    std::array<char, std::size_t{256} * 1024> buffer;
    int folder = -1;
    std::size_t at = 0;
    std::size_t end = 0;
    int error = 0;
};

Listing::Listing() : state_(std::make_unique_for_overwrite<State>()) {}
Listing::~Listing() = default;

void Listing::begin(int folder) {
    state_->folder = folder;
    state_->at = 0;
    state_->end = 0;
    state_->error = 0;
}

bool Listing::next(ListedEntry& entry) {
    State& state = *state_;
    int interruptions = 0;
    for (;;) {
        if (state.at >= state.end) {
            const long got = ::syscall(SYS_getdents64, state.folder, state.buffer.data(), state.buffer.size());
            if (got <= 0) {
                if (got < 0 && errno == EINTR && ++interruptions < mostTries) continue;
                state.error = got < 0 ? errno : 0;
                state.at = state.end = 0;
                return false;
            }
            state.at = 0;
            state.end = static_cast<std::size_t>(got);
        }
        const char* const record = state.buffer.data() + state.at;
        std::uint16_t length = 0;
        std::memcpy(&length, record + State::lengthAt, sizeof length);
        state.at += length;
        if (Stepwise::isSelfOrParent(record + State::nameAt)) continue;
        entry.name = record + State::nameAt;
        entry.kind = Stepwise::listedKind(static_cast<unsigned char>(record[State::kindAt]));
        return true;
    }
}

int Listing::error() const {
    return state_->error;
}

}  // namespace varnel::Directory
