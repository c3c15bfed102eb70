#include "app/QtDesktop.h"

#include "base/Product.h"

#import <AppKit/AppKit.h>

#include <optional>
#include <string_view>
#include <utility>

#include <QtCore/qcoreevent.h>
#include <QtGui/qevent.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qwidget.h>

namespace {

NSString* nsText(std::string_view text)
{
    NSString* converted = [[NSString alloc] initWithBytes:text.data()
                                                   length:text.size()
                                                 encoding:NSUTF8StringEncoding];
    return converted ? converted : @"";
}

} // namespace

// What is called of the update framework. It is looked for when the program runs, so its headers are not
// needed; these are the messages that are sent to objects of its classes.
@protocol VantorelUpdater
@property (nonatomic) BOOL automaticallyChecksForUpdates;
@end

@protocol VantorelUpdaterController
- (instancetype)initWithStartingUpdater:(BOOL)starts
                        updaterDelegate:(id)updaterDelegate
                     userDriverDelegate:(id)userDriverDelegate;
- (id<VantorelUpdater>)updater;
- (void)checkForUpdates:(id)sender;
@end

/// Tells the updater where newer versions are announced.
@interface VantorelUpdateFeed : NSObject
@end

@implementation VantorelUpdateFeed
- (NSString*)feedURLStringForUpdater:(id)updater
{
    (void)updater;
    return nsText(vantorel::product::updateFeed);
}
@end

/// Receives the core Apple events.
@interface VantorelAppleEvents : NSObject
- (instancetype)initWithQuit:(void (^)(void (^answered)(BOOL ends)))quit reopen:(void (^)(void))reopen;
- (void)install;
- (void)remove;
@end

@implementation VantorelAppleEvents {
    void (^_quit)(void (^)(BOOL));
    void (^_reopen)(void);
}

- (instancetype)initWithQuit:(void (^)(void (^)(BOOL)))quit reopen:(void (^)(void))reopen
{
    if ((self = [super init])) {
        _quit = [quit copy];
        _reopen = [reopen copy];
        [self install];
        // The system's own handlers are put in place while the launch finishes.
        [NSNotificationCenter.defaultCenter addObserver:self
                                               selector:@selector(install)
                                                   name:NSApplicationWillFinishLaunchingNotification
                                                 object:nil];
    }
    return self;
}

- (void)install
{
    NSAppleEventManager* manager = NSAppleEventManager.sharedAppleEventManager;
    [manager setEventHandler:self
                 andSelector:@selector(handleQuit:withReply:)
               forEventClass:kCoreEventClass
                  andEventID:kAEQuitApplication];
    [manager setEventHandler:self
                 andSelector:@selector(handleReopen:withReply:)
               forEventClass:kCoreEventClass
                  andEventID:kAEReopenApplication];
}

- (void)remove
{
    [NSNotificationCenter.defaultCenter removeObserver:self];
    NSAppleEventManager* manager = NSAppleEventManager.sharedAppleEventManager;
    [manager removeEventHandlerForEventClass:kCoreEventClass andEventID:kAEQuitApplication];
    [manager removeEventHandlerForEventClass:kCoreEventClass andEventID:kAEReopenApplication];
}

/// Whoever sent the event (a log-out among them) waits for the reply, which can come later; an error in it
/// means that the program stays, and cancels a log-out.
- (void)handleQuit:(NSAppleEventDescriptor*)event withReply:(NSAppleEventDescriptor*)reply
{
    (void)event;
    NSAppleEventManager* manager = NSAppleEventManager.sharedAppleEventManager;
    const NSAppleEventManagerSuspensionID suspended = [manager suspendCurrentAppleEvent];
    _quit(^(BOOL ends) {
        NSAppleEventDescriptor* answer =
            suspended ? [manager replyAppleEventForSuspensionID:suspended] : reply;
        if (!ends) {
            [answer setParamDescriptor:[NSAppleEventDescriptor descriptorWithInt32:userCanceledErr]
                            forKeyword:keyErrorNumber];
        }
        if (suspended) {
            [manager resumeWithSuspensionID:suspended];
        }
    });
}

- (void)handleReopen:(NSAppleEventDescriptor*)event withReply:(NSAppleEventDescriptor*)reply
{
    (void)event;
    (void)reply;
    _reopen();
}
@end

namespace vantorel {

namespace {

/// The framework that keeps the program up to date, if the bundle holds one.
class BundledUpdates final : public Updates {
public:
    static std::unique_ptr<BundledUpdates> find()
    {
        @autoreleasepool {
            const Class controller = controllerClass();
            return controller ? std::unique_ptr<BundledUpdates>(new BundledUpdates(controller)) : nullptr;
        }
    }

    void checkNow() override { [controller_ checkForUpdates:nil]; }
    bool checksAutomatically() const override
    {
        return controller_.updater.automaticallyChecksForUpdates == YES;
    }
    void setChecksAutomatically(bool checks) override
    {
        controller_.updater.automaticallyChecksForUpdates = checks ? YES : NO;
    }

private:
    explicit BundledUpdates(Class controller)
        : feed_([[VantorelUpdateFeed alloc] init])
        , controller_([(id<VantorelUpdaterController>)[controller alloc] initWithStartingUpdater:YES
                                                                                 updaterDelegate:feed_
                                                                              userDriverDelegate:nil])
    {
    }

