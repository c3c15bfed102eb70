#include "database/ReadNotes.h"

#include "base/Text.h"

#include <fmt/format.h>

namespace vantorel::readNotes {

std::string journalsUnreadable(std::string_view reason)
{
    return fmt::format("This copy of the library has no database, and its change journals could not be read "
                       "({}). The files in its "
                       "originals folder can still be saved, without albums, captions or names.",
        reason);
}

std::string journalsUnreadableToo(std::string_view reason)
{
    return fmt::format("This library's change journals could not be read either ({}).", reason);
}

std::string unknownLayout(std::string_view reason, Instead instead)
{
    return fmt::format("Vantorel does not recognise how this library's database stores its data ({}), so {}",
        reason,
        instead == Instead::journals
            ? "its albums and details come from Photos' change journals."
            : "only photo files were found: no albums, captions or People names. The files in its originals "
              "folder can still be saved.");
}

std::string albumsFromJournals(std::int64_t count)
{
    return grouped(count)
        + " albums or folders were only known to the change journals and were added from there. A photo "
          "removed "
          "from an album shortly before the damage could be back in it.";
}

std::string photosFrom(std::int64_t count, OtherSource source)
{
    return fmt::format("{} photos were only known to {} and were added from there, with fewer details.",
        grouped(count),
        source == OtherSource::changeJournals ? "the change journals" : "the damaged database");
}

std::string peopleNotOnPhotos(std::int64_t count)
{
    return grouped(count)
        + " People names were still readable in the damaged database, but this result comes from the "
          "journals, so "
          "they are not on the photos.";
}

std::string notGiven(std::string_view reason)
{
    return fmt::format("The disk could not give the library's database: {}.", reason);
}

std::string bytesNotGiven(std::int64_t bytes)
{
    return byteSize(bytes)
        + " of the database could not be read from the disk. If the disk recovers, scan again: the albums "
          "may come "
          "back.";
}

} // namespace vantorel::readNotes
