#include "discovery/volumes/VolumeChanges.h"

#import <AppKit/AppKit.h>

#include <utility>

namespace vantorel {

namespace {

/// NSWorkspace posts to a notification centre of its own, on the main thread.
class WorkspaceWatch final : public VolumeChanges {
public:
    explicit WorkspaceWatch(std::function<void()> changed)
    {
        @autoreleasepool {
            NSNotificationCenter* center = NSWorkspace.sharedWorkspace.notificationCenter;
            const auto call = std::make_shared<std::function<void()>>(std::move(changed));
            NSMutableArray<id<NSObject>>* observers = [NSMutableArray array];
            for (NSNotificationName name in
                @[ NSWorkspaceDidMountNotification, NSWorkspaceDidUnmountNotification ]) {
                [observers addObject:[center addObserverForName:name
                                                         object:nil
                                                          queue:NSOperationQueue.mainQueue
                                                     usingBlock:^(NSNotification*) { (*call)(); }]];
            }
            observers_ = observers;
        }
    }
    ~WorkspaceWatch() override
    {
        @autoreleasepool {
            for (id<NSObject> observer in observers_) {
                [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:observer];
            }
        }
    }
    WorkspaceWatch(const WorkspaceWatch&) = delete;
    WorkspaceWatch& operator=(const WorkspaceWatch&) = delete;

private:
    NSArray<id<NSObject>>* observers_ = nil;
};

} // namespace

std::unique_ptr<VolumeChanges> watchVolumeChanges(
    std::shared_ptr<const SystemCalls>, std::function<void()> changed)
{
    return std::make_unique<WorkspaceWatch>(std::move(changed));
}

} // namespace vantorel
