#pragma once

#include "database/model/DamageReport.h"

#include <cstdint>
#include <string>
#include <string_view>

/// What is said about a database as a whole; whole sentences, shown as they stand.
namespace vantorel::readNotes {

inline constexpr std::string_view noDatabase = "This copy has no database.";
inline constexpr std::string_view noDatabaseInBackup =
    "This copy has no database, as is normal for a Time Machine backup.";
inline constexpr std::string_view onlyFiles =
    "This copy of the library has no database and no change journals, so only photo files were found: no "
    "albums, "
    "captions or People names. The files in its originals folder can still be saved.";
inline constexpr std::string_view damaged = "The library's database is damaged.";
inline constexpr std::string_view readErrors =
    "The disk gave read errors for part of the library's database, so it could not be read as it was.";
inline constexpr std::string_view tooDamaged = "The library's database is too damaged to read. The files in "
                                               "its originals folder can still be saved, without "
                                               "albums, captions or names.";
inline constexpr std::string_view notAnswering =
    "The disk did not answer for the library's database, while the rest of the disk answered. That can be "
    "one bad "
    "spot on the disk, and nothing shows the database itself is damaged.";
inline constexpr std::string_view notAnsweringOnlyFiles =
    " Only photo files were found this time, without albums, captions or People names. Scan again later: the "
    "disk "
    "may answer then.";
inline constexpr std::string_view changedWhileRead =
    "Photos kept changing this library while it was read, so the newest changes may be missing, and recent "
    "photos "
    "may come back only as files without details.";
inline constexpr std::string_view logUnreadable =
    "The newest changes to this library were in a log file the disk could not give. Recent albums, captions "
    "or "
    "other changes can be missing, and recent photos come back only as files without details.";

/// Why a copy that is broken says nothing about the library; behind "could not be copied: ".
inline constexpr std::string_view unsettledReason =
    "Photos kept changing it while it was read. Quit Photos and scan again.";

inline constexpr std::string_view journalsNotAnswering =
    "The disk did not answer when the change journals were read, so what they could add is not here. Scan "
    "again "
    "later: it may answer then.";
inline constexpr std::string_view toolRefused =
    "The library's database needs a rebuild, and the SQLite tool on this Mac could not do one in the safe "
    "mode "
    "Vantorel requires. Without it, less may have come back than the database still holds.";
inline constexpr std::string_view noSpaceForRebuild =
    "There was not enough free space on this Mac to rebuild the library's database, so less may have come "
    "back "
    "than it still holds. Free some space and scan again.";

/// Of a library without a database.
std::string journalsUnreadable(std::string_view reason);
/// Of one whose database is there but of no use.
std::string journalsUnreadableToo(std::string_view reason);
enum class Instead { files, journals };
std::string unknownLayout(std::string_view reason, Instead instead);
/// What the journals added to a damaged database.
std::string albumsFromJournals(std::int64_t count);
std::string photosFrom(std::int64_t count, OtherSource source);
/// Why names that the damaged database still holds are on no photo.
std::string peopleNotOnPhotos(std::int64_t count);
std::string notGiven(std::string_view reason);
std::string bytesNotGiven(std::int64_t bytes);

} // namespace vantorel::readNotes