    /// It is known by its class; what else the bundle holds is the windows' own library, which is there
    /// already.
    static Class controllerClass()
    {
        NSString* const name = @"SPUStandardUpdaterController";
        NSURL* folder = NSBundle.mainBundle.privateFrameworksURL;
        NSArray<NSURL*>* files = folder ? [NSFileManager.defaultManager contentsOfDirectoryAtURL:folder
                                                                      includingPropertiesForKeys:nil
                                                                                         options:0
                                                                                           error:nil]
                                        : nil;
        for (NSURL* file in files) {
            const bool isFramework = [file.pathExtension isEqualToString:@"framework"]
                && ![file.lastPathComponent hasPrefix:@"Qt"];
            NSBundle* bundle = isFramework ? [NSBundle bundleWithURL:file] : nil;
            if ([bundle loadAndReturnError:nil] && NSClassFromString(name)) {
                return NSClassFromString(name);
            }
        }
        return nil;
    }

    VantorelUpdateFeed* feed_; ///< The controller does not keep its delegate.
    id<VantorelUpdaterController> controller_;
};

class MacDesktop final : public QtDesktop {
public:
    MacDesktop()
        : updates_(BundledUpdates::find())
    {
        events_ = [[VantorelAppleEvents alloc]
            initWithQuit:^(void (^answered)(BOOL)) { this->quit(answered); }
            reopen:^{
                if (this->requests().reopen) {
                    this->requests().reopen();
                }
            }];
    }
    ~MacDesktop() override { [events_ remove]; }

    void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) override
    {
        @autoreleasepool {
            NSOpenPanel* open = [NSOpenPanel openPanel];
            const bool isLibrary = panel.what == Panel::What::library;
            open.canChooseDirectories = YES;
            open.canChooseFiles = isLibrary ? YES : NO; // a package counts as a file here
            open.treatsFilePackagesAsDirectories = NO;
            open.allowsMultipleSelection = NO;
            open.canCreateDirectories = isLibrary ? NO : YES;
            open.prompt = nsText(panel.prompt);
            open.message = nsText(panel.message);
            // A block keeps a copy of what it uses, so the file system's own bytes go through unchanged.
            const auto whenDone = [chosen = std::move(chosen)](NSOpenPanel* shown, NSModalResponse response) {
                NSURL* url = response == NSModalResponseOK ? shown.URLs.firstObject : nil;
                const char* path = url.fileSystemRepresentation;
                chosen(path ? std::optional(DiskPath(path)) : std::nullopt);
            };
            NSWindow* over = nativeWindow();
            if (over && over.visible) {
                [open beginSheetModalForWindow:over
                             completionHandler:^(NSModalResponse response) { whenDone(open, response); }];
            } else {
                [open beginWithCompletionHandler:^(NSModalResponse response) { whenDone(open, response); }];
            }
        }
    }

    bool closePanels() override
    {
        @autoreleasepool {
            bool any = false;
            for (NSWindow* shown in NSApp.windows) {
                if (NSWindow* sheet = shown.attachedSheet) {
                    [shown endSheet:sheet];
                    [sheet orderOut:nil];
                    any = any || shown.attachedSheet != nil;
                }
            }
            return any;
        }
    }

    Assertion beginActivity(const std::string& reason) override
    {
        @autoreleasepool {
            struct Activity {
                explicit Activity(id<NSObject> begun)
                    : token(begun)
                {
                }
                Activity(const Activity&) = delete;
                Activity& operator=(const Activity&) = delete;
                ~Activity() { [NSProcessInfo.processInfo endActivity:token]; }

                id<NSObject> token;
            };
            return std::make_shared<Activity>([NSProcessInfo.processInfo
                beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                                  reason:nsText(reason)]);
        }
    }

    Assertion preventSuddenTermination() override
    {
        struct Prevention {
            Prevention() { [NSProcessInfo.processInfo disableSuddenTermination]; }
            Prevention(const Prevention&) = delete;
            Prevention& operator=(const Prevention&) = delete;
            ~Prevention() { [NSProcessInfo.processInfo enableSuddenTermination]; }
        };
        return std::make_shared<Prevention>();
    }

    void announce(const std::string& text) override
    {
        @autoreleasepool {
            NSWindow* speaker = nativeWindow();
            NSAccessibilityPostNotificationWithUserInfo(
                speaker ? (id)speaker : (id)NSApp, NSAccessibilityAnnouncementRequestedNotification, @{
                    NSAccessibilityAnnouncementKey : nsText(text),
                    NSAccessibilityPriorityKey : @(NSAccessibilityPriorityHigh),
                });
        }
    }

    WindowClosed whenWindowIsClosed() const override { return WindowClosed::leavesProgramRunning; }
    Updates* updates() override { return updates_.get(); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // A request to terminate that comes another way than as an Apple event, the updater's among them.
        if (event->type() == QEvent::Quit && watched == qApp && requests().quit) {
            requests().quit({});
            event->ignore();
            return true;
        }
        return QtDesktop::eventFilter(watched, event);
    }

private:
    void quit(void (^answered)(BOOL))
    {
        if (requests().quit) {
            requests().quit([answered](bool ends) { answered(ends ? YES : NO); });
        } else {
            answered(YES);
        }
    }

    NSWindow* nativeWindow() const
    {
        auto* widget = window();
        NSView* view = widget ? (__bridge NSView*)reinterpret_cast<void*>(widget->winId()) : nil;
        return view.window;
    }

    std::unique_ptr<BundledUpdates> updates_;
    VantorelAppleEvents* events_ = nil;
};

} // namespace

std::shared_ptr<QtDesktop> systemDesktop() { return std::make_shared<MacDesktop>(); }

} // namespace vantorel
