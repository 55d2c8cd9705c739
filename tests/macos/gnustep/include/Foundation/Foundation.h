// SPDX-License-Identifier: MIT
//
// GNUstep's Foundation and the declarations that macOS has beyond it, which Additions.mm defines.
#pragma once
#pragma clang system_header

#include_next <Foundation/Foundation.h>

#import <Foundation/NSByteCountFormatter.h>

typedef NSString* NSNotificationName;
typedef NSString* NSURLResourceKey;
typedef NSUInteger NSVolumeEnumerationOptions;
enum { NSVolumeEnumerationSkipHiddenVolumes = 2 };

@interface NSFileManager (VarnelAdditions)
- (NSArray*)mountedVolumeURLsIncludingResourceValuesForKeys:(NSArray*)keys options:(NSVolumeEnumerationOptions)options;
@end

@interface NSURL (VarnelAdditions)
- (NSDictionary*)resourceValuesForKeys:(NSArray*)keys error:(NSError**)error;
@end

@interface NSString (VarnelAdditions)
- (NSComparisonResult)localizedStandardCompare:(NSString*)other;
@end
