// SPDX-License-Identifier: MIT
//
// What the tests say and hear on the other side of the macOS layer. Process-wide, as the services are that they stand
// for; each test begins with reset().
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace varnel::tests::Fakes {

/// Forgets everything that was said and heard.
void reset();

/// From now on what is heard of the stream and of the log is printed as it comes.
extern bool tellAtOnce;

/// Ends the process: something was done that macOS answers with a crash or a hang.
[[noreturn]] void breach(const char* what);

/// Runs one piece of work that was handed to the main queue; false where none comes in that time.
bool runMainItem(std::chrono::milliseconds patience);

/// The labels of the queues that were made, in order.
std::vector<std::string> queues();
void noteQueue(const std::string& label);

// The file-system event service.

/// What was asked of it, in order: "create paths=/ since=ffffffffffffffff latency=0.25 flags=0x17", "setQueue",
/// "start", "stop", "invalidate", "release".
std::vector<std::string> streamCalls();
void note(const std::string& streamCall);

struct StreamRefusals {
    bool creation = false;
    bool start = false;
};
extern StreamRefusals streamRefusals;

/// Delivers a batch on the queue of the running stream, once what waits there is done. Among the paths an empty one
/// becomes an object that is no string.
void deliver(const std::vector<std::string>& paths, const std::vector<std::uint32_t>& flags);

// The unified log.

/// What was logged, as "SUBSYSTEM CATEGORY FORMAT: ARGUMENT".
std::vector<std::string> logged();

// Volumes and mounts.

struct FakeVolume {
    std::string path;
    bool isLocal = true;
    bool isRemovable = false;
    bool isInternal = false;
    bool hasValues = true;  ///< The system gives them at all.
    bool hasFlags = true;   ///< The answer holds each of them.
};
/// What the file manager tells.
struct MountedState {
    std::vector<FakeVolume> volumes = {};
    bool isUnknown = false;               ///< It tells nothing of volumes.
    std::vector<std::string> names = {};  ///< In the folder "/Volumes", which is never touched.
    bool cannotBeListed = false;          ///< That folder.
};
void setMounted(MountedState state);
MountedState mounted();

/// How it was asked: the keys, joined by commas, and the options.
std::vector<std::string> volumeQuestions();
void noteQuestion(const std::string& question);

/// Posts the workspace's notification on the calling thread.
void postMount();
void postUnmount();

}  // namespace varnel::tests::Fakes
