#pragma once

#include <Foundation/Foundation.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

@class NSApplication;
@class UTType;

/// The system requires none of these methods. Here each is required that a program implements, since a misspelt one
/// would go unnoticed until the program runs.
@protocol NSApplicationDelegate <NSObject>
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (void)application:(NSApplication*)application openURLs:(NSArray<NSURL*>*)urls;
- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)hasVisibleWindows;
@end

enum NSApplicationActivationPolicy : NSInteger { NSApplicationActivationPolicyRegular = 0 };

@interface NSApplication : NSObject
@property(class, readonly, strong) NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (void)run;
- (void)terminate:(nullable id)sender;
@end

extern "C" NSApplication* _Null_unspecified NSApp;

@interface NSRunningApplication : NSObject
@property(readonly, getter=isTerminated) BOOL terminated;
@property(readonly) pid_t processIdentifier;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
+ (nullable instancetype)runningApplicationWithProcessIdentifier:(pid_t)number;
- (BOOL)terminate;
- (BOOL)forceTerminate;
@end

@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
@property BOOL activates;
@property BOOL addsToRecentItems;
@property BOOL createsNewApplicationInstance;
@property(copy) NSArray<NSString*>* arguments;
+ (instancetype)configuration;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)identifier;
- (nullable NSURL*)URLForApplicationToOpenURL:(NSURL*)url;
- (NSArray<NSURL*>*)URLsForApplicationsToOpenURL:(NSURL*)url;
- (nullable NSURL*)URLForApplicationToOpenContentType:(UTType*)contentType;
- (NSArray<NSURL*>*)URLsForApplicationsToOpenContentType:(UTType*)contentType;
- (void)setDefaultApplicationAtURL:(NSURL*)applicationURL
              toOpenURLsWithScheme:(NSString*)urlScheme
                 completionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
- (void)setDefaultApplicationAtURL:(NSURL*)applicationURL
                 toOpenContentType:(UTType*)contentType
                 completionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(nullable void (^)(NSRunningApplication* _Nullable application,
                                                NSError* _Nullable error))completionHandler;
@end

#pragma clang assume_nonnull end
