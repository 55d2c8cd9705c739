// SPDX-License-Identifier: MIT
//
// What the configurations of file servers say of the shares that keep forks in `._` files. Only texts are read here.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::cli::ServerConfiguration {

/// A folder that a file server shares, and the server's own words that say so.
struct Share {
    std::string folder;
    std::string configuration;
};

/// The shares of an SMB server's configuration that keep forks in `._` files: those with the module for Macs, unless
/// it is told to keep forks elsewhere.
std::vector<Share> inSMBConfiguration(std::string_view text, const std::string& file);

/// The folders in which such a configuration lets users keep shares of their own, a file each; none where those keep no
/// forks in `._` files.
std::set<std::string> userShareFolders(std::string_view text);

/// What such a file shares.
std::vector<Share> inUserShare(std::string_view text, const std::string& file);

/// The shares of an AFP server's configuration, of version 3 (sections) and of version 2 (a line per volume).
std::vector<Share> inAFPConfiguration(std::string_view text, const std::string& file);
std::vector<Share> inAFPVolumeList(std::string_view text, const std::string& file);

/// What a line of a configuration has other parts of it come from: "include = FILE" the file as it is written there;
/// "registry" where it is a database of the server. Empty for any other line.
std::string_view inclusion(std::string_view line);

}  // namespace varnel::cli::ServerConfiguration
