// SPDX-License-Identifier: MIT
#include "cli/LiveForks.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/ServerConfiguration.h"
#include "cli/Target.h"
#include "core/base/FunctionRef.h"
#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel::cli::LiveForks {
namespace {

using ServerConfiguration::Share;

constexpr const char* smbFile = "/etc/samba/smb.conf";
constexpr const char* afpFile = "/etc/netatalk/afp.conf";
constexpr const char* afpVolumeFile = "/etc/netatalk/AppleVolumes.default";
constexpr int mostFiles = 1000;

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

    /// What the files of a folder whose names fit `pattern` hold, each handed to `take` with its path.
    void contentsIn(const std::string& folder, const std::string& pattern,
                    FunctionRef<void(const std::string& file, const std::string& text)> take) {
        std::error_code error;
        for (auto entry = std::filesystem::directory_iterator(folder, error);
             !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
            const std::string file = entry->path().string();
            if (::fnmatch(pattern.c_str(), entry->path().filename().c_str(), 0) == 0) take(file, contentsOf(file));
        }
        if (error && error != std::errc::no_such_file_or_directory) obstacle_ = folder;
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
        contentsIn(folder, patternOf(Path::lastComponent(included)),
                   [&text](const std::string&, const std::string& more) { text += more; });
        return text;
    }

    int filesLeft_ = mostFiles;
    std::optional<std::string> obstacle_;
};

std::vector<Share> smbShares(Reading& reading) {
    const std::string text = reading.contentsOf(smbFile);
    std::vector<Share> shares = ServerConfiguration::inSMBConfiguration(text, smbFile);
    for (const std::string& folder : ServerConfiguration::userShareFolders(text)) {
        reading.contentsIn(folder, "*", [&shares](const std::string& file, const std::string& userShare) {
            const auto more = ServerConfiguration::inUserShare(userShare, file);
            shares.insert(shares.end(), more.begin(), more.end());
        });
    }
    return shares;
}

std::vector<Share> afpShares(Reading& reading) {
    return ServerConfiguration::inAFPConfiguration(reading.contentsOf(afpFile), afpFile);
}

std::vector<Share> oldAFPShares(Reading& reading) {
    return ServerConfiguration::inAFPVolumeList(reading.contentsOf(afpVolumeFile), afpVolumeFile);
}

/// Whether one of two folders lies in the other.
bool overlap(const std::string& one, const std::string& other) {
    return Path::isAtOrBelow(one, other) || Path::isAtOrBelow(other, one);
}

}  // namespace

std::optional<std::string> whyKept(const std::string& path) {
    const std::string real = Target::physical(path);
    std::optional<std::string> obstacle;
    for (const auto sharesOf : {smbShares, afpShares, oldAFPShares}) {
        Reading reading;
        const auto shares = sharesOf(reading);
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
