// SPDX-License-Identifier: MIT
#include "core/scan/Scanner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Checked.h"
#include "core/base/FunctionRef.h"
#include "core/base/Path.h"
#include "core/plan/Plan.h"
#include "core/rules/ActiveRules.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Walker.h"

namespace varnel {
namespace {

constexpr std::int64_t progressInterval = 4096;

using Labels = std::map<std::string, std::string, std::less<>>;

Labels labelsOf(const RuleSet& rules) {
    Labels labels;
    for (const Rule& rule : rules.rules) {
        if (!labels.emplace(rule.id, rule.label).second) trap("two rules of one rule set have the same id");
    }
    return labels;
}

/// Collects what a walk finds.
class Findings {
public:
    Findings(const RuleSet& rules, RuleScope scope)
        : rules_(rules), labels_(labelsOf(rules)), active_(rules, scope), tallyOf_(active_.rules().size(), none) {}

    bool isOfNoInterest(std::string_view name) const {
        return active_.firstMatch(name, /*isDirectory=*/false) == nullptr;
    }

    /// Records the entry; answers whether to descend into it.
    bool visit(const WalkEntry& entry) {
        const Rule* const rule = active_.firstMatch(entry.name, entry.isDirectory);
        if (rule == nullptr) return true;
        if (rules_.isKept(*rule, entry.name)) {
            plan.protectedItems.push_back(entry.path);
            return true;
        }
        makeRoom();
        plan.items.emplace_back(entry.path, entry.name, rule->id, entry.isDirectory, entry.size);
        RuleTally& tally = tallyFor(*rule);
        tally.count = addOrTrap(tally.count, 1);
        tally.bytes = addOrTrap(tally.bytes, entry.size);
        if (entry.isDirectory) tally.directories = addOrTrap(tally.directories, 1);
        return !entry.isDirectory;
    }

    Plan plan;

private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    static constexpr std::size_t firstRoom = 32768;
    static constexpr std::size_t growth = 4;

    /// Room that is not used yet costs address space only, while each move of the items to a larger place touches as
    /// much memory again as they hold: so the steps are long.
    void makeRoom() {
        std::vector<MatchItem>& items = plan.items;
        if (items.size() == items.capacity()) items.reserve(std::max(firstRoom, growth * items.size()));
    }

    /// The rule's tally, begun at its first claim: so the tallies stand in that order.
    RuleTally& tallyFor(const Rule& rule) {
        std::size_t& index = tallyOf_[static_cast<std::size_t>(&rule - active_.rules().data())];
        if (index == none) {
            const auto label = labels_.find(rule.id);
            index = plan.tallies.size();
            plan.tallies.push_back({rule.id, label == labels_.end() ? rule.id : label->second, 0, 0, 0});
        }
        return plan.tallies[index];
    }

    const RuleSet& rules_;
    Labels labels_;
    ActiveRules active_;
    std::vector<std::size_t> tallyOf_;  // for each active rule, where its tally stands
};

}  // namespace

Plan Scanner::scan(const std::string& root) const {
    return scan(root, [](const ScanProgress&) {});
}

Plan Scanner::scan(const std::string& root, FunctionRef<void(const ScanProgress&)> onProgress) const {
    const std::string path = Path::standardized(root);
    Findings findings(rules, scope);
    findings.plan.root = path;
    findings.plan.volume = {path, FSInfo::type(path).value_or(Volume::unknownType), /*isLocal=*/true,
                            /*isRemovable=*/false,
                            /*isInternal=*/false};
    std::int64_t entries = 0;
    // Told at each folder too, because on a slow disk many entries can take minutes.
    const auto count = [&](bool isDirectory) {
        if (++entries % progressInterval != 0 && !isDirectory) return;
        onProgress({entries, static_cast<std::int64_t>(findings.plan.items.size())});
    };
    Walker::walk(
        path, [&](std::string problem) { findings.plan.errors.push_back(std::move(problem)); },
        [&](const WalkEntry& entry) {
            count(entry.isDirectory);
            return findings.visit(entry);
        },
        [&](std::string_view name) {
            const bool isOfNoInterest = findings.isOfNoInterest(name);
            if (isOfNoInterest) count(/*isDirectory=*/false);
            return isOfNoInterest;
        });
    return std::move(findings.plan);
}

}  // namespace varnel
