#include "base/Date.h"

#include <fmt/format.h>

#include <cmath>

namespace vantorel {

namespace {

/// 2001-01-01 00:00:00 UTC, from which Core Data counts, in seconds since 1970.
constexpr double referenceDate = 978'307'200.0;
constexpr double nanosecondsAbove = 100'000'000'000.0;
constexpr double earliest = -978'307'200.0; // 1970-01-01
constexpr double latest = 3'187'296'000.0;  // 2102-01-02
constexpr std::int64_t mostOffset = 64'800; // 18 hours
constexpr std::int64_t farthestSeconds = 100'000'000'000;

struct Civil {
    std::int64_t year;
    unsigned month, day;
    std::int64_t hour, minute, second, microsecond;
};

Civil civil(Date date, std::int64_t offsetSeconds)
{
    const auto local = date + std::chrono::seconds(offsetSeconds);
    const auto day = std::chrono::floor<std::chrono::days>(local);
    auto rest = (local - day).count();
    const std::int64_t microsecond = rest % 1'000'000;
    rest /= 1'000'000;
    // By hand: the standard calendar's year ends at 32,767, which a date that is shown may pass.
    std::int64_t z = day.time_since_epoch().count() + 719'468;
    const std::int64_t era = (z >= 0 ? z : z - 146'096) / 146'097;
    const std::int64_t ofEra = z - era * 146'097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1'460 + ofEra / 36'524 - ofEra / 146'096) / 365;
    const std::int64_t dayOfYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const std::int64_t month = shiftedMonth + (shiftedMonth < 10 ? 3 : -9);
    return {
        .year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0),
        .month = static_cast<unsigned>(month),
        .day = static_cast<unsigned>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1),
        .hour = rest / 3600,
        .minute = rest / 60 % 60,
        .second = rest % 60,
        .microsecond = microsecond,
    };
}

std::optional<std::int64_t> saneOffset(std::optional<std::int64_t> offsetSeconds)
{
    if (offsetSeconds && (*offsetSeconds > mostOffset || *offsetSeconds < -mostOffset)) {
        return std::nullopt;
    }
    return offsetSeconds;
}

std::string dateAndTime(const Civil& c)
{
    return fmt::format(
        "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", c.year, c.month, c.day, c.hour, c.minute, c.second);
}

} // namespace

LibraryDate libraryDate(std::optional<double> secondsSince2001)
{
    if (!secondsSince2001 || *secondsSince2001 == 0) {
        return {};
    }
    return libraryDateKnownSet(*secondsSince2001);
}

LibraryDate libraryDateKnownSet(double secondsSince2001)
{
    if (!std::isfinite(secondsSince2001)) {
        return {};
    }
    double seconds = secondsSince2001;
    if (std::abs(seconds) > nanosecondsAbove) {
        seconds /= 1e9;
    }
    if (seconds < earliest || seconds > latest) {
        return {.date = std::nullopt, .rejected = true};
    }
    return {.date = Date(std::chrono::microseconds(std::llround((seconds + referenceDate) * 1e6))),
        .rejected = false};
}

double secondsSince2001(Date date)
{
    return static_cast<double>(date.time_since_epoch().count()) / 1e6 - referenceDate;
}

std::string isoMilliseconds(Date date)
{
    const Civil c = civil(date, 0);
    return fmt::format("{}.{:03}Z", dateAndTime(c), c.microsecond / 1000);
}

std::optional<std::string> sidecarDate(Date date, std::optional<std::int64_t> offsetSeconds)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
    if (seconds > farthestSeconds || seconds < -farthestSeconds) {
        return std::nullopt;
    }
    const auto offset = saneOffset(offsetSeconds);
    std::string text = dateAndTime(civil(date, offset.value_or(0)));
    if (offset) {
        const std::int64_t minutes = (*offset < 0 ? -*offset : *offset) / 60;
        text += fmt::format("{}{:02}:{:02}", *offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    }
    return text;
}

int gregorianYear(Date date, std::optional<std::int64_t> offsetSeconds)
{
    return static_cast<int>(civil(date, saneOffset(offsetSeconds).value_or(0)).year);
}

} // namespace vantorel
