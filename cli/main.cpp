// SPDX-License-Identifier: MIT
#include <signal.h>  // NOLINT(modernize-deprecated-headers): the signals of a terminal are POSIX

#include <string>
#include <variant>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
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

}  // namespace

int main(int count, char** words) {
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
    return static_cast<int>(status);
}
