#pragma once

#include "base/Clock.h"
#include "base/Enum.h"
#include "database/model/Album.h"
#include "database/model/Asset.h"
#include "database/model/DamageReport.h"
#include "database/model/SchemaSummary.h"
#include "disk/CancelToken.h"
#include "disk/Root.h"
#include "journals/JournalFiles.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// Reads the change journals that Photos keeps inside a library, for one without a usable database.
class JournalReader {
public:
    /// What was left out, and why.
    struct Counts {
        std::int64_t photosWithoutLocation = 0;
        std::int64_t damagedAlbums = 0;
        std::int64_t albumsWithoutFolder = 0;
        std::int64_t lostAlbumEntries = 0;
        std::int64_t lostKeywordLinks = 0;
        std::int64_t unreadFiles = 0;
        std::int64_t lostBytes = 0;
        std::int64_t itemsWithRejectedDate = 0;

        bool operator==(const Counts&) const = default;
    };

    /// The parts of a snapshot that journals can give. Row numbers do not exist in journals: `pk`s are given
    /// out in the order in which objects first appear.
    struct ReadResult {
        std::vector<Asset> assets{}; ///< Ascending `pk`. People are among their lost details.
        std::vector<Album> albums{}; ///< Siblings in the order of their folder, as from a database.
        SchemaSummary schema{};
        DamageReport damage{};
        std::vector<std::string> notes{};
        Counts counts{};

        bool operator==(const ReadResult&) const = default;
    };

    enum class Failure {
        noJournals,   ///< Nothing about photos in the library.
        unreadable,   ///< The disk did not give the files with the photos.
        damaged,      ///< They hold no photo any more.
        refused,      ///< Permission, or a link or folder that leads outside the library.
        notAnswering, ///< The disk stayed silent. Says nothing about the journals.
        cancelled,
    };

    struct Request {
        std::shared_ptr<const Root> library{};
        std::shared_ptr<const Clock> clock{};
        Seconds stallLimit{60}; ///< Of each guarded step; one step reads one file.
        SharedCancelToken cancel{};
        std::function<void(bool)> onSilence{};
        /// Bytes of all files read so far, on the calling thread or a worker's.
        std::function<void(std::int64_t done, std::int64_t total)> onBytes{};
    };

    static std::expected<ReadResult, Failure> read(const Request& request);
};

/// What is said wherever something of a result comes from journals.
inline constexpr std::string_view journalsTestedVersions =
    "Reading journals was tested on libraries from macOS 26 and 27. On a library from an older macOS, "
    "compare a "
    "few photos with what you expect.";

/// The reason of a failure as a phrase for a sentence; none for those that are no fault of the journals.
std::optional<std::string_view> journalFailureReason(JournalReader::Failure failure);

} // namespace vantorel
