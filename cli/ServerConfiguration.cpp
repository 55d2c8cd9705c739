// SPDX-License-Identifier: MIT
#include "cli/ServerConfiguration.h"

#include <algorithm>
#include <functional>
#include <istream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FunctionRef.h"
#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::ServerConfiguration {
namespace {

constexpr const char* homeFolders = "/home";
constexpr const char* standardUserShares = "/var/lib/samba/usershares";

/// Each key with all the values that it has anywhere. Servers take the last one; but which files they read may depend
/// on the client, so that every one of them may be the last.
using Settings = std::multimap<std::string, std::string>;
using Values = std::vector<std::string>;

struct Section {
    std::string name;
    Settings settings;
};

/// A key as servers compare it, without regard to case and blanks, and by one of its names.
std::string keyOf(std::string_view text) {
    std::string key = Text::lowercased(Text::trimmed(text));
    std::erase(key, ' ');
    if (key == "directory") return "path";
    return key == "vfsobject" ? "vfsobjects" : key;
}

/// A value without the blanks and the quotes around it.
std::string_view unquoted(std::string_view text) {
    text = Text::trimmed(text);
    if (text.size() > 1 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    return text;
}

/// The next line, with those that it continues in by a backslash at its end; false at the end of the text.
bool readLine(std::istream& lines, std::string& line) {
    if (!std::getline(lines, line)) return false;
    for (std::string more; Text::trimmed(line).ends_with('\\');) {
        line.resize(line.rfind('\\'));
        if (!std::getline(lines, more)) break;
        line += more;
    }
    return true;
}

/// The section of that name, an empty one at the end where there is none yet.
Section& sectionNamed(std::string name, std::vector<Section>& all) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&name](const Section& section) { return section.name == name; });
    return found != all.end() ? *found : all.emplace_back(Section{std::move(name), {}});
}

/// "[section]" and "key = value" lines, comments left out. What stands in several places under one name is one section.
std::vector<Section> sections(std::string_view text) {
    std::vector<Section> all;
    std::string name;
    std::istringstream lines{std::string(text)};
    for (std::string line; readLine(lines, line);) {
        const std::string_view content = Text::trimmed(line);
        if (content.empty() || content.front() == '#' || content.front() == ';') continue;
        if (content.front() == '[') {
            const auto end = std::min(content.find(']'), content.size());
            name = Text::lowercased(Text::trimmed(content.substr(1, end - 1)));
            sectionNamed(name, all);
            continue;
        }
        const auto equals = content.find('=');
        if (equals == std::string_view::npos || all.empty()) continue;
        sectionNamed(name, all).settings.emplace(keyOf(content.substr(0, equals)),
                                                 unquoted(content.substr(equals + 1)));
    }
    return all;
}

/// Adds to each share what it takes over from the one that it names as its pattern.
void copyPatterns(std::vector<Section>& all) {
    for (Section& share : all) {
        const auto named = share.settings.find("copy");
        if (named == share.settings.end()) continue;
        const std::string name = Text::lowercased(named->second);
        const Settings own = share.settings;
        const auto pattern =
            std::find_if(all.begin(), all.end(), [&name](const Section& section) { return section.name == name; });
        if (pattern == all.end() || &*pattern == &share) continue;
        for (const auto& [key, value] : Settings(pattern->settings)) {
            if (!own.contains(key)) share.settings.emplace(key, value);
        }
    }
}

/// The values of a setting in the share, else in the section that speaks for all shares, else the server's own default.
Values values(const Section& share, const Settings& general, const std::string& key, const char* fallback) {
    for (const Settings& settings : {std::cref(share.settings), std::cref(general)}) {
        const auto [first, last] = settings.equal_range(key);
        if (first == last) continue;
        Values all;
        std::transform(first, last, std::back_inserter(all), [](const auto& setting) { return setting.second; });
        return all;
    }
    return {fallback};
}

/// Whether a setting may be `wanted`, without regard to case.
bool mayBe(std::string_view wanted, const Values& values) {
    return std::any_of(values.begin(), values.end(),
                       [wanted](const std::string& value) { return Text::lowercased(value) == wanted; });
}

Settings generalSettings(std::vector<Section>& all) {
    return sectionNamed("global", all).settings;
}

bool hasWord(const std::string& list, std::string_view wanted) {
    std::istringstream words{Text::lowercased(list)};
    for (std::string word; words >> word;) {
        while (word.ends_with(','))
            word.pop_back();
        if (word == wanted) return true;
    }
    return false;
}

