// SPDX-License-Identifier: MIT
#include "core/plan/Executor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/Checked.h"
#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/base/RemovalFailure.h"
#include "core/base/Text.h"
#include "core/log/Log.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Plan.h"
#include "core/plan/TreeRemover.h"
#include "core/scan/Directory.h"
#include "core/scan/ParentFolders.h"
#include "core/scan/PathGuard.h"
#include "core/scan/VolumeIdentity.h"

namespace varnel::Executor {
namespace {

constexpr const char* otherVolume = "skipped: parent is on a different volume";
constexpr const char* isMountPoint = "skipped: is a mount point";
constexpr const char* isSymlink = "skipped: symlink";
constexpr const char* protectedPath = "refused: protected path";
constexpr const char* cannotStatRoot = "refused: cannot stat root";
constexpr const char* outsideRoot = "refused: outside the root";

/// Files in plan order, then folders, the longest path first, equal lengths in plan order.
std::vector<const MatchItem*> workList(const Plan& plan) {
    std::vector<const MatchItem*> files;
    std::vector<std::pair<std::int64_t, const MatchItem*>> folders;
    files.reserve(plan.items.size());
    for (const MatchItem& item : plan.items) {
        if (item.isDirectory) {
            folders.emplace_back(Text::characterCount(item.path), &item);
        } else {
            files.push_back(&item);
        }
    }
    std::stable_sort(folders.begin(), folders.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [length, folder] : folders)
        files.push_back(folder);
    return files;
}

/// The item's path below the root; none where it does not lie there.
std::optional<std::string_view> belowRoot(std::string_view path, std::string_view root) {
    if (!Path::isAtOrBelow(path, root)) return std::nullopt;
    path.remove_prefix(root == "/" ? 1 : std::min(path.size(), root.size() + 1));
    if (path.empty() || path.ends_with('/')) return std::nullopt;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..") return std::nullopt;
        start = end + 1;
    }
    return path;
}

class Execution {
public:
    Execution(std::string root, bool dryRun, Log* log, ParentFolders parents)
        : root_(std::move(root)), dryRun_(dryRun), log_(log), parents_(std::move(parents)) {}

    void work(const MatchItem& item) {
        const auto below = belowRoot(item.path, root_);
        if (!below) return fail(item, outsideRoot);
        const std::string name(Path::lastComponent(*below));
        const auto parent = parents_.at(Path::withoutLastComponent(*below));
        if (!parent) return refuse(item, parent.error());
        const auto facts = Directory::facts(parent->folder, name.c_str());
        if (!facts) {
            result.skipped.push_back(item.path);
            return;
        }
        if (facts->isMountedIn(parent->facts)) return fail(item, isMountPoint);
        if (facts->isSymlink && item.isDirectory) return fail(item, isSymlink);
        if (dryRun_) {
            count(item, item.isDirectory);
            write("DRY   ", item);
            return;
        }
        const int error = facts->isDirectory ? remover_.remove(parent->folder, name)
                                             : Directory::removeEntry(parent->folder, name.c_str());
        if (error == 0) {
            count(item, facts->isDirectory);
            write("DEL   ", item);
            return;
        }
        if (Directory::isGone(error, parent->folder, name.c_str())) {  // another run of ours was faster, say
            result.skipped.push_back(item.path);
            return;
        }
        const std::string reason = removalFailure(item.path, facts->isDirectory, error);
        fail(item, reason);
        if (log_ != nullptr) log_->write("FAIL  " + item.ruleID + "  " + item.path + "  " + reason);
    }

    void close() {
        if (log_ != nullptr) log_->write("DONE  " + root_ + "  " + result.summary(dryRun_));
    }

    ExecResult result;

private:
    void refuse(const MatchItem& item, ParentFolders::Refusal refusal) {
        if (refusal == ParentFolders::Refusal::noFolder) {
            result.skipped.push_back(item.path);
        } else {
            fail(item, refusal == ParentFolders::Refusal::link ? isSymlink : otherVolume);
        }
    }

    void fail(const MatchItem& item, std::string reason) { result.failures.push_back({item.path, std::move(reason)}); }

    void count(const MatchItem& item, bool isFolder) {
        result.removed = addOrTrap(result.removed, 1);
        result.bytes = addOrTrap(result.bytes, item.bytes);
        if (isFolder) result.removedDirectories = addOrTrap(result.removedDirectories, 1);
    }

    void write(const char* tag, const MatchItem& item) {
        if (log_ != nullptr) log_->write(tag + item.ruleID + "  " + item.path);
    }

    std::string root_;
    bool dryRun_;
    Log* log_;
    ParentFolders parents_;
    TreeRemover remover_;
};

/// Where the open root really is; by its path where the system does not tell it of a descriptor.
std::optional<std::string> physicalPath(int folder, const std::string& root) {
    if (auto path = Directory::physicalPath(folder)) return *std::move(path);
    std::error_code error;
    std::string path = std::filesystem::canonical(root, error).native();
    return error ? std::nullopt : std::optional(std::move(path));
}

ExecResult refused(const std::string& root, const char* reason) {
    ExecResult result;
    result.failures.push_back({root, reason});
    return result;
}

}  // namespace

ExecResult execute(const Plan& plan, bool dryRun, Log* log) {
    const auto always = [](const ExecResult&) { return true; };
    return execute(plan, dryRun, log, {std::nullopt, always});
}

ExecResult execute(const Plan& plan, bool dryRun, Log* log, const Supervision& supervision) {
    const std::string root = Path::standardized(plan.root);
    if (PathGuard::isForbidden(root)) return refused(root, protectedPath);
    if (!Directory::factsFollowingLinks(root)) return refused(root, cannotStatRoot);

    // What cannot be opened, or is another volume by now, has no folder in which anything could be removed.
    FileDescriptor opened;
    if (auto folder = Directory::openRoot(root, Directory::Links::follow, Directory::Purpose::lookUp)) {
        // A link on the way to the root may lead to a protected folder that the root's own text does not show.
        const auto physical = physicalPath(folder->get(), root);
        if (!physical) return refused(root, cannotStatRoot);
        if (PathGuard::isForbiddenPlace(*physical)) return refused(root, protectedPath);
        const auto& expected = supervision.volume;
        if (!expected || VolumeIdentity::of(folder->get()) == expected) opened = *std::move(folder);
    }
    Execution execution(root, dryRun, log, ParentFolders(root, std::move(opened)));
    for (const MatchItem* item : workList(plan)) {
        if (!supervision.mayGoOn(execution.result)) break;
        execution.work(*item);
    }
    execution.close();
    return std::move(execution.result);
}

}  // namespace varnel::Executor
