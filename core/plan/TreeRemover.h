// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "core/scan/Directory.h"

namespace varnel {

/// Removes folders with everything in them: no link is followed, no mount and no other device entered, any depth
/// with a bounded number of descriptors. Goes on after a failure, so that as much as possible is gone in the end.
///
/// A folder is listed to its end before anything in it is removed, because some file systems lose their place in a
/// listing that is being emptied.
class TreeRemover {
public:
    /// Removes the subfolder `name` of the open folder `parent`. Gives 0 once it is gone, also where somebody else had
    /// a hand in it, or the errno of the first call that failed: that of a missing entry where all was gone before
    /// anything in it was removed.
    int remove(int parent, const std::string& name);

private:
    Directory::Listing listing_;  // its large buffer serves every folder of every call
};

}  // namespace varnel
