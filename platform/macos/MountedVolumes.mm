// SPDX-License-Identifier: MIT
#include "core/volumes/MountedVolumes.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <Foundation/Foundation.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/scan/FSInfo.h"
#include "platform/macos/ObjectiveC.h"

namespace varnel {
namespace {

using ObjectiveC::string;
using ObjectiveC::text;

NSArray<NSURLResourceKey>* resourceKeys() {
    return @[ NSURLVolumeIsLocalKey, NSURLVolumeIsRemovableKey, NSURLVolumeIsInternalKey ];
}

std::optional<bool> flag(NSDictionary* values, NSURLResourceKey key) {
    id const value = [values objectForKey:key];
    if (![value isKindOfClass:[NSNumber class]]) return std::nullopt;
    return [static_cast<NSNumber*>(value) boolValue];
}

class MacVolumes final : public MountedVolumes {
public:
    std::optional<std::vector<std::string>> visible() const final {
        @autoreleasepool {
            NSArray<NSURL*>* const urls = [[NSFileManager defaultManager]
                mountedVolumeURLsIncludingResourceValuesForKeys:resourceKeys()
                                                        options:NSVolumeEnumerationSkipHiddenVolumes];
            if (urls == nil) return std::nullopt;
            std::vector<std::string> mountPoints;
            for (NSURL* url in urls)
                mountPoints.push_back(text([[url URLByStandardizingPath] path]));
            return mountPoints;
        }
    }

    std::optional<std::vector<std::string>> namesInVolumes() const final {
        @autoreleasepool {
            NSArray<NSString*>* const names = [[NSFileManager defaultManager] contentsOfDirectoryAtPath:@"/Volumes"
                                                                                                  error:nullptr];
            if (names == nil) return std::nullopt;
            std::vector<std::string> all;
            for (NSString* name in names)
                all.push_back(text(name));
            return all;
        }
    }

    std::optional<std::string> type(const std::string& path) const final { return FSInfo::type(path); }

    std::optional<Attachment> attachment(const std::string& path) const final {
        @autoreleasepool {
            NSURL* const url = [NSURL fileURLWithPath:string(path)];
            NSDictionary* const values = [url resourceValuesForKeys:resourceKeys() error:nullptr];
            if (values == nil) return std::nullopt;
            return Attachment{flag(values, NSURLVolumeIsLocalKey), flag(values, NSURLVolumeIsRemovableKey),
                              flag(values, NSURLVolumeIsInternalKey)};
        }
    }
};

}  // namespace

std::unique_ptr<MountedVolumes> MountedVolumes::current() {
    return std::make_unique<MacVolumes>();
}

}  // namespace varnel
