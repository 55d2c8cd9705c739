// What this project uses of ServiceManagement: opening at login. scripts/macos/check-interfaces.py holds it against the
// system's own metadata.
#pragma once
#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin
extern "C" {

typedef enum SMAppServiceStatus : NSInteger { SMAppServiceStatusEnabled = 1 } SMAppServiceStatus;

API_AVAILABLE(macos(13.0))
@interface SMAppService : NSObject
+ (SMAppService*)mainAppService;
- (SMAppServiceStatus)status;
- (BOOL)registerAndReturnError:(NSError* _Nullable* _Nullable)error;
- (BOOL)unregisterAndReturnError:(NSError* _Nullable* _Nullable)error;
@end

}  // extern "C"
#pragma clang assume_nonnull end
