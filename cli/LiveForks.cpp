// SPDX-License-Identifier: MIT
#include "cli/LiveForks.h"

#include <algorithm>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::LiveForks {
namespace {

constexpr const char* smbFile = "/etc/samba/smb.conf";
constexpr const char* afpFile = "/etc/netatalk/afp.conf";
constexpr const char* afpVolumeFile = "/etc/netatalk/AppleVolumes.default";

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

std::string contentsOf(const char* file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
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
        const std::string folder = setting(share, {}, "path", setting(share, {}, "directory", "").c_str());
        const std::string resource = Text::lowercased(setting(share, general, "fruit:resource", "file"));
        if (folder.empty() || !hasWord(setting(share, general, "vfsobjects", ""), "fruit") || resource != "file")
            continue;
        shares.push_back({Path::standardized(folder), file + ": [" + share.name + "]"});
    }
    return shares;
}

std::vector<Share> inAFPConfiguration(std::string_view text, const std::string& file) {
    const std::vector<Section> all = sections(text);
    const Settings general = generalSettings(all);
    std::vector<Share> shares;
    for (const Section& share : all) {
        const std::string folder = setting(share, {}, "path", "");
        const bool keepsFiles = Text::lowercased(setting(share, general, "ea", "auto")) == "ad" ||
                                Text::lowercased(setting(share, general, "appledouble", "ea")) == "v2";
        if (folder.empty() || !keepsFiles) continue;
        shares.push_back({Path::standardized(folder), file + ": [" + share.name + "]"});
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
        shares.push_back({Path::standardized(folder), file});
    }
    return shares;
}

std::optional<Share> touching(const std::string& path) {
    std::vector<Share> shares = inSMBConfiguration(contentsOf(smbFile), smbFile);
    append(shares, inAFPConfiguration(contentsOf(afpFile), afpFile));
    append(shares, inAFPVolumeList(contentsOf(afpVolumeFile), afpVolumeFile));
    const auto found = std::find_if(shares.begin(), shares.end(), [&](const Share& share) {
        return Path::isAtOrBelow(path, share.folder) || Path::isAtOrBelow(share.folder, path);
    });
    if (found == shares.end()) return std::nullopt;
    return *std::move(found);
}

}  // namespace varnel::cli::LiveForks
