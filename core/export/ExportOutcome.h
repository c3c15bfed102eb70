#pragma once

#include "database/model/LibrarySnapshot.h"
#include "export/ExportPlan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantorel {

/// How an export ended, and what the user is told.
struct ExportOutcome {
    struct SomeNotRead {
        std::int64_t count = 0;
        bool operator==(const SomeNotRead&) const = default;
    };
    struct Failed {
        std::string reason{}; ///< A phrase without a full stop.
        bool operator==(const Failed&) const = default;
    };
    struct CannotStart {
        std::string reason{}; ///< Likewise.
        bool operator==(const CannotStart&) const = default;
    };
    struct NotEnoughSpace {
        std::int64_t needed = 0;
        std::int64_t free = 0;
        bool operator==(const NotEnoughSpace&) const = default;
    };
    struct Finished {
        bool operator==(const Finished&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };
    struct SourceGone {
        bool operator==(const SourceGone&) const = default;
    };
    struct SourceFailing {
        bool operator==(const SourceFailing&) const = default;
    };
    struct DestinationGone {
        bool operator==(const DestinationGone&) const = default;
    };
    struct DestinationFull {
        bool operator==(const DestinationFull&) const = default;
    };
    struct Stalled {
        bool operator==(const Stalled&) const = default;
    };
    using State = std::variant<SomeNotRead, Failed, CannotStart, NotEnoughSpace, Finished, Cancelled,
        SourceGone, SourceFailing, DestinationGone, DestinationFull, Stalled>;

    State state = Finished{};
    std::optional<DiskPath> folder{}; ///< The export folder; none when nothing was written.
    std::int64_t exportedItems = 0;   ///< Copies saved in folders.
    std::int64_t exportedAssets = 0;  ///< Distinct photos and videos saved.
    std::int64_t bytesWritten = 0;
    std::vector<SkippedItem> skipped{};
    std::vector<std::string> notes{};
    std::optional<DiskPath> reportCSV{};
    std::optional<std::string> sourceLimit{}; ///< One sentence saying what limited the source.
    bool lostAllAlbums = false;
    std::int64_t scanGaps = 0; ///< Items that the scan itself could not read or check.

    bool isFinished() const { return std::holds_alternative<Finished>(state); }
    bool operator==(const ExportOutcome&) const = default;
};

/// The raw value of a state: "someNotRead", "failed", ...
std::string_view stateName(const ExportOutcome::State& state);

/// The one line above the message, for every state.
std::string title(const ExportOutcome& outcome);
/// What happened and what to do next.
std::string message(const ExportOutcome& outcome);

/// Run the export again ... : the sentence that ends many messages.
extern const std::string_view resumeSentence;

/// What limited the source, from the damage report; none for a library that was read whole.
std::optional<std::string> sourceLimitOf(const DamageReport& damage);
bool lostAllAlbums(const DamageReport& damage);

} // namespace vantorel
