// SPDX-License-Identifier: MIT
//
// Stands for the login-item service: it has the status that the test says (DesktopFakes.h).
#pragma once

#import <Foundation/Foundation.h>

typedef enum SMAppServiceStatus : NSInteger { SMAppServiceStatusEnabled = 1 } SMAppServiceStatus;

@interface SMAppService : NSObject
+ (SMAppService*)mainAppService;
- (SMAppServiceStatus)status;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
@end
