// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals of a terminal are POSIX
#include <unistd.h>

#include <string>
#include <variant>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/Output.h"

namespace {

using namespace varnel::cli;

struct Run {
    ExitStatus operator()(const ScanArguments& arguments) const { return runScan(arguments); }
    ExitStatus operator()(const CleanArguments& arguments) const { return runClean(arguments); }
    ExitStatus operator()(const SweepArguments& arguments) const { return runSweep(arguments); }
    ExitStatus operator()(const WatchArguments& arguments) const { return runWatch(arguments); }
    ExitStatus operator()(const EjectArguments& arguments) const { return runEject(arguments); }
    ExitStatus operator()(const RulesArguments& arguments) const { return runRules(arguments); }
    ExitStatus operator()(const VolumesArguments& arguments) const { return runVolumes(arguments); }
    ExitStatus operator()(const LogArguments& arguments) const { return runLog(arguments); }
};

/// Whoever started this may have closed a standard stream. The next file that is opened would take its place, the
/// activity log for example, and what is meant for the stream would be written there. So its place is taken by what
/// fails as a closed stream does.
void occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int count, char** words) {
    occupyStandardStreams();
    // A closed pipe or a limit on file sizes must end a write with an error, not the process in the middle of its work.
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
    // Whoever started this may ignore its children; then nobody could tell how one of ours ended.
    ::signal(SIGCHLD, SIG_DFL);

    const auto arguments = parseArguments(std::vector<std::string>(words + (count > 0 ? 1 : 0), words + count));
    auto status = ExitStatus::done;
    if (arguments) {
        status = std::visit(Run{}, *arguments);
    } else {
        const Answer& answer = arguments.error();
        answer.isError ? Output::aside(answer.text) : Output::result(answer.text);
        status = answer.status;
    }
    if (!Output::finish()) status = graver(status, ExitStatus::failed);
    Interruption::announceEnd(static_cast<int>(status));
    return static_cast<int>(status);
}
