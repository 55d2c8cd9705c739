// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

namespace varnel::tests {

/// Runs parts of a test in a child process with a mount namespace of its own: whatever is mounted there is gone when
/// it ends, however it ends.
class PrivateMounts {
public:
    PrivateMounts();

    /// Whether this process may have such a namespace; if not, reason() says why.
    bool available() const { return reason_.empty(); }
    const std::string& reason() const { return reason_; }

    /// Runs `body` in the child. Gives how many expectations failed in it, or a large number where it crashed.
    int run(const std::function<void()>& body) const;

private:
    std::string reason_;
};

/// Runs `body` in a child process without a namespace of its own. Gives how many expectations failed in it.
int runInChild(const std::function<void()>& body);

/// The same while this process, with all its threads, stands still.
int runInChildAlone(const std::function<void()>& body);

/// The same as runInChild() as a person without privileges: another user, no group, no capability. Needs root.
int runUnprivileged(const std::function<void()>& body);

/// From now on this thread, and those that it starts, may not administer the system, though root; programs that it
/// starts may again. False where that cannot be arranged.
bool dropSystemAdministration();

/// The same for opening what one has only the handle of.
bool dropFindingByHandle();

/// Runs a shell command; throws with its output where it fails.
void shell(const std::string& command);

/// A shell command that tries another one again for some seconds, for what another process is in the way of.
std::string patiently(const std::string& command);

/// Whether a program is on the path.
bool hasProgram(const std::string& name);

void mountTmpfs(const std::string& folder, const std::string& options = "");
void bindMount(const std::string& from, const std::string& folder);
void unmount(const std::string& folder);

}  // namespace varnel::tests
