#include "export/FilePlacer.h"

#include <cerrno>
#include <tuple>

namespace vantorel {

namespace {

/// Names are chosen free by a listing, so a second try is rare and a tenth means that something else writes.
constexpr int mostTriesForAnItem = 20;
constexpr int mostNumbersForAFile = 1'000;

bool isTaken(int code) { return code == EEXIST || code == ENOTEMPTY || code == EISDIR; }

std::string numberMark(int number) { return number == 1 ? "" : " (" + std::to_string(number) + ")"; }

} // namespace

std::expected<PlacedFiles, int> FilePlacer::placeFiles(std::size_t item,
    const std::vector<std::optional<FreshFile>>& files, const std::shared_ptr<Heartbeat>& heartbeat) const
{
    PlacedFiles placed;
    placed.paths.resize(files.size());
    const auto names = placeMain(item, *files.front(), heartbeat, placed.setAside);
    if (!names) {
        return std::unexpected(names.error());
    }
    if (!*names) {
        placed.paths.front() = std::unexpected(names->error());
        return placed;
    }
    placed.paths.front() = (*names)->files.front();
    placed.sidecar = (*names)->sidecar;

    // A companion's name never changes that of its photo.
    for (std::size_t i = 1; i < files.size(); ++i) {
        if (!files[i]) {
            continue;
        }
        std::string wanted = (*names)->files[i];
        bool isPlain = false;
        for (int number = 1; number <= mostNumbersForAFile && !placed.paths[i]; ++number) {
            const std::string path = withMark(wanted, numberMark(number));
            const auto result = place(*files[i], path, heartbeat, placed.setAside);
            if (!result) {
                return std::unexpected(result.error());
            }
            if (*result == Placed::here) {
                placed.paths[i] = path;
            } else if (*result == Placed::refused && isPlain) {
                placed.paths[i] = std::unexpected(SkipReason::nameRefused);
            } else if (*result == Placed::refused) {
                isPlain = true;
                wanted = names_->another(item, FinalNames::Stem::plain, {}).files[i];
                number = 0;
            }
        }
        if (!placed.paths[i]) {
            placed.paths[i] = std::unexpected(SkipReason::noFreeName);
        }
    }
    return placed;
}

std::expected<std::expected<ItemNames, SkipReason>, int> FilePlacer::placeMain(std::size_t item,
    const FreshFile& file, const std::shared_ptr<Heartbeat>& heartbeat, std::int64_t& setAsideCount) const
{
    using Ended = std::expected<ItemNames, SkipReason>;
    ItemNames names = names_->planned(item);
    auto stem = FinalNames::Stem::planned;
    for (int tried = 0; tried < mostTriesForAnItem; ++tried) {
        auto result =
            lookForSidecar(names.sidecar, *heartbeat); // it shares the photo's stem, so both must be free
        if (result && *result == Placed::here) {
            result = place(file, names.files.front(), heartbeat, setAsideCount);
        }
        if (!result) {
            return std::unexpected(result.error());
        }
        if (*result == Placed::here) {
            return Ended(std::move(names));
        }
        if (*result == Placed::refused && stem == FinalNames::Stem::plain) {
            return Ended(std::unexpected(SkipReason::nameRefused));
        }
        if (*result == Placed::refused) {
            stem = FinalNames::Stem::plain;
        }
        const auto standing = standingNames(folderOf(names.sidecar), *heartbeat);
        if (!standing) {
            return std::unexpected(standing.error());
        }
        names = names_->another(item, stem, *standing);
    }
    return Ended(std::unexpected(SkipReason::noFreeName));
}

std::expected<std::optional<FilePlacer::PlacedSidecar>, int> FilePlacer::placeSidecar(
    const FreshFile& sidecar, const std::string& wanted, const std::shared_ptr<Heartbeat>& heartbeat) const
{
    PlacedSidecar placed;
    for (int number = 1; number <= mostNumbersForAFile; ++number) {
        placed.path = withMark(wanted, numberMark(number));
        const auto result = place(sidecar, placed.path, heartbeat, placed.setAside);
        if (!result) {
            return std::unexpected(result.error());
        }
        if (*result == Placed::here) {
            return placed;
        }
        if (*result == Placed::refused) {
            break;
        }
    }
    return std::nullopt;
}

CallResult<bool> FilePlacer::setAside(const std::string& path) const
{
    for (int number = 1; number <= mostNumbersForAFile; ++number) {
        const std::string mark = std::string(bookkeeping::notUsedSuffix) + numberMark(number);
        const auto renamed = root_->renameExclusive(path, withMark(path, mark));
        if (renamed) {
            return true;
        }
        if (isAboutTheName(renamed.error())) {
            return false;
        }
        if (!isTaken(renamed.error())) {
            return std::unexpected(renamed.error());
        }
    }
    return false;
}

CallResult<FilePlacer::Placed> FilePlacer::place(const FreshFile& file, const std::string& path,
    const std::shared_ptr<Heartbeat>& heartbeat, std::int64_t& setAsideCount) const
{
    heartbeat->beat();
    if (heartbeat->gaveUp()) {
        return std::unexpected(ECANCELED);
    }
    const auto renamed = root_->renameExclusive(file.temporary, path);
    if (renamed) {
        names_->give(path);
        return Placed::here;
    }
    if (!isTaken(renamed.error())) {
        return judged(renamed.error(), file.temporary, path);
    }
    return continued_ ? placeOverLeftover(file, path, heartbeat, setAsideCount) : Placed::inUse;
}

/// Something stands under a name while an export is continued: the copy of a run that ended before it
/// recorded it, or something that is not ours to touch.
CallResult<FilePlacer::Placed> FilePlacer::placeOverLeftover(const FreshFile& file, const std::string& path,
    const std::shared_ptr<Heartbeat>& heartbeat, std::int64_t& setAsideCount) const
{
    const auto leftover = leftoverAt(path, *heartbeat);
    if (!leftover) {
        return std::unexpected(leftover.error());
    }
    if (!*leftover) {
        return Placed::inUse;
    }
    const auto digest = coldDigest(
        {.root = root_, .relative = **leftover, .expectedSize = file.content.size, .heartbeat = heartbeat});
    if (heartbeat->gaveUp()) {
        return std::unexpected(ECANCELED);
    }
    const bool isEqual = digest && *digest == file.content;
    if (!isEqual) { // also where it cannot be read: it is kept, and nothing relies on it
        const auto isAside = setAside(**leftover);
        if (!isAside) {
            return std::unexpected(isAside.error());
        }
        if (!*isAside) {
            return Placed::inUse;
        }
        ++setAsideCount;
    }
    const auto renamed =
        isEqual ? root_->rename(file.temporary, path) : root_->renameExclusive(file.temporary, path);
    if (renamed) {
        names_->give(path);
        return Placed::here;
    }
    return isTaken(renamed.error()) ? CallResult<Placed>(Placed::inUse)
                                    : judged(renamed.error(), file.temporary, path);
}

CallResult<FilePlacer::Placed> FilePlacer::lookForSidecar(const std::string& path, Heartbeat& heartbeat) const
{
    const auto status = root_->status(path);
    if (!status) {
        return status.error() == ENOENT ? CallResult<Placed>(Placed::here) : judged(status.error(), {}, path);
    }
    if (!continued_) {
        return Placed::inUse;
    }
    const auto leftover = leftoverAt(path, heartbeat);
    if (!leftover) {
        return std::unexpected(leftover.error());
    }
    return *leftover ? Placed::here : Placed::inUse;
}

/// Whether an error number is about the name or about the disk.
CallResult<FilePlacer::Placed> FilePlacer::judged(
    int code, const DiskPath& temporary, const std::string& path) const
{
    if (!isAboutTheName(code)) {
        return std::unexpected(code);
    }
    const bool folderIsThere = root_->kind(folderOf(path)) == FS::Kind::directory;
    const bool fileIsThere = temporary.empty() || root_->kind(temporary) == FS::Kind::regular;
    return folderIsThere && fileIsThere ? CallResult<Placed>(Placed::refused) : std::unexpected(code);
}

/// The file that stands at a path, as the disk spells it: one of this name, which no recorded item has. None
/// for anything else, also for another file whose name this disk takes for the same.
CallResult<std::optional<std::string>> FilePlacer::leftoverAt(
    const std::string& path, Heartbeat& heartbeat) const
{
    if (names_->isGiven(path)) {
        return std::optional<std::string>();
    }
    FS::ListBox box;
    const auto listing = root_->list(folderOf(path), &heartbeat, box);
    if (!listing || listing->stoppedEarly) {
        return std::unexpected(listing ? listing->code : listing.error().code);
    }
    const std::string key = SafeNames::comparisonKey(nameOf(path));
    for (const FS::Entry& entry : listing->entries) {
        if (entry.kind == FS::Kind::regular && SafeNames::comparisonKey(entry.name) == key) {
            return pathIn(folderOf(path), entry.name);
        }
    }
    return std::optional<std::string>();
}

CallResult<std::vector<std::string>> FilePlacer::standingNames(
    const std::string& folder, Heartbeat& heartbeat) const
{
    FS::ListBox box;
    const auto listing = root_->list(folder, &heartbeat, box);
    if (!listing || listing->stoppedEarly) {
        return std::unexpected(listing ? listing->code : listing.error().code);
    }
    std::vector<std::string> names;
    for (const FS::Entry& entry : listing->entries) {
        names.push_back(entry.name);
    }
    return names;
}

} // namespace vantorel
