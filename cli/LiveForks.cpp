// SPDX-License-Identifier: MIT
#include "cli/LiveForks.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/ServerConfiguration.h"
#include "cli/Target.h"
#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::LiveForks {
namespace {

using ServerConfiguration::Share;

constexpr const char* smbFile = "/etc/samba/smb.conf";
constexpr const char* afpFile = "/etc/netatalk/afp.conf";
constexpr const char* afpVolumeFile = "/etc/netatalk/AppleVolumes.default";
constexpr int mostFiles = 100;

/// "%m" and the like stand for anything: the pattern of the names that a server may read in the place of one.
std::string patternOf(std::string_view name) {
    std::string pattern;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] == '%') {
            pattern += '*';
            ++at;
        } else {
            if (std::string_view("*?[\\").find(name[at]) != std::string_view::npos) pattern += '\\';
            pattern += name[at];
        }
    }
    return pattern;
}

/// Reads one configuration with all that it includes.
class Reading {
public:
    /// The contents of a file with those that it includes in their places, as the servers read them.
    std::string contentsOf(const std::string& file) {
        std::error_code error;
        if (!std::filesystem::exists(file, error) && !error) return {};
        std::ifstream stream(file, std::ios::binary);
        if (!stream || filesLeft_-- <= 0) {  // files that include each other never end
            obstacle_ = file;
            return {};
        }
        std::string text;
        for (std::string line; std::getline(stream, line);) {
            text += line + '\n';
            text += contentsIncludedBy(line, file);
        }
        if (stream.bad()) obstacle_ = file;
        return text;
    }

    /// What exists and could not be read; none where that is nothing.
    const std::optional<std::string>& obstacle() const { return obstacle_; }

private:
    std::string contentsIncludedBy(std::string_view line, const std::string& file) {
        const std::string included(ServerConfiguration::inclusion(line));
        if (Text::lowercased(included) == "registry") obstacle_ = "the registry that " + file + " names";
        if (!included.starts_with('/')) return {};
        if (included.find('%') == std::string::npos) return contentsOf(included);
        const std::string folder(Path::withoutLastComponent(included));
        if (folder.find('%') != std::string::npos) {
            obstacle_ = included;
            return {};
        }
        std::string text;
        std::error_code error;
        const std::string pattern = patternOf(Path::lastComponent(included));
        for (auto entry = std::filesystem::directory_iterator(folder, error);
             !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            if (::fnmatch(pattern.c_str(), name.c_str(), 0) == 0) text += contentsOf(entry->path().string());
        }
        if (error && error != std::errc::no_such_file_or_directory) obstacle_ = folder;
        return text;
    }

    int filesLeft_ = mostFiles;
    std::optional<std::string> obstacle_;
};

/// Whether one of two folders lies in the other.
bool overlap(const std::string& one, const std::string& other) {
    return Path::isAtOrBelow(one, other) || Path::isAtOrBelow(other, one);
}

}  // namespace

std::optional<std::string> whyKept(const std::string& path) {
    constexpr struct {
        const char* file;
        std::vector<Share> (*shares)(std::string_view text, const std::string& file);
    } configurations[] = {
        {smbFile, ServerConfiguration::inSMBConfiguration},
        {afpFile, ServerConfiguration::inAFPConfiguration},
        {afpVolumeFile, ServerConfiguration::inAFPVolumeList},
    };
    const std::string real = Target::physical(path);
    std::optional<std::string> obstacle;
    for (const auto& configuration : configurations) {
        Reading reading;
        const auto shares = configuration.shares(reading.contentsOf(configuration.file), configuration.file);
        const auto found = std::find_if(shares.begin(), shares.end(), [&](const Share& share) {
            return overlap(path, share.folder) || overlap(real, Target::physical(share.folder));
        });
        if (found != shares.end()) {
            return "is shared by a file server that keeps live data in ._ files (" + found->configuration + ")";
        }
        if (reading.obstacle()) obstacle = reading.obstacle();
    }
    // What nobody can read may share anything.
    if (!obstacle) return std::nullopt;
    return "may be shared by a file server that keeps live data in ._ files (" + *obstacle + " cannot be read)";
}

}  // namespace varnel::cli::LiveForks
