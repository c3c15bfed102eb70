#include "export/ExportOutcome.h"

#include "base/Text.h"

#include <algorithm>
#include <array>

namespace vantorel {

const std::string_view resumeSentence =
    "Run the export again and choose the place you chose before, not the \"(incomplete)\" folder. It "
    "continues where it stopped.";

namespace {

template <typename... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

/// In the order of the alternatives.
constexpr std::array<std::string_view, 11> stateNames{"someNotRead", "failed", "cannotStart",
    "notEnoughSpace", "finished", "cancelled", "sourceGone", "sourceFailing", "destinationGone",
    "destinationFull", "stalled"};
static_assert(stateNames.size() == std::variant_size_v<ExportOutcome::State>);

/// `before`, the resume sentence and, behind a blank, `after`.
std::string resumable(std::string before, std::string_view after = {})
{
    before += ' ';
    before += resumeSentence;
    if (!after.empty()) {
        before += ' ';
        before += after;
    }
    return before;
}

std::string savedSentence(const ExportOutcome& outcome)
{
    std::string text = outcome.exportedAssets == 1
        ? "1 photo or video saved"
        : grouped(outcome.exportedAssets) + " photos and videos saved";
    if (outcome.exportedItems != outcome.exportedAssets) {
        text += ", as " + grouped(outcome.exportedItems) + " copies in folders";
    }
    text += '.';
    if (!outcome.skipped.empty()) {
        text += ' ' + grouped(static_cast<std::int64_t>(outcome.skipped.size()))
            + " could not be saved or were left out. The report lists each one.";
    }
    if (outcome.sourceLimit) {
        text += ' ' + *outcome.sourceLimit;
    }
    return text;
}

std::string notReadSentence(std::int64_t count, std::int64_t scanGaps)
{
    return resumable((count == 1 ? "1 item" : grouped(count) + " items")
        + (scanGaps >= 1 ? " could not be read or checked on the disk" : " could not be read from the disk")
        + ", so this export is not finished. Everything else is saved and checked in the \"(incomplete)\" "
          "folder, and its report names what is left. Check the connection.");
}

/// The disk, and not only the database, gave trouble: a later scan may read more.
bool diskFailed(const DamageReport& damage)
{
    return damage.diskDidNotAnswer || std::ranges::any_of(damage.losses, [](const DamageReport::Loss& loss) {
        return loss.kind == DamageReport::Loss::Kind::databaseBytesUnreadable && loss.count > 0;
    });
}

} // namespace

std::string_view stateName(const ExportOutcome::State& state) { return stateNames.at(state.index()); }

std::string title(const ExportOutcome& outcome)
{
    return std::visit(
        Overloaded{
            [&](const ExportOutcome::Finished&) -> std::string {
                if (!outcome.sourceLimit) {
                    return "Export finished";
                }
                return outcome.lostAllAlbums ? "Files saved, without albums"
                                             : "Export finished, details may be missing";
            },
            [](const ExportOutcome::CannotStart&) -> std::string { return "Export not started"; },
            [](const ExportOutcome::NotEnoughSpace&) -> std::string { return "Export not started"; },
            [](const ExportOutcome::SomeNotRead& state) -> std::string {
                return state.count == 1 ? "1 item is not saved yet"
                                        : grouped(state.count) + " items are not saved yet";
            },
            [](const auto&) -> std::string { return "Export not finished"; },
        },
        outcome.state);
}

std::string message(const ExportOutcome& outcome)
{
    return std::visit(
        Overloaded{
            [&](const ExportOutcome::SomeNotRead& state) {
                return notReadSentence(state.count, outcome.scanGaps);
            },
            [](const ExportOutcome::Failed& state) {
                return resumable("The export stopped: " + state.reason + ". It is not complete.");
            },
            [](const ExportOutcome::CannotStart& state) {
                return "The export did not start: " + state.reason + ". Nothing was written.";
            },
            [](const ExportOutcome::NotEnoughSpace& state) {
                return "This export needs about " + byteSize(state.needed) + " and " + byteSize(state.free)
                    + " is free on that disk. Nothing was written. Choose another disk, or leave out hidden "
                      "photos, Recently Deleted or smaller copies.";
            },
            [&](const ExportOutcome::Finished&) { return savedSentence(outcome); },
            [](const ExportOutcome::Cancelled&) {
                return resumable("Stopped. What is in the folder is not complete.");
            },
            [](const ExportOutcome::SourceGone&) {
                return resumable("The disk with the library was disconnected. The export is not complete. "
                                 "Connect it.",
                    "If the disk comes back under another name, go back to Libraries and scan it again "
                    "first.");
            },
            [](const ExportOutcome::SourceFailing&) {
                return resumable(
                    "The disk with the library keeps giving read errors or not answering, so the "
                    "export stopped. What is in the folder is not complete. Check the cable or "
                    "try another port.",
                    "The files that failed are tried last.");
            },
            [](const ExportOutcome::DestinationGone&) {
                return resumable("The disk you are saving to was disconnected. The export is not complete. "
                                 "Connect it.");
            },
            [](const ExportOutcome::DestinationFull&) {
                return resumable(
                    "The disk you are saving to is full. The export is not complete. Free some space.");
            },
            [](const ExportOutcome::Stalled&) {
                return resumable(
                    "A disk stopped answering, even after a wait of some minutes, so the export "
                    "stopped here. What is in the folder is good, but not complete. A sleeping or "
                    "busy drive can come back: wait a moment, or check the connection.");
            },
        },
        outcome.state);
}

std::optional<std::string> sourceLimitOf(const DamageReport& damage)
{
    const auto sentence = severitySentence(damage.severity);
    if (!sentence) {
        return std::nullopt;
    }
    std::string text(*sentence);
    if (diskFailed(damage)) {
        if (damage.severity == DamageReport::Severity::salvaged) {
            text += " If the disk recovers, scan again and export again: the albums may come back.";
        } else if (damage.severity == DamageReport::Severity::databaseLost) {
            text += " If the disk recovers, scan again for the rest.";
        }
    }
    return text;
}

bool lostAllAlbums(const DamageReport& damage)
{
    return damage.severity == DamageReport::Severity::databaseLost;
}

} // namespace vantorel
