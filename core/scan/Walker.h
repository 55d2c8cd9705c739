// SPDX-License-Identifier: MIT
//
// The walk keeps to one volume and follows no link. It descends by descriptor: a subfolder is opened in the open
// folder that lists it, so nobody can swap a folder on the way for a link, and a path may be of any length. Only
// folders that still have subfolders to enter are held, and at most a fixed number of them; one that was given up is
// reached again through its child.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/base/FunctionRef.h"

namespace varnel {

/// One entry of a walked tree, as lstat() saw it.
struct WalkEntry {
    std::string path;          ///< The listed folder's path, one slash, the name: bytes, not necessarily UTF-8.
    std::string name;          ///< Last component, as the listing spells it.
    bool isDirectory = false;  ///< The entry itself, never what a link points to.
    bool isSymlink = false;
    std::int32_t device = 0;
    std::int64_t size = 0;  ///< Bytes; 0 for a directory, the length of its target for a link.
};

namespace Walker {

/// Visits everything below `root`, the entries of a folder before the contents of its subfolders.
///
/// A link is visited but not followed; a folder on another device, or at which something is mounted, is passed over
/// in silence; `root` itself is not visited. `visit` answers whether to descend; the answer counts for directories
/// only. Each problem goes to `onError` as one line fit to be shown, and the walk goes on. Both run on the caller's
/// thread, before walk() returns.
void walk(const std::string& root, FunctionRef<void(std::string)> onError, FunctionRef<bool(const WalkEntry&)> visit);

/// The same for a caller that wants few entries: `isOfNoInterest` tells, from what the listing knows, which
/// entries that are no directories shall be neither asked for their facts nor visited.
///
/// It is not consulted where the facts alone can tell what an entry is, or that it cannot be reached: where the
/// listing gives no kind, and in folders in which names cannot be looked up.
void walk(const std::string& root, FunctionRef<void(std::string)> onError, FunctionRef<bool(const WalkEntry&)> visit,
          FunctionRef<bool(std::string_view name)> isOfNoInterest);

}  // namespace Walker
}  // namespace varnel
