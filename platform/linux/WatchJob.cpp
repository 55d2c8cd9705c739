// SPDX-License-Identifier: MIT
#include "platform/linux/WatchJob.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <sys/stat.h>

#include <ctime>
#include <string>
#include <string_view>

#include "core/scan/Directory.h"
#include "core/scan/Walker.h"

namespace varnel {
namespace {

/// File systems made for cameras count time in steps of two seconds, and say so by a fraction of zero.
constexpr time_t coarseStep = 2;

/// The kernel stamps files with a clock that lags behind by up to a tick.
constexpr long tick = 20'000'000;

bool isBefore(timespec a, const timespec& b) {
    if (a.tv_nsec == 0) a.tv_sec += coarseStep;
    a.tv_nsec += tick;
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// The walk hands the text over by value; nobody wants it here.
void ignoreProblem(std::string) {}  // NOLINT(performance-unnecessary-value-param): the walk sets the type

}  // namespace

bool hasChanged(const WatchJob& job, const std::string& folder) {
    struct stat facts {};
    if (::lstat(folder.c_str(), &facts) != 0 || isBefore(facts.st_mtim, job.begun)) return false;
    // A folder from the future was made under another clock, at a time that nobody knows.
    return facts.st_mtim.tv_sec <= std::time(nullptr) + coarseStep;
}

void reportEntries(const WatchJob& job, const std::string& folder) {
    Walker::walk(folder, ignoreProblem, [&job](const WalkEntry& entry) {
        job.events->add(job.root, entry.path);
        return false;
    });
}

void reportContents(const WatchJob& job, const std::string& folder) {
    Walker::walk(folder, ignoreProblem, [&job](const WalkEntry& entry) {
        job.events->add(job.root, entry.path);
        return !job.stop.isRaised();
    });
}

void reportWhatChanged(const WatchJob& job) {
    if (hasChanged(job, job.root)) reportEntries(job, job.root);
    Walker::walk(
        job.root, ignoreProblem,
        [&job](const WalkEntry& entry) {
            if (entry.isDirectory && hasChanged(job, entry.path)) reportEntries(job, entry.path);
            return !job.stop.isRaised();
        },
        [](std::string_view, Directory::ListedKind) { return true; });
}

}  // namespace varnel
