// SPDX-License-Identifier: MIT
#include <string>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/ProgressLine.h"
#include "cli/Target.h"
#include "core/plan/Plan.h"
#include "core/plan/PlanCoding.h"
#include "core/plan/PlanReport.h"
#include "core/scan/Scanner.h"

namespace varnel::cli {
namespace {

ExitStatus scanOne(const std::string& word, const Selection& selection) {
    const auto target = Target::path(word);
    if (!target) {
        Output::message(Output::shownInMessage(word) + ' ' + target.error());
        return ExitStatus::refused;
    }
    const std::string& path = *target;
    if (Target::isProtected(path)) {
        Output::message(Output::shownInMessage(path) + " is a protected system path.");
        return ExitStatus::refused;
    }
    Plan plan;
    {
        ProgressLine progress;
        plan = Scanner{selection.rules, selection.scope}.scan(
            path, [&](const ScanProgress& now) { progress.scanning(now.entries, now.items); });
    }
    if (selection.json) {
        Output::result(PlanCoding::encode(plan) + '\n');
    } else {
        Output::result(PlanReport::prettyText(plan, selection.samples, Output::shown));
    }
    if (plan.errors.empty()) return ExitStatus::done;
    if (const std::string problem = Target::problem(path); !problem.empty()) {
        Output::message(Output::shownInMessage(path) + ": " + problem);
    }
    return ExitStatus::failed;
}

}  // namespace

ExitStatus runScan(const ScanArguments& arguments) {
    // A second thread makes every system call of the first a little dearer. Where there is no progress line to take
    // away, Ctrl-C may as well end the process by itself; a shell sees the same status.
    if (ProgressLine::isPossible()) Interruption::begin();
    auto status = ExitStatus::done;
    for (const std::string& word : arguments.paths) {
        status = graver(status, scanOne(word, arguments.selection));
        if (!Output::flush()) break;  // main() says why
    }
    return status;
}

}  // namespace varnel::cli
