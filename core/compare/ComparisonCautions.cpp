#include "compare/ComparisonCautions.h"

#include <optional>
#include <string_view>

namespace vantorel {

namespace {

using Severity = DamageReport::Severity;
using State = OriginalsReport::State;

/// The two sentences that either library can need.
struct Limits {
    std::string_view didNotAnswer;
    std::string_view damaged;
};

constexpr Limits ofSource{
    .didNotAnswer = "The disk did not answer for the source library's database, so what is not read cannot "
                    "show up here as missing.",
    .damaged = "The source library is damaged, so what it lost cannot show up here as missing.",
};
constexpr Limits ofOther{
    .didNotAnswer = "The disk did not answer for the database of the library compared with, so some items "
                    "may look missing that are only not read.",
    .damaged = "The library compared with is damaged, so some items may look missing that are only "
               "unreadable.",
};
constexpr std::string_view sourceFromJournals =
    "This library was read from its change journals, so People names are not compared.";
constexpr std::string_view otherFromJournals =
    "The library compared with was read from its change journals, so People names are not compared.";
constexpr std::string_view checkInterrupted =
    "A check of files did not finish, so file differences are incomplete.";
constexpr std::string_view foldersUnread =
    "Some folders of a library could not be read, so file differences are incomplete.";

bool isFromJournals(const DamageReport& damage) { return damage.severity == Severity::fromJournals; }

/// For a library that was not read from its journals.
std::optional<std::string_view> limit(const DamageReport& damage, const Limits& limits)
{
    if (damage.diskDidNotAnswer) {
        return limits.didNotAnswer;
    }
    if (damage.severity != Severity::none) {
        return limits.damaged;
    }
    return std::nullopt;
}

bool sawEveryFile(const OriginalsReport& report)
{
    return report.state == State::complete && report.unreadableFolders.empty()
        && report.deniedFolders.empty();
}

} // namespace

std::vector<std::string> comparisonCautions(const LibraryScanResult& source, const LibraryScanResult& other)
{
    std::vector<std::string> cautions;
    const auto add = [&cautions](std::optional<std::string_view> sentence) {
        if (sentence) {
            cautions.emplace_back(*sentence);
        }
    };
    const DamageReport& here = source.snapshot.damage;
    const DamageReport& there = other.snapshot.damage;
    add(isFromJournals(here) ? sourceFromJournals : limit(here, ofSource));
    if (!isFromJournals(there)) {
        add(limit(there, ofOther));
    } else if (!isFromJournals(here)) { // else the sentence about the source has said it
        add(otherFromJournals);
    }
    if (source.originals.state == State::interrupted || other.originals.state == State::interrupted) {
        add(checkInterrupted);
    } else if (!sawEveryFile(source.originals) || !sawEveryFile(other.originals)) {
        add(foldersUnread);
    }
    return cautions;
}

} // namespace vantorel
