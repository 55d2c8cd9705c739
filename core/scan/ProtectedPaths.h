// SPDX-License-Identifier: MIT
//
// Port: the folders that this platform protects beyond those that are protected everywhere.
#pragma once

#include <string_view>

namespace varnel::ProtectedPaths {

/// Whether a standardised path is one of the platform's own protected folders, or lies in one.
bool contain(std::string_view path);

}  // namespace varnel::ProtectedPaths
