// SPDX-License-Identifier: MIT
//
// The format of `._` companions: a header, a table of parts, and the parts, of which number 2 is the resource fork.
#pragma once

#include <string_view>

namespace varnel::cli::AppleDouble {

/// Whether the file's beginning shows a resource fork with something in it. Macs also write forks that hold nothing
/// but a note that they were left blank on purpose; those do not count. Anything malformed answers no.
///
/// `head` is the file's beginning, 4 KiB of it or the whole file if that is shorter.
bool holdsResourceFork(std::string_view head);

}  // namespace varnel::cli::AppleDouble
