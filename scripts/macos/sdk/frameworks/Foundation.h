// What this project uses of Foundation, each with the first macOS that has it: a message that is not here, or that is
// too new, does not compile. scripts/macos/check-interfaces.py holds it against the system's own metadata.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#import <objc/NSObject.h>
#include <objc/objc.h>

#pragma clang assume_nonnull begin
extern "C" {

@class NSArray<__covariant ObjectType>, NSDate, NSDictionary<__covariant KeyType, __covariant ObjectType>, NSError;
@class NSNotification, NSNotificationCenter, NSOperationQueue, NSString, NSURL;

typedef NSString* NSNotificationName;
typedef NSString* NSURLResourceKey;
typedef unsigned short unichar;

typedef struct _NSRange {
    NSUInteger location;
    NSUInteger length;
} NSRange;
static inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) {
    return NSRange{location, length};
}
static inline NSUInteger NSMaxRange(NSRange range) {
    return range.location + range.length;
}

typedef CGRect NSRect;
static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return NSRect{{x, y}, {width, height}};
}

void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2))) API_AVAILABLE(macos(10.0));

typedef struct NSFastEnumerationState {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

API_AVAILABLE(macos(10.5))
@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)count;
@end

typedef enum NSComparisonResult : NSInteger {
    NSOrderedAscending = -1,
    NSOrderedSame = 0,
    NSOrderedDescending = 1
} NSComparisonResult;

typedef NSUInteger NSStringCompareOptions;
enum : NSStringCompareOptions { NSCaseInsensitiveSearch = 1, NSLiteralSearch = 2 };

API_AVAILABLE(macos(10.0))
@protocol NSCopying
- (id)copyWithZone:(nullable struct _NSZone*)zone;
@end

API_AVAILABLE(macos(10.0))
@interface NSString : NSObject <NSCopying>
+ (nullable instancetype)stringWithUTF8String:(const char*)bytes;
- (nullable const char*)UTF8String;
- (NSUInteger)length;
- (unichar)characterAtIndex:(NSUInteger)index;
- (NSRange)rangeOfComposedCharacterSequenceAtIndex:(NSUInteger)index;
- (NSString*)substringWithRange:(NSRange)range;
- (NSString*)precomposedStringWithCanonicalMapping;
- (NSString*)lowercaseString;
- (NSComparisonResult)compare:(NSString*)string options:(NSStringCompareOptions)options;
- (NSComparisonResult)localizedStandardCompare:(NSString*)string API_AVAILABLE(macos(10.6));
- (NSString*)stringByStandardizingPath;
@end

API_AVAILABLE(macos(10.0))
@interface NSArray<__covariant ObjectType> : NSObject <NSFastEnumeration>
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nullable])objects count:(NSUInteger)count;
@end

API_AVAILABLE(macos(10.0))
@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)object;
@end

API_AVAILABLE(macos(10.0))
@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject
+ (instancetype)dictionaryWithObject:(ObjectType)object forKey:(KeyType<NSCopying>)key;
- (nullable ObjectType)objectForKey:(KeyType)key;
@end

API_AVAILABLE(macos(10.0))
@interface NSData : NSObject
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
@end

typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;

extern const NSErrorDomain NSCocoaErrorDomain API_AVAILABLE(macos(10.4));
extern const NSErrorDomain NSPOSIXErrorDomain API_AVAILABLE(macos(10.0));
extern const NSErrorUserInfoKey NSFilePathErrorKey API_AVAILABLE(macos(10.4));

enum : NSInteger { NSFileNoSuchFileError = 4, NSFileReadNoPermissionError = 257 };

API_AVAILABLE(macos(10.2))
@interface NSError : NSObject
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id>*)info;
- (NSString*)localizedDescription;
@end

typedef NSUInteger NSPropertyListMutabilityOptions;
typedef NSPropertyListMutabilityOptions NSPropertyListReadOptions;
enum : NSPropertyListMutabilityOptions { NSPropertyListImmutable = 0 };
typedef enum NSPropertyListFormat : NSUInteger { NSPropertyListXMLFormat_v1_0 = 100 } NSPropertyListFormat;

