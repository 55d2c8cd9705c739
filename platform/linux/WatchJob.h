// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ctime>
#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "core/base/FileDescriptor.h"
#include "core/scan/Directory.h"
#include "platform/linux/EventBatcher.h"
#include "platform/linux/StopSignal.h"

namespace varnel {

/// One folder to be watched with everything below it, as far as its file system reaches: a volume, as a rule. Each job
/// has a thread of its own, so that a server that does not answer holds up nothing else.
struct WatchJob {
    std::string root;
    timespec begun{};     ///< What appears from this moment on is reported.
    bool isLate = false;  ///< That moment was before the job could begin: the volume was mounted meanwhile.
    std::shared_ptr<EventBatcher> events;
    std::function<void()> onReady;                      ///< Everything is being watched.
    std::function<void(const std::string&)> onProblem;  ///< One line for people.
    StopSignal stop;
};

/// How a job came to its end.
enum class WatchEnd : std::uint8_t {
    over,       ///< It was asked to stop, or the folder cannot be watched, or is gone.
    unmounted,  ///< The volume is gone; another may be in its place.
    refused,    ///< This way of watching is not granted, or no longer. What was missed is told as lost.
};

/// What the system's clock says.
timespec timeNow();

/// A moment before something was noticed, early enough for it to have happened.
timespec justBefore(timespec noticed);

/// Opens a folder of the job, however long its path is.
std::expected<FileDescriptor, int> openFolder(const WatchJob& job, const std::string& folder,
                                              Directory::Purpose purpose);

/// Whether an error says that a folder is there no more, or is something else by now. After any other it may be there.
bool meansGone(int error);

/// Whether what a walk complained of is still there. The path begins at the first slash.
bool isAboutSomethingThere(const std::string& problem);

/// Whether something appeared in a folder, or went, since the job began. Errs towards yes by the steps in which file
/// systems count time, and where it cannot be told.
bool hasChanged(const WatchJob& job, const std::string& folder);

/// Reports what lies in a folder, not below its subfolders.
void reportEntries(const WatchJob& job, const std::string& folder);

/// Reports everything below a folder.
void reportContents(const WatchJob& job, const std::string& folder);

/// Reports what lies in every folder that has changed.
void reportWhatChanged(const WatchJob& job);

}  // namespace varnel