/// A shared folder without what depends on the client: "/srv/%U/x" may be any folder in "/srv".
std::string fixedPart(std::string_view folder) {
    const auto variable = folder.find_first_of("%$*[(^\\");
    if (variable == std::string_view::npos) return Path::standardized(folder);
    const std::string_view before = folder.substr(0, folder.substr(0, variable).rfind('/') + 1);
    return before.empty() ? "/" : Path::standardized(before);
}

/// The folders of a section: its own, or those of all home folders for the section that stands for them.
std::set<std::string> foldersOf(const Section& share, const std::string& homesKey) {
    const bool isHomes = share.name == "homes";
    std::set<std::string> folders;
    for (const std::string& folder : values(share, {}, isHomes ? homesKey : "path", "")) {
        if (isHomes) {
            folders.insert(folder.starts_with('/') ? fixedPart(folder) : homeFolders);
        } else if (!folder.empty()) {
            folders.insert(fixedPart(folder));
        }
    }
    return folders;
}

/// Whether an SMB share keeps forks in `._` files: by the module for Macs, unless that is told to keep them elsewhere.
bool keepsForks(const Section& share, const Settings& general) {
    const Values modules = values(share, general, "vfsobjects", "");
    const bool isForMacs =
        std::any_of(modules.begin(), modules.end(), [](const std::string& list) { return hasWord(list, "fruit"); });
    return isForMacs && mayBe("file", values(share, general, "fruit:resource", "file"));
}

/// The shares for which `keeps` holds.
std::vector<Share> sharesThat(FunctionRef<bool(const Section&)> keeps, const std::vector<Section>& all,
                              const char* homesKey, const std::string& file) {
    std::vector<Share> shares;
    for (const Section& share : all) {
        if (share.name == "global" || !keeps(share)) continue;
        for (const std::string& folder : foldersOf(share, homesKey))
            shares.push_back({folder, file + ": [" + share.name + "]"});
    }
    return shares;
}

}  // namespace

std::vector<Share> inSMBConfiguration(std::string_view text, const std::string& file) {
    std::vector<Section> all = sections(text);
    copyPatterns(all);
    const Settings general = generalSettings(all);
    return sharesThat([&general](const Section& share) { return keepsForks(share, general); }, all, "path", file);
}

std::set<std::string> userShareFolders(std::string_view text) {
    std::vector<Section> all = sections(text);
    const Section any;
    const Settings general = generalSettings(all);
    if (!keepsForks(any, general)) return {};
    const Values folders = values(any, general, "usersharepath", standardUserShares);
    return {folders.begin(), folders.end()};
}

std::vector<Share> inUserShare(std::string_view text, const std::string& file) {
    // A server of any version writes these files, most without a section.
    const std::vector<Section> all = sections("[" + file + "]\n" + std::string(text));
    std::vector<Share> shares;
    for (const Section& share : all) {
        for (const std::string& folder : foldersOf(share, "path"))
            shares.push_back({folder, file});
    }
    return shares;
}

std::vector<Share> inAFPConfiguration(std::string_view text, const std::string& file) {
    std::vector<Section> all = sections(text);
    const Settings general = generalSettings(all);
    const auto keepsFiles = [&general](const Section& share) {
        return mayBe("ad", values(share, general, "ea", "auto")) ||
               mayBe("v2", values(share, general, "appledouble", "ea"));
    };
    return sharesThat(keepsFiles, all, "basedirregex", file);
}

std::vector<Share> inAFPVolumeList(std::string_view text, const std::string& file) {
    std::vector<Share> shares;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        const std::string_view content = Text::trimmed(line);
        if (content.empty() || content.front() == '#' || content.front() == ':') continue;
        const bool isQuoted = content.front() == '"';
        const auto end = isQuoted ? content.find('"', 1) : content.find_first_of(" \t");
        const std::string_view folder =
            isQuoted ? content.substr(1, std::min(end, content.size()) - 1) : content.substr(0, end);
        if (!folder.starts_with('/') && !folder.starts_with('~')) continue;
        shares.push_back({folder.starts_with('~') ? homeFolders : fixedPart(folder), file});
    }
    return shares;
}

std::string_view inclusion(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) return {};
    const std::string key = keyOf(line.substr(0, equals));
    const std::string_view value = unquoted(line.substr(equals + 1));
    if (key == "include") return value;
    return key == "configbackend" && Text::lowercased(value) == "registry" ? value : std::string_view();
}

}  // namespace varnel::cli::ServerConfiguration
