// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Text.h"
#include "core/rules/Rule.h"
#include "fuzz/Target.h"

namespace {

using Characters = std::vector<std::string>;

/// The definition, as it would be written down: a table of which beginnings match which.
bool matches(const Characters& pattern, const Characters& name) {
    std::vector<bool> reached(name.size() + 1, false);
    reached[0] = true;
    for (const std::string& piece : pattern) {
        std::vector<bool> next(name.size() + 1, false);
        for (std::size_t at = 0; at <= name.size(); ++at) {
            if (!reached[at]) continue;
            if (piece == "*") {
                for (std::size_t to = at; to <= name.size(); ++to)
                    next[to] = true;
                break;
            }
            if (at < name.size() && piece == name[at]) next[at + 1] = true;
        }
        reached = next;
    }
    return reached[name.size()];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const std::string_view input = fuzz::textOf(data, size < 300 ? size : 300);
    const std::size_t cut = input.find('\n');
    if (cut == std::string_view::npos) return 0;
    const std::string_view pattern = input.substr(0, cut);
    const std::string_view name = input.substr(cut + 1);
    fuzz::require(Rule::glob(pattern, name) == matches(Text::characters(pattern), Text::characters(name)),
                  "a glob matches what its definition says");
    if (pattern.find('*') == std::string_view::npos) {
        fuzz::require(Rule::glob(pattern, name) == Text::canonicallyEqual(pattern, name),
                      "a pattern without stars matches only its equals");
    }
    return 0;
}
