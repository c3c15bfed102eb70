#include "database/model/ReadError.h"

#include "base/Product.h"
#include "base/Text.h"

#include <fmt/format.h>

namespace vantorel {

ReadError ReadError::notFound(const std::string& path)
{
    return {Kind::notFound, fmt::format("There is no Photos library at \"{}\"", path)};
}

ReadError ReadError::accessDenied()
{
    return {Kind::accessDenied,
        "macOS refused access to this library or its database. Turn on Full Disk Access for Vantorel in "
        "System "
        "Settings, under Privacy & Security, then scan again."};
}

ReadError ReadError::unknownSchema(const std::string& reason)
{
    return {Kind::unknownSchema,
        fmt::format(
            "Vantorel does not recognise how this library stores its data ({}), so it stops here instead "
            "of showing wrong albums or dates. Your library was not changed. You can still open a healthy "
            "library in Photos. Please tell {} which macOS version the library comes from, so that "
            "Vantorel can learn to read it.",
            reason, product::supportAddress)};
}

ReadError ReadError::volumeGone(const std::string& diskName)
{
    return {Kind::volumeGone,
        fmt::format("\"{}\" was disconnected. Nothing was changed on it. Connect it again and start over.",
            diskName)};
}

ReadError ReadError::stalled(const std::string& diskName)
{
    return {Kind::stalled,
        fmt::format(
            "\"{}\" did not answer, even after a wait of some minutes. This says nothing about your "
            "photos: nothing suggests the library is damaged. If the drive was asleep, give it a minute. "
            "Otherwise check the cable or try another port. Then scan again.",
            diskName)};
}

ReadError ReadError::notEnoughTemporarySpace(std::int64_t neededBytes, std::int64_t freeBytes)
{
    return {Kind::notEnoughTemporarySpace,
        fmt::format(
            "Vantorel needs {} of free space on this Mac for a private copy of the library's database, "
            "and {} is free. Free some space on this Mac and scan again.",
            byteSize(neededBytes), byteSize(freeBytes))};
}

ReadError ReadError::copyFailed(const std::string& reason)
{
    return {Kind::copyFailed, "The library's database could not be copied: " + reason};
}

ReadError ReadError::databaseUnreadable(const std::string& reason)
{
    return {Kind::databaseUnreadable, reason};
}

ReadError ReadError::readTookTooLong(const std::string& what)
{
    return {Kind::readTookTooLong,
        fmt::format(
            "Reading \"{}\" took longer than Vantorel allows, on a very large library or a slow disk. "
            "Nothing suggests it is damaged. Try again with the library on a faster disk.",
            what)};
}

ReadError ReadError::legacyLibrary()
{
    return {Kind::legacyLibrary,
        "This library comes from macOS 10.14 or earlier, or from iPhoto. Vantorel reads libraries from macOS "
        "10.15 and later. Open the library once in a newer Photos to upgrade a copy of it, then scan the "
        "copy."};
}

ReadError ReadError::cancelled() { return {Kind::cancelled, {}}; }

ReadError ReadError::databaseNotAnswering()
{
    return {Kind::databaseNotAnswering, "The disk did not answer when the library's database was read."};
}

} // namespace vantorel
