#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>

using unichar = unsigned short;

struct NSRange {
  NSUInteger location;
  NSUInteger length;
};

inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) { return {location, length}; }

#pragma clang assume_nonnull begin

struct NSFastEnumerationState {
  unsigned long state;
  id __unsafe_unretained _Nullable* _Nullable itemsPtr;
  unsigned long* _Nullable mutationsPtr;
  unsigned long extra[5];
};

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)count;
@end

enum NSComparisonResult : NSInteger { NSOrderedAscending = -1, NSOrderedSame = 0, NSOrderedDescending = 1 };

@protocol NSCopying
- (id)copyWithZone:(nullable NSZone*)zone;
@end

using NSStringEncoding = NSUInteger;
constexpr NSStringEncoding NSUTF8StringEncoding = 4;
using NSStringEnumerationOptions = NSUInteger;
constexpr NSStringEnumerationOptions NSStringEnumerationByComposedCharacterSequences = 2;

@interface NSString : NSObject <NSCopying>
@property(readonly) NSUInteger length;
@property(nullable, readonly) const char* UTF8String NS_RETURNS_INNER_POINTER;
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER;
@property(readonly, copy) NSString* lowercaseString;
@property(readonly, copy) NSString* precomposedStringWithCanonicalMapping;
@property(readonly, copy) NSString* stringByDeletingPathExtension;
// The analyser forgives a nil from a string's method when the last parameter is named as the label is.
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)textEncoding;
- (unichar)characterAtIndex:(NSUInteger)index;
- (NSUInteger)lengthOfBytesUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)aString;
- (NSComparisonResult)localizedStandardCompare:(NSString*)string;
- (void)enumerateSubstringsInRange:(NSRange)range
                           options:(NSStringEnumerationOptions)options
                        usingBlock:(void (^)(NSString* _Nullable substring, NSRange substringRange,
                                             NSRange enclosingRange, BOOL* stop))block;
@end

/// The class of texts between quotes.
@interface NSConstantString : NSString
@end

@interface NSNumber : NSObject <NSCopying>
@property(readonly) BOOL boolValue;
@property(readonly) long long longLongValue;
@property(readonly) double doubleValue;
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithDouble:(double)value;
@end

using NSDataBase64EncodingOptions = NSUInteger;
using NSDataBase64DecodingOptions = NSUInteger;

@interface NSData : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes NS_RETURNS_INNER_POINTER;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
- (nullable instancetype)initWithBase64EncodedString:(NSString*)base64String
                                             options:(NSDataBase64DecodingOptions)options;
- (NSString*)base64EncodedStringWithOptions:(NSDataBase64EncodingOptions)options;
@end

@interface NSArray<__covariant Element> : NSObject <NSFastEnumeration>
+ (instancetype)arrayWithObjects:(const Element _Nonnull[_Nonnull])objects count:(NSUInteger)count;
@end

@interface NSMutableArray<Element> : NSArray <Element>
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (void)addObject:(Element)object;
@end

@interface NSDictionary<__covariant Key, __covariant Value> : NSObject <NSFastEnumeration>
- (nullable Value)objectForKeyedSubscript:(Key)key;
@end

@interface NSMutableDictionary<Key, Value> : NSDictionary <Key, Value>
+ (instancetype)dictionaryWithCapacity:(NSUInteger)capacity;
- (void)setObject:(nullable Value)object forKeyedSubscript:(Key<NSCopying>)key;
@end

@interface NSError : NSObject
@property(readonly, copy) NSString* domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end

using NSURLResourceKey = NSString*;
using NSURLBookmarkCreationOptions = NSUInteger;
using NSURLBookmarkResolutionOptions = NSUInteger;
constexpr NSURLBookmarkResolutionOptions NSURLBookmarkResolutionWithoutUI = 1 << 8;
constexpr NSURLBookmarkResolutionOptions NSURLBookmarkResolutionWithoutMounting = 1 << 9;

@interface NSURL : NSObject
@property(nullable, readonly, copy) NSString* absoluteString;
@property(nullable, readonly, copy) NSString* lastPathComponent;
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER;
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDirectory
                                relativeToURL:(nullable NSURL*)baseURL;
