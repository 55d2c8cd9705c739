// SPDX-License-Identifier: MIT
//
// What macOS has of the port beyond POSIX is nothing: each component is opened by itself and held against the one
// above. A mount shows as another device there, since the system has no bind mounts.
#include "core/scan/Directory.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/FileDescriptor.h"
#include "platform/posix/Stepwise.h"

namespace varnel::Directory {
namespace {

/// For looking up names as well: a folder that may be searched but not read holds nothing that a scan has found.
constexpr int openFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

Facts factsFrom(const struct stat& status) {
    Facts facts;
    facts.isDirectory = S_ISDIR(status.st_mode);
    facts.isSymlink = S_ISLNK(status.st_mode);
    facts.device = static_cast<std::int32_t>(status.st_dev);
    facts.size = status.st_size;
    facts.inode = status.st_ino;
    return facts;
}

std::expected<Facts, int> askFor(int folder, const char* name, int flags) {
    struct stat status {};
    if (::fstatat(folder, name, &status, flags) != 0) return std::unexpected(errno);
    return factsFrom(status);
}

}  // namespace

std::expected<Facts, int> facts(int folder, const char* name) {
    return askFor(folder, name, AT_SYMLINK_NOFOLLOW);
}

std::expected<Facts, int> facts(const std::string& path) {
    return askFor(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW);
}

std::expected<Facts, int> lastingFacts(const std::string& path) {
    return facts(path);
}

std::expected<Facts, int> factsFollowingLinks(const std::string& path) {
    return askFor(AT_FDCWD, path.c_str(), 0);
}

std::expected<Facts, int> factsOf(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return std::unexpected(errno);
    return factsFrom(status);
}

std::expected<FileDescriptor, int> openRoot(const std::string& path, Links links, Purpose) {
    const int flags = links == Links::follow ? openFlags & ~O_NOFOLLOW : openFlags;
    return Stepwise::openFolder(AT_FDCWD, path.c_str(), flags);
}

std::expected<Opened, int> openChild(int folder, const std::string& name) {
    auto opened = Stepwise::openChild(folder, name, openFlags);
    if (!opened) return std::unexpected(opened.error());
    const bool isSearchable = facts(opened->get(), ".").has_value();
    return Opened{*std::move(opened), isSearchable};
}

std::expected<FileDescriptor, int> openBeneath(int folder, std::string_view below, Purpose) {
    return Stepwise::openBeneath(folder, below, openFlags);
}

struct Listing::State {
    struct Closer {
        void operator()(DIR* opened) const { ::closedir(opened); }
    };

    std::unique_ptr<DIR, Closer> stream;
    int error = 0;
};

Listing::Listing() : state_(std::make_unique<State>()) {}
Listing::~Listing() = default;

void Listing::begin(int folder) {
    // The listing closes what it reads from; the caller's own descriptor shares its place, so that is set back.
    const int copy = ::fcntl(folder, F_DUPFD_CLOEXEC, 0);
    state_->stream.reset(copy < 0 ? nullptr : ::fdopendir(copy));
    state_->error = state_->stream ? 0 : errno;
    if (state_->stream) {
        ::rewinddir(state_->stream.get());
    } else if (copy >= 0) {
        ::close(copy);
    }
}

bool Listing::next(ListedEntry& entry) {
    if (!state_->stream) return false;
    const dirent* record = nullptr;
    do {
        errno = 0;
        record = ::readdir(state_->stream.get());
        if (record == nullptr) {
            state_->error = errno;
            state_->stream.reset();
            return false;
        }
    } while (Stepwise::isSelfOrParent(record->d_name));
    entry.name = record->d_name;
    entry.kind = Stepwise::listedKind(record->d_type);
    return true;
}

int Listing::error() const {
    return state_->error;
}

}  // namespace varnel::Directory
