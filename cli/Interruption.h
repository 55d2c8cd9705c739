// SPDX-License-Identifier: MIT
//
// Ctrl-C. A process that sits in a call on a dead disk cannot even be killed until the disk answers. So the work is
// done by a child process, in which a thread of its own waits for the interruption, and the process that the person
// started only watches: it can always end.
#pragma once

namespace varnel::cli::Interruption {

/// Splits the process: the one that returns from here works, the other watches and ends with the worker's status.
/// Called once, before any other thread exists and before anything is written. From then on Ctrl-C ends both at once
/// with status 130, unless it is deferred.
void begin();

/// While one of these lives, the first Ctrl-C is only noted, so that the item at hand can be finished; the second ends
/// the process at once.
class Deferred {
public:
    Deferred();
    ~Deferred();
    Deferred(const Deferred&) = delete;
    Deferred& operator=(const Deferred&) = delete;
};

/// Whether a Ctrl-C was noted.
bool isRequested();

}  // namespace varnel::cli::Interruption
