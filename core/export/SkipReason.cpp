#include "export/SkipReason.h"

#include "base/Text.h"
#include "disk/FS.h"

#include <cerrno>

namespace vantorel {

namespace {

constexpr EnumNames<SkipReason, 13> sentences{{
    {SkipReason::link, "The library has a link here instead of a file"},
    {SkipReason::notRegular, "Not a regular file in the library"},
    {SkipReason::inCloud,
        "This file is in a cloud folder, and it may not have been downloaded to this Mac yet. It did not "
        "come "
        "in time. Open it in Finder so it downloads, then run the export again"},
    {SkipReason::readError, "Could not read the file: "},
    {SkipReason::sizeChanged,
        "The file changed or came back at another size than when the library was scanned"},
    {SkipReason::mismatch, "The saved copy did not match when read back"},
    {SkipReason::nameRefused, "This disk refused the file's name, also a plain one"},
    {SkipReason::noFreeName, "No free name could be found for this file in its folder"},
    {SkipReason::tooLarge, "Larger than this disk format allows"},
    {SkipReason::silent, "The disk stopped answering on this file"},
    {SkipReason::silentTwice,
        "The disk stopped answering on this file, also when it was tried again. Run the export again to try "
        "it"},
    {SkipReason::notTriedAgain,
        "Not tried again: the disk kept failing on the files before this one. Run the export again to try "
        "it"},
    {SkipReason::notTried, "Not tried: the export stopped before this one. Run the export again to save it"},
}};
static_assert(inEnumOrder(sentences));

} // namespace

std::string sentence(const SkipCause& cause)
{
    const std::string text(nameIn(sentences, cause.reason));
    return cause.reason == SkipReason::readError ? text + errorText(cause.code) : text;
}

bool isCurable(SkipReason reason)
{
    switch (reason) {
    case SkipReason::link:
    case SkipReason::notRegular:
    case SkipReason::nameRefused:
    case SkipReason::noFreeName:
    case SkipReason::tooLarge:
        return false;
    case SkipReason::inCloud:
    case SkipReason::readError:
    case SkipReason::sizeChanged:
    case SkipReason::mismatch:
    case SkipReason::silent:
    case SkipReason::silentTwice:
    case SkipReason::notTriedAgain:
    case SkipReason::notTried:
        return true;
    }
    std::unreachable();
}

bool isDiskFailure(const SkipCause& cause)
{
    return cause.reason == SkipReason::silent || cause.reason == SkipReason::silentTwice
        || (cause.reason == SkipReason::readError && FS::kindOfFailure(cause.code) == FS::Kind::unavailable);
}

SkipCause causeOfReadError(int code)
{
    // A link anywhere in the path ends the walk beneath the library.
    return code == ELOOP ? SkipCause{.reason = SkipReason::link}
                         : SkipCause{.reason = SkipReason::readError, .code = code};
}

} // namespace vantorel