API_AVAILABLE(macos(10.2))
@interface NSPropertyListSerialization : NSObject
+ (nullable id)propertyListWithData:(NSData*)data
                            options:(NSPropertyListReadOptions)options
                             format:(nullable NSPropertyListFormat*)format
                              error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.6));
@end

API_AVAILABLE(macos(10.0))
@interface NSNumber : NSObject
- (BOOL)boolValue;
@end

typedef NSUInteger NSVolumeEnumerationOptions;
enum : NSVolumeEnumerationOptions { NSVolumeEnumerationSkipHiddenVolumes = 2 };

API_AVAILABLE(macos(10.0))
@interface NSFileManager : NSObject
+ (NSFileManager*)defaultManager;
- (nullable NSArray<NSURL*>*)mountedVolumeURLsIncludingResourceValuesForKeys:(nullable NSArray<NSURLResourceKey>*)keys
                                                                     options:(NSVolumeEnumerationOptions)options
    API_AVAILABLE(macos(10.6));
- (BOOL)removeItemAtPath:(NSString*)path error:(NSError* _Nullable* _Nullable)error API_AVAILABLE(macos(10.5));
- (nullable NSArray<NSString*>*)contentsOfDirectoryAtPath:(NSString*)path
                                                    error:(NSError* _Nullable* _Nullable)error
    API_AVAILABLE(macos(10.5));
@end

API_AVAILABLE(macos(10.0))
@interface NSURL : NSObject
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (nullable instancetype)URLWithString:(NSString*)string;
- (nullable NSURL*)filePathURL API_AVAILABLE(macos(10.6));
- (nullable NSString*)path;
- (nullable NSURL*)URLByStandardizingPath API_AVAILABLE(macos(10.6));
- (nullable NSDictionary<NSURLResourceKey, id>*)resourceValuesForKeys:(NSArray<NSURLResourceKey>*)keys
                                                                error:(NSError* _Nullable* _Nullable)error
    API_AVAILABLE(macos(10.6));
@end

extern const NSURLResourceKey NSURLVolumeIsLocalKey API_AVAILABLE(macos(10.7));
extern const NSURLResourceKey NSURLVolumeIsRemovableKey API_AVAILABLE(macos(10.7));
extern const NSURLResourceKey NSURLVolumeIsInternalKey API_AVAILABLE(macos(10.7));

typedef enum NSByteCountFormatterCountStyle : NSInteger {
    NSByteCountFormatterCountStyleFile = 0
} NSByteCountFormatterCountStyle;

API_AVAILABLE(macos(10.8))
@interface NSByteCountFormatter : NSObject
+ (NSString*)stringFromByteCount:(long long)count countStyle:(NSByteCountFormatterCountStyle)style;
@end

API_AVAILABLE(macos(10.0))
@interface NSNotificationCenter : NSObject
- (id<NSObject>)addObserverForName:(nullable NSNotificationName)name
                            object:(nullable id)object
                             queue:(nullable NSOperationQueue*)queue
                        usingBlock:(void (^)(NSNotification* notification))block API_AVAILABLE(macos(10.6));
- (void)postNotificationName:(NSNotificationName)name object:(nullable id)object;
- (void)removeObserver:(id)observer;
@end

API_AVAILABLE(macos(10.0))
@interface NSThread : NSObject
+ (BOOL)isMainThread API_AVAILABLE(macos(10.5));
@end

API_AVAILABLE(macos(10.0))
@interface NSUserDefaults : NSObject
+ (NSUserDefaults*)standardUserDefaults;
- (nullable id)objectForKey:(NSString*)key;
- (BOOL)boolForKey:(NSString*)key;
- (void)setBool:(BOOL)value forKey:(NSString*)key;
- (BOOL)synchronize;
@end

}  // extern "C"
#pragma clang assume_nonnull end
