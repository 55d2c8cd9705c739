// SPDX-License-Identifier: MIT
//
// Ctrl-C. A process that sits in a call on a dead disk cannot even be killed until the disk answers. So the work is
// done by a child process, in which a thread of its own waits for the interruption, and the process that the person
// started only watches: it can always end.
#pragma once

namespace varnel::cli::Interruption {

/// Splits the process: the one that returns from here works, the other watches and ends with the worker's status.
/// Called once, before any other thread exists and before anything is written. From then on Ctrl-C and SIGTERM end both
/// at once with status 130, unless they are deferred.
void begin();

/// While one of these lives, the first Ctrl-C is only noted, so that the work can come to a good end; the second ends
/// the process at once.
class Deferred {
public:
    /// `answer`: a line for the person at the terminal who pressed it once; a literal.
    explicit Deferred(const char* answer);
    ~Deferred();
    Deferred(const Deferred&) = delete;
    Deferred& operator=(const Deferred&) = delete;
};

/// Whether a Ctrl-C was noted.
bool isRequested();

/// Returns once a Ctrl-C was noted.
void waitUntilRequested();

/// Says that the work is done and the process about to end by itself with that status: where a dead disk still holds
/// one of its threads, nobody waits for that.
void announceEnd(int status);

/// Ends the process at once with status 130, whatever its threads are waiting for.
[[noreturn]] void leave();

}  // namespace varnel::cli::Interruption
