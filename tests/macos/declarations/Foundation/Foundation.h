#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>

// The language's own literals and loops are made of some of these.

using CGFloat = double;

NS_ASSUME_NONNULL_BEGIN

@class NSArray<__covariant ObjectType>, NSData, NSError, NSString, NSURL;

using NSStringEncoding = NSUInteger;
enum : NSStringEncoding { NSUTF8StringEncoding = 4 };

@protocol NSCopying
@end

struct NSFastEnumerationState {
    unsigned long state;
    __unsafe_unretained id _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
};

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(__unsafe_unretained id _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)len;
@end

@interface NSString : NSObject <NSCopying>
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)aString;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
@property(readonly, copy) NSString* lowercaseString;
@end

@interface NSSimpleCString : NSString
@end

@interface NSConstantString : NSSimpleCString
@end

@interface NSNumber : NSObject <NSCopying>
+ (NSNumber*)numberWithInt:(int)value;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSFastEnumeration>
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)arrayWithCapacity:(NSUInteger)numItems;
- (void)addObject:(ObjectType)anObject;
@end

@interface NSData : NSObject <NSCopying>
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes;
@end

@interface NSURL : NSObject <NSCopying>
@property(nullable, readonly, copy) NSString* pathExtension;
@end

@interface NSError : NSObject <NSCopying>
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
@property(readonly, copy) NSURL* bundleURL;
- (nullable id)objectForInfoDictionaryKey:(NSString*)key;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (nullable instancetype)initWithSuiteName:(nullable NSString*)suitename;
- (void)setObject:(nullable id)value forKey:(NSString*)defaultName;
- (nullable NSData*)dataForKey:(NSString*)defaultName;
- (nullable NSArray<NSString*>*)stringArrayForKey:(NSString*)defaultName;
@end

NS_ASSUME_NONNULL_END
