// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <string>

#include "core/plan/TreeRemover.h"
#include "core/scan/Directory.h"
#include "core/scan/ParentFolders.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"

namespace varnel {

/// Which volume was mounted at each mount point when the volumes were last looked at.
using VolumeIdentities = std::map<std::string, VolumeIdentity>;

/// Finds and removes single entries of volumes for as long as one batch of events is handled.
///
/// Each volume's root is opened once, and the way to an entry is gone from there by descriptor, through no link and
/// into no mount. A folder that an unmounted volume left behind, or another volume in its place, is left alone. Nothing
/// stays open after the batch, so that volumes can be ejected.
class LiveRemover {
public:
    /// The identities must outlive this object.
    explicit LiveRemover(const VolumeIdentities& identities) : identities_(identities) {}

    /// An entry, with the open folder that holds it.
    struct Entry {
        int folder = -1;  ///< Open until the next call of find().
        std::string name;
        Directory::Facts facts;
        bool isMountPoint = false;
    };

    /// The entry at a path in `volume`; none where there is none, or where no safe way leads to it.
    std::optional<Entry> find(const Volume& volume, const std::string& path);

    /// Removes it, a folder with everything in it. 0 or an errno value.
    int remove(const Entry& entry);

private:
    ParentFolders* foldersOf(const Volume& volume);

    const VolumeIdentities& identities_;
    std::map<std::string, std::optional<ParentFolders>> volumes_;
    std::optional<TreeRemover> remover_;  // made for the first folder: hardly any batch holds one
};

}  // namespace varnel
