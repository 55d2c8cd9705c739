// SPDX-License-Identifier: MIT
//
// On a file server, `._` files may be live data: servers for Macs keep the resource forks of their clients in them,
// invisible to those clients, whom their removal would rob.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::cli::LiveForks {

/// A folder that a file server shares, and the server's own words that say so.
struct Share {
    std::string folder;
    std::string configuration;
};

/// The shares of an SMB server's configuration that keep forks in `._` files: those with the module for Macs, unless
/// it is told to keep forks elsewhere.
std::vector<Share> inSMBConfiguration(std::string_view text, const std::string& file);

/// The shares of an AFP server's configuration, of version 3 (sections) and of version 2 (a line per volume).
std::vector<Share> inAFPConfiguration(std::string_view text, const std::string& file);
std::vector<Share> inAFPVolumeList(std::string_view text, const std::string& file);

/// The share of this machine's file servers that holds `path`, or lies below it; none where there is none.
std::optional<Share> touching(const std::string& path);

}  // namespace varnel::cli::LiveForks
