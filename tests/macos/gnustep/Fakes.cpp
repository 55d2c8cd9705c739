// SPDX-License-Identifier: MIT
#include "tests/macos/gnustep/Fakes.h"

#include <os/log.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

struct VarnelFakeLog {
    std::string name;
};

namespace varnel::tests::Fakes {
namespace {

std::mutex mutex;
std::vector<std::string> labels;
std::vector<std::string> calls;
std::vector<std::string> messages;
std::vector<std::string> questions;
MountedState state;

void tell(const char* tag, const std::string& line) {
    if (!tellAtOnce) return;
    std::printf("%s %s\n", tag, line.c_str());
    std::fflush(stdout);
}

}  // namespace

bool tellAtOnce = false;

void reset() {
    const std::lock_guard lock(mutex);
    labels.clear();
    calls.clear();
    messages.clear();
    streamRefusals = {};
    questions.clear();
    state = {};
}

void breach(const char* what) {
    std::fprintf(stderr, "macOS would not stand this: %s\n", what);
    std::abort();
}

std::vector<std::string> queues() {
    const std::lock_guard lock(mutex);
    return labels;
}

void noteQueue(const std::string& label) {
    const std::lock_guard lock(mutex);
    labels.push_back(label);
}

std::vector<std::string> streamCalls() {
    const std::lock_guard lock(mutex);
    return calls;
}

void note(const std::string& streamCall) {
    const std::lock_guard lock(mutex);
    calls.push_back(streamCall);
    tell("STREAM", streamCall);
}

void setMounted(MountedState mounted) {
    const std::lock_guard lock(mutex);
    state = std::move(mounted);
}

MountedState mounted() {
    const std::lock_guard lock(mutex);
    return state;
}

std::vector<std::string> volumeQuestions() {
    const std::lock_guard lock(mutex);
    return questions;
}

void noteQuestion(const std::string& question) {
    const std::lock_guard lock(mutex);
    questions.push_back(question);
}

std::vector<std::string> logged() {
    const std::lock_guard lock(mutex);
    return messages;
}

}  // namespace varnel::tests::Fakes

os_log_t os_log_create(const char* subsystem, const char* category) {
    return new VarnelFakeLog{std::string(subsystem) + ' ' + category};  // the system never lets go of one either
}

void varnelFakeLogDebug(os_log_t log, const char* format, const char* argument) {
    using namespace varnel::tests::Fakes;
    const std::lock_guard lock(mutex);
    messages.push_back(log->name + ' ' + format + ": " + argument);
    tell("LOG", messages.back());
}
