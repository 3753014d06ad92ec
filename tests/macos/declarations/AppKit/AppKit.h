#pragma once

#include <Foundation/Foundation.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

@class NSApplication;
@class NSMenu;
@class UTType;

enum NSApplicationTerminateReply : NSUInteger { NSTerminateCancel = 0, NSTerminateNow = 1, NSTerminateLater = 2 };

/// The system requires none of these methods. Here each is required that a program implements, since a misspelt one
/// would go unnoticed until the program runs.
@protocol NSApplicationDelegate <NSObject>
- (void)applicationWillFinishLaunching:(NSNotification*)notification;
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (void)application:(NSApplication*)application openURLs:(NSArray<NSURL*>*)urls;
- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)hasVisibleWindows;
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender;
- (void)applicationWillTerminate:(NSNotification*)notification;
@end

enum NSApplicationActivationPolicy : NSInteger { NSApplicationActivationPolicyRegular = 0 };
using NSApplicationActivationOptions = NSUInteger;

@interface NSRunningApplication : NSObject
@property(class, readonly, strong) NSRunningApplication* currentApplication;
@property(readonly, getter=isTerminated) BOOL terminated;
@property(readonly) pid_t processIdentifier;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(nullable, readonly, copy) NSString* localizedName;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
+ (nullable instancetype)runningApplicationWithProcessIdentifier:(pid_t)number;
- (BOOL)activateFromApplication:(NSRunningApplication*)application options:(NSApplicationActivationOptions)options;
- (BOOL)terminate;
- (BOOL)forceTerminate;
@end

@interface NSApplication : NSObject
@property(class, readonly, strong) NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(nullable, strong) NSMenu* mainMenu;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (void)run;
- (void)terminate:(nullable id)sender;
- (void)replyToApplicationShouldTerminate:(BOOL)shouldTerminate;
- (void)yieldActivationToApplication:(NSRunningApplication*)application;
- (void)hide:(nullable id)sender;
- (void)orderFrontStandardAboutPanel:(nullable id)sender;
@end

extern "C" NSApplication* _Null_unspecified NSApp;

@interface NSMenuItem : NSObject
@property(nullable, strong) NSMenu* submenu;
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)string action:(nullable SEL)selector keyEquivalent:(NSString*)charCode;
@end

@interface NSMenu : NSObject
- (void)addItem:(NSMenuItem*)newItem;
@end

@class NSButton;
enum NSAlertStyle : NSUInteger { NSAlertStyleInformational = 1 };
using NSModalResponse = NSInteger;

@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
@property NSAlertStyle alertStyle;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
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
