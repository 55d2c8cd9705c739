// SPDX-License-Identifier: MIT
#include "cli/Notes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/AppleDouble.h"
#include "core/base/ByteCount.h"
#include "core/base/FileDescriptor.h"
#include "core/base/Text.h"
#include "core/plan/Plan.h"
#include "core/scan/Directory.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Walker.h"

namespace varnel::cli::Notes {
namespace {

constexpr std::time_t recentSeconds = 600;

bool isRegularFile(const struct stat& facts) {
    return S_ISREG(facts.st_mode);
}

/// Reads a companion's beginning; never opens anything but a regular file, so that no fifo blocks and no device stirs.
bool hasResourceFork(const std::string& path) {
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) != 0 || !isRegularFile(facts)) return false;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen() || ::fstat(file.get(), &facts) != 0 || !isRegularFile(facts)) return false;
    std::array<char, 4096> head{};
    const ssize_t got = ::read(file.get(), head.data(), head.size());
    return got > 0 && AppleDouble::holdsResourceFork({head.data(), static_cast<std::size_t>(got)});
}

struct Contents {
    std::int64_t folders = 0;
    std::int64_t entries = 0;
    std::int64_t bytes = 0;
    bool hasRecentChange = false;
};

// The walk hands the text over by value; nobody wants it here.
void ignoreProblem(std::string) {}  // NOLINT(performance-unnecessary-value-param): the walk sets the type

/// Adds what lies in a folder, links not followed, mounts not entered.
void addContents(const std::string& folder, Contents& contents) {
    ++contents.folders;
    Walker::walk(folder, ignoreProblem, [&contents](const WalkEntry& entry) {
        ++contents.entries;
        // Only a hint for a person: sparse files may claim more than there is room for on any disk.
        if (__builtin_add_overflow(contents.bytes, std::max<std::int64_t>(0, entry.size), &contents.bytes)) {
            contents.bytes = std::numeric_limits<std::int64_t>::max();
        }
        return true;
    });
}

bool changedRecently(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0 && std::time(nullptr) - facts.st_mtime < recentSeconds;
}

bool holdsRecentChange(const std::string& folder) {
    bool found = changedRecently(folder);
    Walker::walk(folder, ignoreProblem, [&found](const WalkEntry& entry) {
        found = found || changedRecently(entry.path);
        return !found;
    });
    return found;
}

std::string plural(std::int64_t count, const char* one, const char* many) {
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

/// The names in an open folder; none where it cannot be read to its end, which a walk would pass over.
std::optional<std::vector<std::string>> namesIn(int folder) {
    Directory::Listing listing;
    listing.begin(folder);
    std::vector<std::string> names;
    for (Directory::ListedEntry entry; listing.next(entry);)
        names.emplace_back(entry.name);
    if (listing.error() != 0) return std::nullopt;
    return names;
}

bool isStore(const std::string& name) {
    return Text::lowercased(name) == "chunkstore";
}

/// Whether such a folder holds the volume's data or keys, or may do so: what cannot be read stays as well.
bool mayHoldVolumeData(const std::string& path) {
    const auto opened = Directory::openRoot(path, Directory::Links::refuse, Directory::Purpose::list);
    if (!opened) return true;
    const auto names = namesIn(opened->get());
    if (!names) return true;
    return std::any_of(names->begin(), names->end(), [&opened](const std::string& name) {
        const std::string lowered = Text::lowercased(name);
        if (lowered != "dedup") return isStore(name) || lowered.starts_with("fve2.");
        const auto data = Directory::openChild(opened->get(), name);
        if (!data) return data.error() != ENOTDIR && data.error() != ELOOP;
        const auto below = namesIn(data->descriptor.get());
        return !below || std::any_of(below->begin(), below->end(), isStore);
    });
}

}  // namespace

std::vector<std::string> about(const Plan& plan) {
    std::int64_t forks = 0;
    Contents trashes;
    std::int64_t recentTemporaries = 0;
    std::int64_t switches = 0;
    for (const MatchItem& item : plan.items) {
        if (item.ruleID == "appledouble") {
            if (hasResourceFork(item.path)) ++forks;
        } else if (item.ruleID == "trashes" || item.ruleID == "recyclebin") {
            addContents(item.path, trashes);
        } else if (item.ruleID == "temporaryitems") {
            if (holdsRecentChange(item.path)) ++recentTemporaries;
        } else if (item.ruleID == "fseventsd") {
            if (FSInfo::entry(item.path + "/no_log")) ++switches;
        }
    }
    std::vector<std::string> lines;
    if (forks > 0) {
        lines.push_back(plural(forks, "._ file holds", "._ files hold") +
                        " a real resource fork, which may be a file's only data (keep: --except appledouble)");
    }
    if (trashes.entries > 0) {
        lines.push_back(plural(trashes.folders, "trash folder holds ", "trash folders hold ") +
                        plural(trashes.entries, "deleted entry", "deleted entries") + ", " +
                        ByteCount::text(trashes.bytes) +
                        ", of whoever uses the disk (keep: --except trashes,recyclebin)");
    }
    if (recentTemporaries > 0) {
        lines.push_back(
            plural(recentTemporaries, ".TemporaryItems folder", ".TemporaryItems folders") +
            " changed in the last 10 minutes: a document may be being saved (keep: --except temporaryitems)");
    }
    if (switches > 0) {
        lines.push_back(plural(switches, ".fseventsd folder holds", ".fseventsd folders hold") +
                        " no_log, the owner's own switch against such folders (keep: --except fseventsd)");
    }
    return lines;
}

std::vector<std::string> keepSystemVolumes(Plan& plan) {
    std::vector<std::string> kept;
    const auto isDear = [&](const MatchItem& item) {
        if (item.ruleID != "sysvolinfo" || !mayHoldVolumeData(item.path)) return false;
        kept.push_back(item.path);
        return true;
    };
    std::erase_if(plan.items, isDear);
    for (RuleTally& tally : plan.tallies) {
        if (tally.ruleID != "sysvolinfo") continue;
        tally.count -= static_cast<std::int64_t>(kept.size());
        tally.directories -= static_cast<std::int64_t>(kept.size());
    }
    std::erase_if(plan.tallies, [](const RuleTally& tally) { return tally.count == 0; });
    return kept;
}

}  // namespace varnel::cli::Notes
