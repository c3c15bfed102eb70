#include "discovery/volumes/VolumeFacts.h"

#import <Foundation/Foundation.h>

namespace vantorel {

VolumeFacts volumeFacts(const SystemCalls&, const DiskPath&, const FileSystemStatus& fileSystem)
{
    @autoreleasepool {
        NSURL* url = [NSURL fileURLWithFileSystemRepresentation:fileSystem.mountPoint.c_str()
                                                    isDirectory:YES
                                                  relativeToURL:nil];
        NSArray<NSURLResourceKey>* keys = @[
            NSURLVolumeNameKey, NSURLVolumeIsEncryptedKey, NSURLVolumeIsRemovableKey,
            NSURLVolumeIsEjectableKey, NSURLVolumeAvailableCapacityForImportantUsageKey
        ];
        NSDictionary<NSURLResourceKey, id>* values = [url resourceValuesForKeys:keys error:nil];
        VolumeFacts facts;
        if (NSString* name = values[NSURLVolumeNameKey]; name.UTF8String != nullptr) {
            facts.name = name.UTF8String;
        }
        facts.isEncrypted = [values[NSURLVolumeIsEncryptedKey] boolValue] == YES;
        facts.isRemovable = [values[NSURLVolumeIsRemovableKey] boolValue] == YES ||
            [values[NSURLVolumeIsEjectableKey] boolValue] == YES;
        // exFAT and network disks give 0 here, whatever is free.
        const long long capacity = [values[NSURLVolumeAvailableCapacityForImportantUsageKey] longLongValue];
        if (capacity > 0) {
            facts.freeBytes = capacity;
        }
        return facts;
    }
}

} // namespace vantorel
