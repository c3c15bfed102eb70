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

std::string unknownLayout(std::string_view reason)
{
    return fmt::format(
        "Vantorel does not recognise how this library's database stores its data ({}), so only photo files "
        "were "
        "found: no albums, captions or People names. The files in its originals folder can still be saved.",
        reason);
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
