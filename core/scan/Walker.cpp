// SPDX-License-Identifier: MIT
#include "core/scan/Walker.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/FunctionRef.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/FSInfo.h"

namespace varnel::Walker {
namespace {

/// Folders held open at most, beside the root, however deep the tree is.
constexpr std::size_t mostHeld = 32;

/// A folder that was listed and still has subfolders to enter.
struct Level {
    FileDescriptor folder;       // given up where too many deeper ones are held
    std::size_t pathLength = 0;  // of this folder, within the walk's current path
    std::string names;           // subfolders to enter, each with a zero byte behind it
    std::size_t next = 0;        // where the next one begins
};

class Walk {
public:
    Walk(FunctionRef<void(std::string)> onError, FunctionRef<bool(const WalkEntry&)> visit,
         FunctionRef<bool(std::string_view)> isOfNoInterest)
        : onError_(onError), visit_(visit), isOfNoInterest_(isOfNoInterest) {}

    void run(const std::string& root) {
        const auto entry = FSInfo::entry(root);
        if (!FSInfo::device(root) || !entry || !entry->isDirectory) {
            onError_("cannot stat root: " + root);
            return;
        }
        path_ = root;
        rootLength_ = root.size();
        auto opened = Directory::openRoot(root, Directory::Links::refuse, Directory::Purpose::list);
        if (!opened) {
            onError_("cannot open: " + root);
            return;
        }
        // Asked of the open folder: where a volume is only mounted when it is opened, its path said something else.
        const auto facts = Directory::factsOf(opened->get());
        if (!facts) {
            onError_("cannot stat root: " + root);
            return;
        }
        device_ = facts->device;
        root_ = opened->duplicate();
        const bool isSearchable = Directory::facts(opened->get(), ".").has_value();
        list({*std::move(opened), isSearchable});
        while (!levels_.empty())
            enterNext();
    }

private:
    /// Lists one open folder, whose path is path_, and keeps it as a level if there is something to enter in it.
    void list(Directory::Opened folder) {
        const int descriptor = folder.descriptor.get();
        std::string names;
        listing_.begin(descriptor);
        for (Directory::ListedEntry listed; listing_.next(listed);) {
            const bool factsDecide = !folder.isSearchable || listed.kind == Directory::ListedKind::unknown ||
                                     listed.kind == Directory::ListedKind::directory;
            if (!factsDecide && isOfNoInterest_(listed.name)) continue;
            const auto facts = Directory::facts(descriptor, listed.zeroTerminatedName());
            if (!facts) {
                onError_("cannot stat: " + Path::joined(path_, listed.name));
                continue;
            }
            if (facts->isDirectory && (facts->device != device_ || facts->isMountRoot)) continue;
            if (visit(listed.name, *facts) && facts->isDirectory) names.append(listed.name).push_back('\0');
        }
        if (names.empty()) return;
        Level level;
        level.pathLength = path_.size();
        level.names = std::move(names);
        level.folder = std::move(folder.descriptor);
        levels_.push_back(std::move(level));
        if (levels_.size() > mostHeld) levels_[levels_.size() - 1 - mostHeld].folder.reset();
    }

    bool visit(std::string_view name, const Directory::Facts& facts) {
        entry_.path = path_;
        if (!entry_.path.ends_with('/')) entry_.path += '/';
        entry_.path += name;
        entry_.name = name;
        entry_.isDirectory = facts.isDirectory;
        entry_.isSymlink = facts.isSymlink;
        entry_.device = facts.device;
        entry_.size = facts.isDirectory ? 0 : facts.size;
        return visit_(entry_);
    }

    /// Enters the next subfolder of the deepest level.
    void enterNext() {
        Level& level = levels_.back();
        path_.resize(level.pathLength);
        name_ = level.names.c_str() + level.next;
        level.next += name_.size() + 1;
        auto opened = open(level, name_);
        if (!path_.ends_with('/')) path_ += '/';
        path_ += name_;
        if (level.next == level.names.size()) levels_.pop_back();
        if (!opened) {
            // EXDEV: something was mounted there a moment ago, and mounts are passed over in silence.
            if (opened.error() != EXDEV) onError_("cannot open: " + path_);
            return;
        }
        list(*std::move(opened));
    }

    /// Opens a subfolder of `level`, whose path is path_; a level that was given up is first found again from the root.
    std::expected<Directory::Opened, int> open(Level& level, const std::string& name) {
        if (!level.folder.isOpen()) {
            std::string_view below = std::string_view(path_).substr(rootLength_);
            if (below.starts_with('/')) below.remove_prefix(1);
            auto folder = Directory::openBeneath(root_.get(), below, Directory::Purpose::lookUp);
            if (!folder) return std::unexpected(folder.error());
            level.folder = *std::move(folder);
        }
        return Directory::openChild(level.folder.get(), name);
    }

    FunctionRef<void(std::string)> onError_;
    FunctionRef<bool(const WalkEntry&)> visit_;
    FunctionRef<bool(std::string_view)> isOfNoInterest_;
    FileDescriptor root_;
    std::size_t rootLength_ = 0;
    std::int32_t device_ = 0;
    std::string path_;  // of the folder being listed; its beginning is the path of every level
    std::string name_;  // of the subfolder being entered
    WalkEntry entry_;   // reused, so that an entry costs no allocation
    Directory::Listing listing_;
    std::vector<Level> levels_;
};

}  // namespace

void walk(const std::string& root, FunctionRef<void(std::string)> onError, FunctionRef<bool(const WalkEntry&)> visit) {
    walk(root, onError, visit, [](std::string_view) { return false; });
}

void walk(const std::string& root, FunctionRef<void(std::string)> onError, FunctionRef<bool(const WalkEntry&)> visit,
          FunctionRef<bool(std::string_view name)> isOfNoInterest) {
    Walk(onError, visit, isOfNoInterest).run(Path::standardized(root));
}

}  // namespace varnel::Walker
