// SPDX-License-Identifier: MIT
//
// Port: folders by descriptor. The walk and the removal are built on these few calls alone, because a name looked up
// in an open folder is both faster and safer than a path: nobody can swap what was looked up already.
//
// Errors are errno values. Nothing here follows a link but openRoot(), and nothing but openRoot() enters a mount.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"

namespace varnel::Directory {

/// What lstat() tells of one entry, and where the entry lies.
struct Facts {
    bool isDirectory = false;
    bool isSymlink = false;
    bool isMountRoot = false;  ///< The kernel marks it as the root of a mount; false where the kernel cannot tell.
    std::int32_t device = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    std::uint64_t mount = 0;  ///< Which mount it was reached through; 0 where the kernel cannot tell.

    /// Whether two folders lie on one volume, reached through one mount.
    bool isOnSameMount(const Facts& other) const { return device == other.device && mount == other.mount; }
    /// Whether this is a folder that something is mounted on, by the facts of the folder above.
    bool isMountedIn(const Facts& above) const { return isDirectory && (isMountRoot || device != above.device); }
    /// Whether these are the facts of one and the same folder.
    bool isSameFolder(const Facts& other) const { return isOnSameMount(other) && inode == other.inode; }
};

/// Facts of the entry `name` of the open folder `folder`, of the link itself where it is one.
std::expected<Facts, int> facts(int folder, const char* name);

/// Facts of the entry at a path, of the link itself where it is one.
std::expected<Facts, int> facts(const std::string& path);

/// The same, as far as it never changes while the entry is there: what it is, and on which device and mount. No server
/// is asked for it where the system can tell.
std::expected<Facts, int> lastingFacts(const std::string& path);

/// Facts of what a path leads to, links followed.
std::expected<Facts, int> factsFollowingLinks(const std::string& path);

/// Facts of an open descriptor.
std::expected<Facts, int> factsOf(int descriptor);

/// A folder that is open for listing and for looking up names in it.
struct Opened {
    FileDescriptor descriptor;
    /// Whether names can be looked up in it. A folder may be readable and not searchable.
    bool isSearchable = true;
};

/// What a folder is opened for: looking up names needs no right to read it, and costs a user-space file system nothing.
enum class Purpose : std::uint8_t { list, lookUp };

enum class Links : std::uint8_t { follow, refuse };

/// Opens the folder at `path`. `links` says what to do when the last component is a link.
std::expected<FileDescriptor, int> openRoot(const std::string& path, Links links, Purpose purpose);

/// The path at which an open folder stands now, all links resolved.
std::expected<std::string, int> physicalPath(int folder);

/// Opens the subfolder `name` of the open folder `folder`: ELOOP or ENOTDIR for a link, EXDEV for a mount.
std::expected<Opened, int> openChild(int folder, const std::string& name);

/// Opens the folder at the relative path `below`, of any length, beneath `folder`; empty means `folder` again.
/// No component may be a link, a mount or "..".
std::expected<FileDescriptor, int> openBeneath(int folder, std::string_view below, Purpose purpose);

/// Opens the folder that holds the open folder `folder`. The caller checks that it is the one that it expects.
std::expected<FileDescriptor, int> openParent(int folder);

/// Removes one entry that is not a folder, or (removeFolder) one empty folder. 0 or an errno value.
int removeEntry(int folder, const char* name);
int removeFolder(int folder, const char* name);

/// Whether `error`, which a call about the entry `name` of the open folder `folder` gave, means that the entry is gone:
/// that somebody else removed it since it was listed. A disk may give the same error of an entry that is still there,
/// so it is looked for once more.
bool isGone(int error, int folder, const char* name);

/// What a listing says of an entry's kind before anyone has asked the entry itself.
enum class ListedKind : std::uint8_t { unknown, directory, symlink, other };

struct ListedEntry {
    std::string_view name;  ///< Valid until the next call of next(). Followed by a zero byte.
    ListedKind kind = ListedKind::unknown;

    /// The name as the calls above take it.
    const char* zeroTerminatedName() const { return name.data(); }
};

/// Reads folders one after the other through one large buffer.
class Listing {
public:
    Listing();
    ~Listing();
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    /// Begins with the open folder `folder`, from its start. The descriptor stays the caller's, and must stay open.
    void begin(int folder);

    /// Gives the next entry, "." and ".." left out; false at the end, or where the folder cannot be read further.
    bool next(ListedEntry& entry);

    /// What ended the listing: 0 for its end, else an errno value.
    int error() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace varnel::Directory
