// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace varnel {

/// What the program was started with.
struct LaunchArguments {
    enum class Request { run, showHelp, showVersion };

    Request request = Request::run;
    bool isInBackground = false;        ///< Started by the session, not by a person: nothing is to appear.
    std::optional<std::string> action;  ///< Name of an entry of the menu that is to be carried out.
    std::vector<std::string> urls;      ///< What is to be cleaned, as URLs; a path has become a file URL.

    /// Reads the words behind the program's name. A relative path is taken from `folder`. The error is a line for
    /// people.
    static std::expected<LaunchArguments, std::string> parse(std::span<const std::string> words,
                                                             const std::string& folder);
};

/// The URL of an absolute path, each byte that is no plain character escaped.
std::string fileURL(const std::string& path);

}  // namespace varnel
