#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// A point in time, UTC, to the microsecond. Depends on no time zone and no locale of the machine.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// What a stored timestamp of a library says.
struct LibraryDate {
    std::optional<Date> date{}; ///< None: the value says "no date", or was rejected.
    bool rejected = false;      ///< There was a value, but outside 1970-01-01 to 2102-01-02.

    bool operator==(const LibraryDate&) const = default;
};

/// Converts seconds since 2001-01-01 00:00:00 UTC, the reference date of Core Data stores. No value, 0 and
/// what is not finite mean no date; above 100,000,000,000 in magnitude the value is nanoseconds.
LibraryDate libraryDate(std::optional<double> secondsSince2001);
/// The same for a value that is known to be set, where 0 is 2001-01-01 itself (journal property lists).
LibraryDate libraryDateKnownSet(double secondsSince2001);
/// Seconds since 2001-01-01 UTC; the inverse, for writers of sample libraries.
double secondsSince2001(Date date);

/// "2024-05-03T10:17:36.123Z": for JSON.
std::string isoMilliseconds(Date date);
/// "2024-05-03T12:17:36+02:00" at the given offset (seconds east of UTC); without an offset UTC and no
/// designator: "2024-05-03T10:17:36". An offset of more than 64,800 seconds either way counts as unknown.
/// None for a date more than 100,000,000,000 seconds away from 1970.
std::optional<std::string> sidecarDate(Date date, std::optional<std::int64_t> offsetSeconds);
/// The year in the proleptic Gregorian calendar, at the offset where it is known and sane, else in UTC.
int gregorianYear(Date date, std::optional<std::int64_t> offsetSeconds);

} // namespace vantorel
