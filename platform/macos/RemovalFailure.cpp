// SPDX-License-Identifier: MIT
//
// Folders are removed without the file manager, which could not be kept from following what changes meanwhile. Its
// words are said all the same: an error of one's own making has them only by a key that is not documented. It says them
// in the language of the application, which is always English here.
#include "core/base/RemovalFailure.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <cerrno>
#include <string>
#include <system_error>

#include "core/base/Path.h"

namespace varnel {

std::string removalFailure(const std::string& path, bool isFolder, int error) {
    if (!isFolder) return std::generic_category().message(error);
    const bool isRefused = error == EACCES || error == EPERM || error == ENOTEMPTY;
    return "“" + std::string(Path::lastComponent(path)) + "” couldn’t be removed" +
           (isRefused ? " because you don’t have permission to access it." : ".");
}

}  // namespace varnel