+ (nullable instancetype)URLWithString:(NSString*)URLString;
+ (nullable instancetype)URLByResolvingBookmarkData:(NSData*)bookmarkData
                                            options:(NSURLBookmarkResolutionOptions)options
                                      relativeToURL:(nullable NSURL*)relativeURL
                                bookmarkDataIsStale:(BOOL* _Nullable)isStale
                                              error:(NSError* _Nullable __autoreleasing* _Nullable)error;
- (nullable NSData*)bookmarkDataWithOptions:(NSURLBookmarkCreationOptions)options
             includingResourceValuesForKeys:(nullable NSArray<NSURLResourceKey>*)keys
                              relativeToURL:(nullable NSURL*)relativeURL
                                      error:(NSError* _Nullable __autoreleasing* _Nullable)error;
@end

@interface NSURLComponents : NSObject
- (instancetype)init;
@property(nullable, copy) NSString* host;
@property(nullable, copy) NSString* encodedHost;
@end

@interface NSCharacterSet : NSObject
@property(readonly, class, copy) NSCharacterSet* letterCharacterSet;
@property(readonly, class, copy) NSCharacterSet* alphanumericCharacterSet;
@property(readonly, class, copy) NSCharacterSet* nonBaseCharacterSet;
- (BOOL)longCharacterIsMember:(UTF32Char)character;
@end

enum NSPropertyListFormat : NSUInteger {
  NSPropertyListOpenStepFormat = 1,
  NSPropertyListXMLFormat_v1_0 = 100,
  NSPropertyListBinaryFormat_v1_0 = 200
};
using NSPropertyListReadOptions = NSUInteger;
constexpr NSPropertyListReadOptions NSPropertyListImmutable = 0;
using NSPropertyListWriteOptions = NSUInteger;

@interface NSPropertyListSerialization : NSObject
+ (nullable NSData*)dataWithPropertyList:(id)list
                                  format:(NSPropertyListFormat)format
                                 options:(NSPropertyListWriteOptions)options
                                   error:(NSError* _Nullable __autoreleasing* _Nullable)error;
+ (nullable id)propertyListWithData:(NSData*)data
                            options:(NSPropertyListReadOptions)options
                             format:(nullable NSPropertyListFormat*)format
                              error:(NSError* _Nullable __autoreleasing* _Nullable)error;
@end

using AEKeyword = unsigned int;
constexpr AEKeyword keySenderPIDAttr = 'spid';

@interface NSAppleEventDescriptor : NSObject <NSCopying>
@property(readonly) int int32Value;
- (nullable NSAppleEventDescriptor*)attributeDescriptorForKeyword:(AEKeyword)keyword;
@end

@interface NSAppleEventManager : NSObject
@property(nullable, readonly, retain) NSAppleEventDescriptor* currentAppleEvent;
+ (NSAppleEventManager*)sharedAppleEventManager;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
@property(readonly, copy) NSURL* bundleURL;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
+ (nullable instancetype)bundleWithURL:(NSURL*)url;
- (nullable id)objectForInfoDictionaryKey:(NSString*)key;
@end

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
@property(readonly, copy) NSURL* homeDirectoryForCurrentUser;
- (BOOL)trashItemAtURL:(NSURL*)url
      resultingItemURL:(NSURL* _Nullable __autoreleasing* _Nullable)outResultingURL
                 error:(NSError* _Nullable __autoreleasing* _Nullable)error;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (BOOL)boolForKey:(NSString*)defaultName;
- (void)setBool:(BOOL)value forKey:(NSString*)defaultName;
@end

using NSRunLoopMode = NSString*;
extern "C" const NSRunLoopMode NSRunLoopCommonModes;

@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* mainRunLoop;
- (void)performInModes:(NSArray<NSRunLoopMode>*)modes block:(void (^)(void))block;
@end

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

@interface NSUUID : NSObject
@property(readonly, copy) NSString* UUIDString;
+ (instancetype)UUID;
@end

@interface NSNotification : NSObject
@end

extern "C" NSString* NSTemporaryDirectory(void);

#pragma clang assume_nonnull end
