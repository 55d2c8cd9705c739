// SPDX-License-Identifier: MIT
#include "cli/LiveForks.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::LiveForks {
namespace {

constexpr const char* smbFile = "/etc/samba/smb.conf";
constexpr const char* afpFile = "/etc/netatalk/afp.conf";
constexpr const char* afpVolumeFile = "/etc/netatalk/AppleVolumes.default";
constexpr const char* homeFolders = "/home";
constexpr int deepestInclusion = 8;

using Settings = std::map<std::string, std::string>;

struct Section {
    std::string name;
    Settings settings;
};

/// "[section]" and "key = value" lines; keys without regard to case and blanks, comments left out.
std::vector<Section> sections(std::string_view text) {
    std::vector<Section> all;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        const std::string_view content = Text::trimmed(line);
        if (content.empty() || content.front() == '#' || content.front() == ';') continue;
        if (content.front() == '[') {
            const auto end = std::min(content.find(']'), content.size());
            all.push_back({Text::lowercased(Text::trimmed(content.substr(1, end - 1))), {}});
            continue;
        }
        const auto equals = content.find('=');
        if (equals == std::string_view::npos || all.empty()) continue;
        std::string key = Text::lowercased(Text::trimmed(content.substr(0, equals)));
        std::erase(key, ' ');
        all.back().settings[key] = Text::trimmed(content.substr(equals + 1));
    }
    return all;
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

/// The value of a line "include = FILE", or nothing.
std::string_view inclusion(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos || Text::lowercased(Text::trimmed(line.substr(0, equals))) != "include") {
        return {};
    }
    return Text::trimmed(line.substr(equals + 1));
}

/// The contents of a configuration file with those that it includes in their places, as the servers read them. What
/// exists and cannot be read is named in `unreadable`.
std::string contentsOf(const std::string& file, std::vector<std::string>& unreadable, int depth = 0) {
    std::error_code error;
    if (depth > deepestInclusion || !std::filesystem::exists(file, error)) return {};
    std::ifstream stream(file, std::ios::binary);
    if (!stream) unreadable.push_back(file);
    std::string text;
    for (std::string line; std::getline(stream, line);) {
        text += line + '\n';
        const std::string_view included = inclusion(line);
        if (included.starts_with('/')) text += contentsOf(std::string(included), unreadable, depth + 1);
    }
    return text;
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

/// Whether one of two folders lies in the other.
bool overlap(const std::string& one, const std::string& other) {
    return Path::isAtOrBelow(one, other) || Path::isAtOrBelow(other, one);
}

std::string physical(const std::string& path) {
    std::error_code error;
    const std::string resolved = std::filesystem::weakly_canonical(path, error).string();
    return error ? path : resolved;
}

void append(std::vector<Share>& all, std::vector<Share> more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

std::vector<Share> inSMBConfiguration(std::string_view text, const std::string& file) {
    const std::vector<Section> all = sections(text);
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

std::optional<Share> touching(const std::string& path) {
    std::vector<std::string> unreadable;
    std::vector<Share> shares = inSMBConfiguration(contentsOf(smbFile, unreadable), smbFile);
    append(shares, inAFPConfiguration(contentsOf(afpFile, unreadable), afpFile));
    append(shares, inAFPVolumeList(contentsOf(afpVolumeFile, unreadable), afpVolumeFile));
    // What nobody can read may share anything.
    for (const std::string& file : unreadable)
        shares.push_back({"/", file + ", which cannot be read"});
    const std::string real = physical(path);
    const auto found = std::find_if(shares.begin(), shares.end(), [&](const Share& share) {
        return overlap(path, share.folder) || overlap(real, physical(share.folder));
    });
    if (found == shares.end()) return std::nullopt;
    return *std::move(found);
}

}  // namespace varnel::cli::LiveForks
