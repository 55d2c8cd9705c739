// SPDX-License-Identifier: MIT
#include "app/CleanAlerts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "app/Alert.h"
#include "core/base/ByteCount.h"
#include "core/base/Text.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Plan.h"
#include "core/plan/PlanReport.h"

namespace varnel::CleanAlerts {
namespace {

/// Items of the plan that the confirmation shows.
constexpr std::int64_t samples = 40;

/// Problems and failures that an alert has room for.
constexpr std::size_t mostListed = 5;

}  // namespace

Alert notice(std::string message, std::string informativeText) {
    return {std::move(message), std::move(informativeText), {"OK"}};
}

Alert notBegun() {
    return notice("Could not begin", "The system has no room for more work at the moment. Please try again later.");
}

Alert refused(const std::string& path) {
    return notice("Refused", Text::repaired(path) + " is a protected system path.");
}

Alert macFormat(const std::string& path, const std::string& fileSystemType) {
    return {Text::repaired(path) + " is on a " + Text::repaired(fileSystemType) + " volume",
            "This is a Mac format. Deleting metadata here only affects Finder cosmetics, but it is unusual. "
            "Clean anyway?",
            {"Clean Anyway", "Cancel"},
            Alert::Style::warning};
}

Alert nothingToClean(const Plan& plan) {
    if (plan.errors.empty()) return notice("Nothing to clean", "No macOS metadata found.");
    std::string text = plan.errors.front();
    for (std::size_t i = 1; i < std::min(plan.errors.size(), mostListed); ++i)
        text += "\n" + plan.errors[i];
    return notice("Nothing to clean", Text::repaired(text));
}

Alert confirmation(const Plan& plan) {
    return {"Clean " + Text::repaired(plan.root) + "?",
            std::to_string(plan.items.size()) + " item(s), " + ByteCount::text(plan.totalBytes()) +
                " will be removed. This cannot be undone.",
            {"Clean", "Cancel"},
            Alert::Style::warning,
            PlanReport::prettyText(plan, samples)};
}

std::string report(const ExecResult& result, const std::optional<Ejected>& ejected) {
    std::string text = result.summary(/*dryRun=*/false);
    if (!result.failures.empty()) {
        text += "\n\n" + std::to_string(result.failures.size()) + " item(s) could not be removed.";
        for (std::size_t i = 0; i < std::min(result.failures.size(), mostListed); ++i)
            text += "\n  " + result.failures[i].path + " — " + result.failures[i].reason;
    }
    if (ejected) text += *ejected ? "\n\nEjected." : "\n\nEject failed: " + ejected->error().message;
    return Text::repaired(text);
}

Alert finished(const std::string& report) {
    return notice("Clean finished", report);
}

}  // namespace varnel::CleanAlerts
