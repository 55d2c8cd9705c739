// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>

namespace varnel::cli::Target {

/// The path that a word of the command line names: absolute, standardised; or why nobody can be sure which one it is.
/// A leading tilde is the shell's business, so here it is a name like any other.
std::expected<std::string, std::string> path(const std::string& word);

/// The path with the links on the way to it resolved, as far as its folders are there. Does not ask the server of a
/// volume that is mounted there, which may be dead.
std::string physical(const std::string& path);

/// Whether the path is protected as it is written, or leads through links to a place that is.
bool isProtected(const std::string& path);

/// Why a folder cannot be scanned, in words for people; empty where nothing speaks against it.
std::string problem(const std::string& path);

}  // namespace varnel::cli::Target
