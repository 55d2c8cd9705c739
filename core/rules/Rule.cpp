// SPDX-License-Identifier: MIT
#include "core/rules/Rule.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Checked.h"
#include "core/base/Text.h"
#include "core/rules/RuleScope.h"

namespace varnel {
namespace {

bool admits(RuleTarget target, bool isDirectory) {
    switch (target) {
        case RuleTarget::file:
            return !isDirectory;
        case RuleTarget::directory:
            return isDirectory;
        case RuleTarget::any:
            return true;
    }
    trap("a rule target that does not exist");
}

Rule file(std::string id, std::string label, std::string name) {
    return {std::move(id), std::move(label), RuleMatch::name(std::move(name)), RuleTarget::file, RuleScope::both, true};
}

Rule folder(std::string id, std::string label, std::string name, RuleScope scope) {
    return {std::move(id), std::move(label), RuleMatch::name(std::move(name)), RuleTarget::directory, scope, true};
}

}  // namespace

std::string_view rawValue(RuleTarget target) {
    switch (target) {
        case RuleTarget::file:
            return "file";
        case RuleTarget::directory:
            return "directory";
        case RuleTarget::any:
            return "any";
    }
    trap("a rule target that does not exist");
}

std::optional<RuleTarget> ruleTargetFromRawValue(std::string_view raw) {
    for (const RuleTarget target : {RuleTarget::file, RuleTarget::directory, RuleTarget::any}) {
        if (rawValue(target) == raw) return target;
    }
    return std::nullopt;
}

bool Rule::applies(std::string_view name, bool isDirectory) const {
    if (!admits(target, isDirectory)) return false;
    switch (match.kind) {
        case RuleMatch::Kind::name:
            return Text::equalsIgnoringCase(name, match.text);
        case RuleMatch::Kind::prefix:
            return Text::hasPrefix(name, match.text);
        case RuleMatch::Kind::suffix:
            return Text::hasSuffixIgnoringCase(name, match.text);
        case RuleMatch::Kind::glob:
            return glob(match.text, name);
    }
    trap("a rule match that does not exist");
}

bool Rule::glob(std::string_view pattern, std::string_view name) {
    return glob(Text::characters(pattern), Text::characters(name));
}

bool Rule::glob(const std::vector<std::string>& pattern, const std::vector<std::string>& name) {
    // Only the latest star is remembered: whatever an earlier one could take in, the later one can as well.
    std::size_t p = 0;
    std::size_t t = 0;
    std::optional<std::size_t> star;
    std::size_t mark = 0;
    while (t < name.size()) {
        if (p < pattern.size() && pattern[p] == "*") {
            star = p++;
            mark = t;
        } else if (p < pattern.size() && pattern[p] == name[t]) {
            ++p;
            ++t;
        } else if (star) {
            t = ++mark;
            p = *star + 1;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == "*")
        ++p;
    return p == pattern.size();
}

const std::vector<Rule>& Rule::builtIn() {
    static const std::vector<Rule> rules = {
        {"appledouble", "._ AppleDouble files", RuleMatch::prefix("._"), RuleTarget::file, RuleScope::both, true},
        {"dsstore", ".DS_Store", RuleMatch::name(".DS_Store"), RuleTarget::any, RuleScope::both, true},
        file("apdisk", ".apdisk", ".apdisk"),
        file("volumeicon", ".VolumeIcon.icns", ".VolumeIcon.icns"),
        file("thumbsdb", "Thumbs.db (Windows)", "Thumbs.db"),
        file("desktopini", "desktop.ini (Windows)", "desktop.ini"),
        folder("appledouble-dir", ".AppleDouble folders", ".AppleDouble", RuleScope::both),
        folder("macosx-dir", "__MACOSX folders", "__MACOSX", RuleScope::both),
        folder("fseventsd", ".fseventsd", ".fseventsd", RuleScope::adhoc),
        folder("spotlight", ".Spotlight-V100", ".Spotlight-V100", RuleScope::adhoc),
        folder("temporaryitems", ".TemporaryItems", ".TemporaryItems", RuleScope::adhoc),
        folder("trashes", ".Trashes", ".Trashes", RuleScope::adhoc),
        folder("recyclebin", "$Recycle.bin (Windows)", "$Recycle.bin", RuleScope::adhoc),
        folder("sysvolinfo", "System Volume Information (Windows)", "System Volume Information", RuleScope::adhoc),
    };
    return rules;
}

const std::set<std::string, std::less<>>& Rule::builtInProtectedExtensions() {
    static const std::set<std::string, std::less<>> extensions = {"ttf", "otf", "ttc",  "dfont", "eps",
                                                                  "ps",  "ai",  "indd", "qxd"};
    return extensions;
}

}  // namespace varnel
