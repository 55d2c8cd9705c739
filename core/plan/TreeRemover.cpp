// SPDX-License-Identifier: MIT
#include "core/plan/TreeRemover.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/scan/Directory.h"

namespace varnel {
namespace {

/// Folders held open at most. A shallower one is given up and found again through "..".
constexpr std::size_t mostHeld = 60;

/// How often a tree is gone through again because somebody keeps filling it: an archive that is being unpacked, say.
constexpr int mostRounds = 100;

struct Entry {
    std::string name;
    bool isFolder = false;  // by the listing, which may be out of date by now
};

struct Level {
    FileDescriptor folder;
    Directory::Facts facts;
    std::string name;
    std::vector<Entry> entries;  // still to be removed, the next one last
};

class Removal {
public:
    Removal(Directory::Listing& listing, const Directory::Facts& volume) : listing_(listing), volume_(volume) {}

    /// 0 or the first error.
    int run(int parent, const std::string& name) {
        for (int round = 1;; ++round) {
            const int error = runOnce(parent, name);
            if (error_ != 0) return error_;
            // Whoever finds the work done by another has done none of it.
            if (Directory::isGone(error, parent, name.c_str())) return hasRemoved_ ? 0 : error;
            if (!meansRefilled(error) || round == mostRounds) return error;
        }
    }

private:
    int runOnce(int parent, const std::string& name) {
        if (const int error = enter(parent, name); error != 0) return removedUnlisted(error, parent, name) ? 0 : error;
        while (levels_.size() > 1 || !levels_.back().entries.empty()) {
            if (levels_.back().entries.empty()) {
                if (!leave()) return error_;
            } else {
                removeNext();
            }
        }
        levels_.clear();
        return Directory::removeFolder(parent, name.c_str());
    }

    /// Whether a folder that could not be entered for `error` could be removed all the same: what must not be listed
    /// may still be empty.
    bool removedUnlisted(int error, int folder, const std::string& name) {
        if (error != EACCES) return false;
        const int again = Directory::removeFolder(folder, name.c_str());
        hasRemoved_ = hasRemoved_ || again == 0;
        return again == 0 || Directory::isGone(again, folder, name.c_str());
    }

    /// Whether a folder that was emptied has something in it again, or what was gone is back.
    static bool meansRefilled(int error) { return error == ENOTEMPTY || error == EEXIST || error == ENOENT; }

    void note(int error) {
        if (error_ == 0) error_ = error;
    }

    /// Notes what a call about an entry inside the tree gave, unless somebody else has removed it or put something else
    /// there meanwhile: whatever is there keeps the folder above from going, and that tells it.
    void noteUnlessChanged(int error, int folder, const std::string& name) {
        const bool isTold = meansRefilled(error) || error == EISDIR || error == ENOTDIR;
        if (error != 0 && !isTold && !Directory::isGone(error, folder, name.c_str())) note(error);
    }

    /// Notes what the removal of an entry inside the tree gave.
    void noteRemoval(int error, int folder, const std::string& name) {
        if (error == 0) hasRemoved_ = true;
        noteUnlessChanged(error, folder, name);
    }

    /// Opens and lists a folder and makes it the deepest level; 0 or why it could not be opened.
    int enter(int parent, const std::string& name) {
        auto opened = Directory::openChild(parent, name);
        if (!opened) return opened.error();
        const auto facts = Directory::factsOf(opened->descriptor.get());
        if (!facts) return facts.error();
        // A subvolume of the same mount is another device: opening it crosses no mount, and yet it is not ours.
        if (!facts->isOnSameMount(volume_)) return EXDEV;
        Level level{std::move(opened->descriptor), *facts, name, {}};
        listing_.begin(level.folder.get());
        for (Directory::ListedEntry listed; listing_.next(listed);) {
            const bool isFolder =
                listed.kind == Directory::ListedKind::directory || listed.kind == Directory::ListedKind::unknown;
            level.entries.push_back({std::string(listed.name), isFolder});
        }
        noteUnlessChanged(listing_.error(), parent, name);
        levels_.push_back(std::move(level));
        if (levels_.size() > mostHeld) levels_[levels_.size() - 1 - mostHeld].folder.reset();
        return 0;
    }

    void removeNext() {
        const Entry entry = std::move(levels_.back().entries.back());
        levels_.back().entries.pop_back();
        const int folder = levels_.back().folder.get();
        if (!entry.isFolder) {
            const int error = Directory::removeEntry(folder, entry.name.c_str());
            if (error != EISDIR && error != EPERM) return noteRemoval(error, folder, entry.name);
        }
        const int error = enter(folder, entry.name);
        if (error == 0 || removedUnlisted(error, folder, entry.name)) return;
        if (error == ENOTDIR || error == ELOOP) {  // no folder, or none any more: the thing itself goes
            return noteRemoval(Directory::removeEntry(folder, entry.name.c_str()), folder, entry.name);
        }
        noteUnlessChanged(error, folder, entry.name);
    }

    /// Removes the deepest level, emptied by now, and goes back to the one above. False where that one is lost.
    bool leave() {
        const Level emptied = std::move(levels_.back());
        levels_.pop_back();
        Level& above = levels_.back();
        if (!above.folder.isOpen()) {
            auto parent = Directory::openParent(emptied.folder.get());
            if (!parent) {
                note(parent.error());
                return false;
            }
            // Somebody may have moved the folder: then ".." leads out of the tree, and everything stops here.
            const auto facts = Directory::factsOf(parent->get());
            if (!facts || !facts->isSameFolder(above.facts)) {
                note(ESTALE);
                return false;
            }
            above.folder = *std::move(parent);
        }
        const int error = Directory::removeFolder(above.folder.get(), emptied.name.c_str());
        noteRemoval(error, above.folder.get(), emptied.name);
        return true;
    }

    Directory::Listing& listing_;
    const Directory::Facts& volume_;
    std::vector<Level> levels_;
    int error_ = 0;
    bool hasRemoved_ = false;
};

}  // namespace

int TreeRemover::remove(int parent, const std::string& name) {
    const auto volume = Directory::factsOf(parent);
    if (!volume) return volume.error();
    return Removal(listing_, *volume).run(parent, name);
}

}  // namespace varnel
