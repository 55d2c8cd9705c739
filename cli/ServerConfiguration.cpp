// SPDX-License-Identifier: MIT
#include "cli/ServerConfiguration.h"

#include <algorithm>
#include <istream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::ServerConfiguration {
namespace {

constexpr const char* homeFolders = "/home";

using Settings = std::map<std::string, std::string>;

struct Section {
    std::string name;
    Settings settings;
};

/// A key as servers compare it: without regard to case and blanks.
std::string keyOf(std::string_view text) {
    std::string key = Text::lowercased(Text::trimmed(text));
    std::erase(key, ' ');
    return key;
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

/// "[section]" and "key = value" lines, comments left out.
std::vector<Section> sections(std::string_view text) {
    std::vector<Section> all;
    std::istringstream lines{std::string(text)};
    for (std::string line; readLine(lines, line);) {
        const std::string_view content = Text::trimmed(line);
        if (content.empty() || content.front() == '#' || content.front() == ';') continue;
        if (content.front() == '[') {
            const auto end = std::min(content.find(']'), content.size());
            all.push_back({Text::lowercased(Text::trimmed(content.substr(1, end - 1))), {}});
            continue;
        }
        const auto equals = content.find('=');
        if (equals == std::string_view::npos || all.empty()) continue;
        all.back().settings[keyOf(content.substr(0, equals))] = unquoted(content.substr(equals + 1));
    }
    return all;
}

/// Adds to each share what it takes over from the one that it names as its pattern.
void copyPatterns(std::vector<Section>& all) {
    for (Section& share : all) {
        const auto named = share.settings.find("copy");
        if (named == share.settings.end()) continue;
        const std::string name = Text::lowercased(named->second);
        const auto pattern =
            std::find_if(all.begin(), all.end(), [&name](const Section& section) { return section.name == name; });
        if (pattern != all.end()) share.settings.insert(pattern->settings.begin(), pattern->settings.end());
    }
}

/// A setting of the share, else of the section that speaks for all shares, else the server's own default.
std::string setting(const Section& share, const Settings& general, const std::string& key, const char* fallback) {
    if (const auto own = share.settings.find(key); own != share.settings.end()) return own->second;
    if (const auto shared = general.find(key); shared != general.end()) return shared->second;
    return fallback;
}

Settings generalSettings(const std::vector<Section>& all) {
    const auto found =
        std::find_if(all.begin(), all.end(), [](const Section& section) { return section.name == "global"; });
    return found == all.end() ? Settings() : found->settings;
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

/// The folder of a section: its own, or that of all home folders for the section that stands for them.
std::string folderOf(const Section& share, const char* key, const char* homesKey) {
    const std::string folder = setting(share, {}, key, "");
    if (share.name != "homes") return folder.empty() ? "" : fixedPart(folder);
    const std::string homes = setting(share, {}, homesKey, "");
    return homes.starts_with('/') ? fixedPart(homes) : homeFolders;
}

}  // namespace

std::vector<Share> inSMBConfiguration(std::string_view text, const std::string& file) {
    std::vector<Section> all = sections(text);
    copyPatterns(all);
    const Settings general = generalSettings(all);
    std::vector<Share> shares;
    for (const Section& share : all) {
        if (share.name == "global") continue;
        std::string folder = folderOf(share, "path", "path");
        if (folder.empty()) folder = folderOf(share, "directory", "directory");
        const std::string modules =
            setting(share, {}, "vfsobjects",
                    setting(share, general, "vfsobject", setting(share, general, "vfsobjects", "").c_str()).c_str());
        const std::string resource = Text::lowercased(setting(share, general, "fruit:resource", "file"));
        if (folder.empty() || !hasWord(modules, "fruit") || resource != "file") continue;
        shares.push_back({folder, file + ": [" + share.name + "]"});
    }
    return shares;
}

std::vector<Share> inAFPConfiguration(std::string_view text, const std::string& file) {
    const std::vector<Section> all = sections(text);
    const Settings general = generalSettings(all);
    std::vector<Share> shares;
    for (const Section& share : all) {
        if (share.name == "global") continue;
        const std::string folder = folderOf(share, "path", "basedirregex");
        const bool keepsFiles = Text::lowercased(setting(share, general, "ea", "auto")) == "ad" ||
                                Text::lowercased(setting(share, general, "appledouble", "ea")) == "v2";
        if (folder.empty() || !keepsFiles) continue;
        shares.push_back({folder, file + ": [" + share.name + "]"});
    }
    return shares;
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
