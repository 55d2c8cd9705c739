// SPDX-License-Identifier: MIT
//
// On a file server, `._` files may be live data: servers for Macs keep the resource forks of their clients in them,
// invisible to those clients, whom their removal would rob.
#pragma once

#include <optional>
#include <string>

namespace varnel::cli::LiveForks {

/// Why `._` files at or below `path`, or around it, may be live data of this machine's file servers, to be read behind
/// the path; none where nothing says so.
std::optional<std::string> whyKept(const std::string& path);

}  // namespace varnel::cli::LiveForks
