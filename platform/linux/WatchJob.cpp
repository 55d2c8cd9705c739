// SPDX-License-Identifier: MIT
#include "platform/linux/WatchJob.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>  // NOLINT(modernize-deprecated-headers): clock_gettime() is POSIX

#include <cerrno>
#include <ctime>
#include <expected>
#include <string>
#include <string_view>
#include <tuple>

#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/Walker.h"

namespace varnel {
namespace {

/// File systems made for cameras count time in steps of two seconds, and say so by a fraction of zero.
constexpr time_t coarseStep = 2;

/// The kernel stamps files with a clock that lags behind by up to a tick.
constexpr long tick = 20'000'000;

/// How far another computer's clock may be ahead of this one's.
constexpr time_t clockError = 900;

constexpr long second = 1'000'000'000;

/// Whether something was stamped before `moment`, by the greatest lag that a stamp may have.
bool isBefore(const timespec& stamp, timespec moment) {
    if (stamp.tv_nsec == 0) moment.tv_sec -= coarseStep;
    moment.tv_nsec -= tick;
    if (moment.tv_nsec < 0) {
        moment.tv_nsec += second;
        --moment.tv_sec;
    }
    return std::tie(stamp.tv_sec, stamp.tv_nsec) < std::tie(moment.tv_sec, moment.tv_nsec);
}

/// When something appeared in a folder, or went, the last time; an errno value where that cannot be asked.
std::expected<timespec, int> stampOf(const WatchJob& job, const std::string& folder) {
    struct stat facts {};
    if (::lstat(folder.c_str(), &facts) == 0) return facts.st_mtim;
    if (errno != ENAMETOOLONG) return std::unexpected(errno);
    const auto opened = openFolder(job, folder, Directory::Purpose::lookUp);
    if (!opened) return std::unexpected(opened.error());
    if (::fstat(opened->get(), &facts) != 0) return std::unexpected(errno);
    return facts.st_mtim;
}

/// Takes the problems of a walk. What it could not look at is lost.
auto reportingLoss(const WatchJob& job) {
    return [&job](std::string problem) {  // NOLINT(performance-unnecessary-value-param): the walk sets the type
        if (isAboutSomethingThere(problem)) job.events->addLost(job.root);
    };
}

}  // namespace

timespec timeNow() {
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

timespec justBefore(timespec noticed) {
    noticed.tv_sec -= 1;
    return noticed;
}

std::expected<FileDescriptor, int> openFolder(const WatchJob& job, const std::string& folder,
                                              Directory::Purpose purpose) {
    const auto root = Directory::openRoot(job.root, Directory::Links::follow, Directory::Purpose::lookUp);
    if (!root) return std::unexpected(root.error());
    std::string_view below = std::string_view(folder).substr(job.root.size());
    if (below.starts_with('/')) below.remove_prefix(1);
    return Directory::openBeneath(root->get(), below, purpose);
}

bool meansGone(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ESTALE || error == EXDEV;
}

bool isAboutSomethingThere(const std::string& problem) {
    const auto slash = problem.find('/');
    if (slash == std::string::npos) return false;
    const auto facts = Directory::facts(problem.substr(slash));
    return facts || !meansGone(facts.error());
}

bool hasChanged(const WatchJob& job, const std::string& folder) {
    const auto stamp = stampOf(job, folder);
    if (!stamp) return !meansGone(stamp.error());
    if (isBefore(*stamp, job.begun)) return false;
    // A folder from further in the future was made under another clock, at a time that nobody knows.
    return stamp->tv_sec <= std::time(nullptr) + clockError;
}

void reportEntries(const WatchJob& job, const std::string& folder) {
    const auto opened = openFolder(job, folder, Directory::Purpose::list);
    int error = opened ? 0 : opened.error();
    if (opened) {
        Directory::Listing listing;
        listing.begin(opened->get());
        for (Directory::ListedEntry entry; listing.next(entry);)
            job.events->add(job.root, Path::joined(folder, entry.name));
        error = listing.error();
    }
    if (error != 0 && !meansGone(error)) job.events->addLost(job.root);
}

void reportContents(const WatchJob& job, const std::string& folder) {
    Walker::walk(folder, reportingLoss(job), [&job](const WalkEntry& entry) {
        job.events->add(job.root, entry.path);
        return !job.stop.isRaised();
    });
}

void reportWhatChanged(const WatchJob& job) {
    if (hasChanged(job, job.root)) reportEntries(job, job.root);
    Walker::walk(
        job.root, reportingLoss(job),
        [&job](const WalkEntry& entry) {
            if (entry.isDirectory && hasChanged(job, entry.path)) reportEntries(job, entry.path);
            return !job.stop.isRaised();
        },
        [](std::string_view) { return true; });
}

}  // namespace varnel
