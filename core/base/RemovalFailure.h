// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace varnel {

/// Port: the platform's words for an entry that could not be removed, `error` being the errno value.
std::string removalFailure(const std::string& path, bool isFolder, int error);

}  // namespace varnel
