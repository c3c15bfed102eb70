#include "disk/Drive.h"

#include <IOKit/IOBSD.h>
#include <IOKit/IOKitLib.h>

#include <utility>

namespace vantorel {

namespace {

/// An object of the registry, released at the end.
class RegistryObject {
public:
    explicit RegistryObject(io_object_t object = IO_OBJECT_NULL)
        : object_(object)
    {
    }
    RegistryObject(RegistryObject&& other) noexcept
        : object_(std::exchange(other.object_, IO_OBJECT_NULL))
    {
    }
    RegistryObject& operator=(RegistryObject&& other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }
    ~RegistryObject()
    {
        if (object_ != IO_OBJECT_NULL) {
            IOObjectRelease(object_);
        }
    }

    io_object_t get() const { return object_; }
    bool isThere() const { return object_ != IO_OBJECT_NULL; }

    RegistryObject parent() const
    {
        io_object_t above = IO_OBJECT_NULL;
        const bool isFound = IORegistryEntryGetParentEntry(object_, kIOServicePlane, &above) == KERN_SUCCESS;
        return RegistryObject(isFound ? above : IO_OBJECT_NULL);
    }

private:
    io_object_t object_;
};

// The names in the registry, as IOStorageDeviceCharacteristics.h has them: that header is not in every set of
// headers.
std::optional<bool> spins(const RegistryObject& device)
{
    const CFTypeRef characteristics = IORegistryEntryCreateCFProperty(
        device.get(), CFSTR("Device Characteristics"), kCFAllocatorDefault, 0);
    if (characteristics == nullptr) {
        return std::nullopt;
    }
    std::optional<bool> answer;
    if (CFGetTypeID(characteristics) == CFDictionaryGetTypeID()) {
        const CFTypeRef medium =
            CFDictionaryGetValue(static_cast<CFDictionaryRef>(characteristics), CFSTR("Medium Type"));
        if (medium != nullptr && CFEqual(medium, CFSTR("Rotational"))) {
            answer = true;
        } else if (medium != nullptr && CFEqual(medium, CFSTR("Solid State"))) {
            answer = false;
        }
    }
    CFRelease(characteristics);
    return answer;
}

} // namespace

// The volume's media object lies, in the registry's service plane, beneath the drive's block storage device;
// a volume of APFS beneath its container's too, which is made from media of that drive.
Drive driveOf(const SystemCalls& calls, const DiskPath& path)
{
    const auto fileSystem = calls.fileSystemOf(path);
    if (!fileSystem) {
        return {};
    }
    if (!fileSystem->isLocal) {
        return {.identity = fileSystem->device, .spins = std::nullopt}; // the server's own business
    }
    const std::string name = DiskPath(fileSystem->device).filename().native();
    // The matching dictionary is taken over by the call that uses it.
    RegistryObject object(
        IOServiceGetMatchingService(MACH_PORT_NULL, IOBSDNameMatching(MACH_PORT_NULL, 0, name.c_str())));
    while (object.isThere() && IOObjectConformsTo(object.get(), "IOBlockStorageDevice") == 0) {
        object = object.parent();
    }
    std::uint64_t identifier = 0;
    if (!object.isThere() || IORegistryEntryGetRegistryEntryID(object.get(), &identifier) != KERN_SUCCESS) {
        return {};
    }
    return {.identity = std::to_string(identifier), .spins = spins(object)};
}

} // namespace vantorel
