// SPDX-License-Identifier: MIT
#include "core/plan/PlanReport.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/base/ByteCount.h"
#include "core/base/FunctionRef.h"
#include "core/base/Text.h"
#include "core/plan/Plan.h"

namespace varnel::PlanReport {
namespace {

constexpr std::int64_t narrowestLabel = 26;
constexpr std::int64_t countWidth = 8;
constexpr std::int64_t ruleBeyondLabel = 14;
constexpr std::size_t mostErrors = 10;

using Shown = FunctionRef<std::string(std::string_view)>;

std::string countText(std::size_t count) {
    return Text::padLeft(std::to_string(count), countWidth);
}

std::string tallies(const Plan& plan) {
    if (plan.tallies.empty()) return "  nothing to clean\n";
    std::int64_t width = narrowestLabel;
    for (const RuleTally& tally : plan.tallies)
        width = std::max(width, Text::characterCount(tally.label));
    std::string text;
    for (const RuleTally& tally : plan.tallies) {
        text +=
            "  " + Text::padRight(tally.label, width) + Text::padLeft(std::to_string(tally.count), countWidth) + "  ";
        if (tally.bytes >= 1) text += ByteCount::text(tally.bytes);
        text += '\n';
    }
    text += "  " + std::string(static_cast<std::size_t>(width + ruleBeyondLabel), '-') + '\n';
    text += "  " + Text::padRight("total", width) + countText(plan.items.size()) + "  " +
            ByteCount::text(plan.totalBytes()) + '\n';
    return text;
}

std::string sampleLines(const Plan& plan, std::int64_t samples, Shown shown) {
    if (samples < 1 || plan.items.empty()) return {};
    std::string text = "\n";
    const std::size_t listed = std::min(static_cast<std::size_t>(samples), plan.items.size());
    for (std::size_t i = 0; i < listed; ++i) {
        const MatchItem& item = plan.items[i];
        text += item.isDirectory ? "  d " : "  - ";
        text += shown(item.path) + '\n';
    }
    if (listed < plan.items.size()) text += "  … " + std::to_string(plan.items.size() - listed) + " more\n";
    return text;
}

std::string errorLines(const Plan& plan, Shown shown) {
    if (plan.errors.empty()) return {};
    std::string text = "\n  errors:\n";
    const std::size_t listed = std::min(mostErrors, plan.errors.size());
    for (std::size_t i = 0; i < listed; ++i)
        text += "    " + shown(plan.errors[i]) + '\n';
    if (listed < plan.errors.size()) text += "    … " + std::to_string(plan.errors.size() - listed) + " more\n";
    return text;
}

}  // namespace

std::string prettyText(const Plan& plan, std::int64_t samples) {
    return prettyText(plan, samples, [](std::string_view bytes) { return Text::repaired(bytes); });
}

std::string prettyText(const Plan& plan, std::int64_t samples, Shown shown) {
    std::string text = shown(plan.root) + '\n';
    text += "  filesystem: " + shown(plan.volume.fsType);
    text += plan.volume.isMacFormat() ? " (Mac format — skipped by default)\n" : " (non-Mac)\n";
    text += tallies(plan);
    if (!plan.protectedItems.empty()) {
        text += "  protected (resource-fork file types kept): " + std::to_string(plan.protectedItems.size()) + '\n';
    }
    text += sampleLines(plan, samples, shown);
    text += errorLines(plan, shown);
    return text;
}

}  // namespace varnel::PlanReport
