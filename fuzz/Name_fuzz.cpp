// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/rules/ActiveRules.h"
#include "core/rules/RuleSet.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    static const ActiveRules adhoc(RuleSet::standard(), RuleScope::adhoc);
    static const ActiveRules watcher(RuleSet::standard(), RuleScope::watcher);
    const std::string_view name = fuzz::textOf(data, size);
    for (const bool isDirectory : {false, true}) {
        const Rule* const slow = RuleSet::standard().firstMatch(name, isDirectory, RuleScope::adhoc);
        const Rule* const fast = adhoc.firstMatch(name, isDirectory);
        fuzz::require((slow == nullptr) == (fast == nullptr) && (slow == nullptr || *slow == *fast),
                      "prepared rules answer like the set");
        const Rule* const live = watcher.firstMatch(name, isDirectory);
        fuzz::require(live == nullptr || (fast != nullptr && live->id == fast->id), "what goes live goes on demand");
    }
    const std::string text = Text::repaired(name);
    for (const Rule& rule : Rule::builtIn()) {
        const bool fast = rule.match.kind == RuleMatch::Kind::name ? Text::equalsIgnoringCase(name, rule.match.text)
                                                                   : Text::hasPrefix(name, rule.match.text);
        bool slow = false;
        if (rule.match.kind == RuleMatch::Kind::name) {
            slow = Unicode::caseFoldedEqual(text, rule.match.text);
        } else {
            const auto characters = Unicode::composedCharacters(text);
            const auto prefix = Unicode::composedCharacters(rule.match.text);
            slow = characters.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), characters.begin());
        }
        fuzz::require(fast == slow, "the fast paths answer like the Unicode library");
    }
    return 0;
}
