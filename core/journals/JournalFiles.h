#pragma once

#include "base/Clock.h"
#include "base/Enum.h"
#include "disk/CancelToken.h"
#include "disk/Root.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// The kinds of object whose journals are read, in the order in which they are.
enum class JournalKind { asset, volume, keyword, album, folder, smart, project, migration };

inline constexpr EnumNames<JournalKind, 8> journalKindNames{{
    {JournalKind::asset, "Asset"},
    {JournalKind::volume, "FileSystemVolume"},
    {JournalKind::keyword, "Keyword"},
    {JournalKind::album, "Album"},
    {JournalKind::folder, "Folder"},
    {JournalKind::smart, "FetchingAlbum"},
    {JournalKind::project, "ProjectAlbum"},
    {JournalKind::migration, "MigrationHistory"},
}};
static_assert(inEnumOrder(journalKindNames));

/// The snapshot is applied first.
enum class JournalPart { snapshot, change };

/// Whether a library keeps journals with photos in them.
enum class JournalPresence {
    absent,
    present,
    unclear, ///< Refused, or the disk gave an error: not the same as absent.
};
/// Blocks: callers run it guarded.
JournalPresence journalPresence(const Root& library);

/// How a file of the journals answered.
struct JournalFile {
    enum class State {
        missing,
        empty,
        given,
        unreadable,   ///< The disk gave an error for it, or it is no file.
        refused,      ///< Permission, or a link or folder that leads outside the library.
        notAnswering, ///< Or given up unasked, since others did not answer.
    };

    State state = State::missing;
    std::int64_t size = 0; ///< Bytes, when first looked at.

    bool isTrouble() const
    {
        return state == State::unreadable || state == State::refused || state == State::notAnswering;
    }
    bool operator==(const JournalFile&) const = default;
};

/// The files of one library's journals. Every look and every read is a guarded run of its own.
class JournalFiles {
public:
    struct Access {
        std::shared_ptr<const Root> library{};
        std::shared_ptr<const Clock> clock{};
        Seconds stallLimit{60};
        SharedCancelToken cancel{};
        std::function<void(bool)> onSilence{};
        std::function<void(std::int64_t done, std::int64_t total)>
            onBytes{}; ///< On the calling thread or a worker's.
    };

    explicit JournalFiles(Access access)
        : access_(std::move(access))
    {
    }

    /// Looks which files there are. After a cancel, and where the disk stayed silent, all of them count as
    /// not answering.
    void look();
    /// The whole file, or nothing: then its state says why. Only of one that is `given`.
    std::string read(JournalKind kind, JournalPart part);

    const JournalFile& file(JournalKind kind, JournalPart part) const { return files_[placeOf(kind, part)]; }
    bool anyDidNotAnswer() const;

private:
    static constexpr std::size_t parts = 2;

    static std::size_t placeOf(JournalKind kind, JournalPart part)
    {
        return static_cast<std::size_t>(kind) * parts + static_cast<std::size_t>(part);
    }

    Access access_;
    std::array<JournalFile, journalKindNames.size() * parts> files_{};
    std::int64_t bytesDone_ = 0;
    std::int64_t bytesInAll_ = 0;
    int silences_ = 0;
};

} // namespace vantorel
