#include "database/model/DamageReport.h"

#include "base/Text.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace vantorel {

namespace {

using Severity = DamageReport::Severity;
using Kind = DamageReport::Loss::Kind;

/// Empty: nothing to say.
constexpr EnumNames<Severity, 5> severitySentences{{
    {Severity::none, ""},
    {Severity::walLost,
        "The newest changes to the library could not be read, so recent albums, captions or other changes "
        "may "
        "be missing."},
    {Severity::salvaged,
        "The library's database was damaged and rebuilt from what could be read, so some albums or details "
        "may "
        "be missing."},
    {Severity::fromJournals,
        "The library's database could not be used, so albums and details come from Photos' change journals, "
        "and some may be missing."},
    {Severity::databaseLost,
        "The library's database could not be read, so the files are saved without albums, captions or "
        "names."},
}};
static_assert(inEnumOrder(severitySentences));

/// A text that begins with a blank stands behind the count. "{}" is an amount of bytes, or the other source.
constexpr EnumNames<Kind, 16> lossMessages{{
    {Kind::albumEntriesWithoutPhoto,
        " album entries point at a photo whose record is lost. The albums concerned are marked."},
    {Kind::photosWithoutDetails,
        " photos lost their detail record: original file name, caption and keywords are gone for them. The "
        "photos themselves are not affected."},
    {Kind::keywordLinksWithoutKeyword,
        " keyword links point at a keyword that is lost, so those photos lost that keyword."},
    {Kind::facesWithoutPerson,
        " faces belong to a person whose name record is lost, so those photos may have lost a name."},
    {Kind::facesWithoutPhoto, " faces belong to a photo whose record is lost."},
    {Kind::albumsWithoutParent,
        " albums or folders lost the folder they were in and are shown at the top level."},
    {Kind::rowsNotAssigned, " damaged database rows could not be matched to a table and are lost."},
    {Kind::invalidPaths, " photo rows had an impossible file location and were left out."},
    {Kind::walChangesLost,
        "The newest changes to this library were in a damaged log file and are lost. Recent albums, captions "
        "or other changes can be missing, and recent photos come back only as files without details."},
    {Kind::captionsLost, " photos had a caption that is lost."},
    {Kind::linksLost, ""}, // one of `lostLinksSentences`
    {Kind::journalBytesLost,
        "Part of the journals is damaged and could not be read ({}), so the newest changes may be missing."},
    {Kind::databaseBytesUnreadable,
        "{} of the database could not be read from the disk. What was in those places is lost; everything "
        "around them was read."},
    {Kind::journalPartsUnread,
        " of the journal files could not be read from the disk, so some albums, keywords or recent changes "
        "may "
        "be missing."},
    {Kind::albumsWithoutKind, " album rows were too damaged to tell what they are and were left out."},
    {Kind::photosAddedFromOtherSource,
        " albums or folders were only known to {} and were added from there, with fewer details."},
}};
static_assert(inEnumOrder(lossMessages));

constexpr EnumNames<LostLinks, 3> lostLinksSentences{{
    {LostLinks::albums, "The links between albums and photos are lost, so the albums show as empty."},
    {LostLinks::keywords, "The links between photos and keywords are lost, so no photo shows its keywords."},
    {LostLinks::people, "The links between photos and People are lost, so no photo shows a name."},
}};
static_assert(inEnumOrder(lostLinksSentences));

constexpr EnumNames<OtherSource, 2> otherSourceNames{{
    {OtherSource::changeJournals, "the change journals"},
    {OtherSource::damagedDatabase, "the damaged database"},
}};
static_assert(inEnumOrder(otherSourceNames));

std::string filled(Kind kind, std::string_view value)
{
    const std::string_view text = nameIn(lossMessages, kind);
    const std::size_t gap = text.find("{}");
    if (gap == std::string_view::npos) {
        return std::string(text);
    }
    return fmt::format("{}{}{}", text.substr(0, gap), value, text.substr(gap + 2));
}

} // namespace

DamageReport::Loss makeLoss(DamageReport::Loss::Kind kind, std::int64_t count)
{
    return {.kind = kind, .count = count, .message = filled(kind, byteSize(count))};
}

DamageReport::Loss makeLinksLost(LostLinks links)
{
    return {.kind = Kind::linksLost, .count = 1, .message = std::string(nameIn(lostLinksSentences, links))};
}

DamageReport::Loss makePhotosAdded(std::int64_t count, OtherSource source)
{
    return {.kind = Kind::photosAddedFromOtherSource,
        .count = count,
        .message = filled(Kind::photosAddedFromOtherSource, nameIn(otherSourceNames, source))};
}

std::string sentence(const DamageReport::Loss& loss)
{
    return loss.message.starts_with(' ') ? grouped(loss.count) + loss.message : loss.message;
}

std::optional<std::string_view> severitySentence(DamageReport::Severity severity)
{
    const std::string_view text = nameIn(severitySentences, severity);
    return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::string> tableLine(const DamageReport::TableLoss& table)
{
    if (table.unreadable) {
        return table.purpose + ": nothing could be read.";
    }
    // Clamped first: both numbers can come from damaged pages, and their difference may not fit.
    const std::int64_t read = std::max<std::int64_t>(table.rowsRead, 0);
    const std::int64_t known = std::max<std::int64_t>(table.highestKnownID.value_or(0), 0);
    if (known <= read) {
        return std::nullopt;
    }
    return fmt::format("{}: {} read, {} more existed; some of those may have been deleted long ago.",
        table.purpose, grouped(read), grouped(known - read));
}

} // namespace vantorel
