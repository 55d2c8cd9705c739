// SPDX-License-Identifier: MIT
//
// Ctrl-C. A thread of its own waits for the signal, because the main thread may sit in a system call on a dead disk
// that no signal handler gets it out of; ending the process does.
#pragma once

namespace varnel::cli::Interruption {

/// Takes the signals over. Called once, before any other thread exists. From then on Ctrl-C ends the process at once
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
