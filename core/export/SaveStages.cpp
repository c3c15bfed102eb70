#include "export/SaveStages.h"

#include "base/Digest.h"
#include "disk/AtOnce.h"
#include "disk/ChunkBuffer.h"

#include <algorithm>
#include <cerrno>
#include <tuple>

#include <fcntl.h>

namespace vantorel {

namespace {

/// A disk that answers but keeps nothing would otherwise cost a copy of every file.
constexpr int mostMismatchesInARow = 8;
/// Above this size a file takes more than one read.
constexpr auto largeToRead = static_cast<std::int64_t>(ChunkBuffer::size);

/// A result of one of several things that a step does, or why that failed.
template <typename T>
using Written = std::expected<T, DestinationError>;

/// The error as a result of a step.
std::unexpected<DestinationError> failed(int code, const VolumeWatch& watch)
{
    return std::unexpected(destinationError(code, watch));
}

/// A file that a group has in the bookkeeping, and whose it is.
struct FreshOf {
    std::size_t position = 0; ///< Of the item in its group.
    FilePart* part = nullptr; ///< None: the sidecar.
    FreshFile file{};
};

std::vector<FreshOf> freshFilesOf(CommitGroup& group)
{
    std::vector<FreshOf> files;
    for (std::size_t position = 0; position < group.items.size(); ++position) {
        SavingItem& item = group.items[position];
        if (!item.isAlive()) {
            continue;
        }
        for (FilePart& part : item.parts) {
            if (part.isAlive()) {
                files.push_back({position, &part, {part.temporary, part.content}});
            }
        }
        files.push_back({position, nullptr, item.freshSidecar});
    }
    return files;
}

std::vector<FreshFile> filesAlone(const std::vector<FreshOf>& files)
{
    std::vector<FreshFile> alone;
    alone.reserve(files.size());
    for (const FreshOf& file : files) {
        alone.push_back(file.file);
    }
    return alone;
}

/// The items that go on, by their positions.
std::vector<std::size_t> aliveIn(const CommitGroup& group)
{
    std::vector<std::size_t> positions;
    for (std::size_t position = 0; position < group.items.size(); ++position) {
        if (group.items[position].isAlive()) {
            positions.push_back(position);
        }
    }
    return positions;
}

RunStop stopAt(const DestinationError& error)
{
    return error.code == ECANCELED ? RunStop{.state = ExportOutcome::Cancelled{}} : stopOf(error);
}

/// Takes one step on the destination for a group; none where that was given up, and the group is cut then.
template <typename Work>
auto onDestination(const SavingContext& context, CommitGroup& group, Work work)
    -> std::optional<std::invoke_result_t<Work&, const std::shared_ptr<Heartbeat>&>>
{
    auto done = context.steps->run(DiskPatience::destinationWrite, std::move(work));
    if (!done) {
        group.cutFrom(0, stopOf(done.error()));
        return std::nullopt;
    }
    return std::move(*done);
}

/// The same with several things at once. None of the results where nobody waits for them any longer.
template <typename Work>
auto severalOnDestination(const SavingContext& context, CommitGroup& group, const Spread& spread, Work work)
    -> std::optional<std::vector<std::invoke_result_t<Work&, std::size_t, const std::shared_ptr<Heartbeat>&>>>
{
    auto done = onDestination(context, group,
        [clock = context.steps->clock(), spread, work](const std::shared_ptr<Heartbeat>& heartbeat) {
            return atOnce(clock, heartbeat, spread, [work, heartbeat](std::size_t number) mutable {
                heartbeat->beat();
                return work(number, heartbeat);
            });
        });
    if (done && !*done) {
        group.cutFrom(0, stopOf(context.steps->whyNone()));
    }
    return done ? std::move(*done) : std::nullopt;
}

CallResult<void> syncFile(const Root& root, const DiskPath& path)
{
    auto file = root.openFile(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file) {
        return std::unexpected(file.error());
    }
    if (const auto durable = makeDurable(*root.calls(), file->get()); !durable) {
        return durable;
    }
    // A large export must not fill the memory; only what is on the disk can be dropped.
    std::ignore = root.calls()->dropCached(file->get());
    return file->close(); // some network disks tell only here that they have no room
}

CallResult<OpenFile> writtenNew(const Root& root, const DiskPath& path, const std::string& text)
{
    auto file = root.openFile(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    if (!file) {
        return file;
    }
    if (const auto written = writeAll(*root.calls(), file->get(), text); !written) {
        return std::unexpected(written.error());
    }
    return file;
}

/// The next step syncs it, with the rest of its group.
CallResult<void> writeNew(const Root& root, const DiskPath& path, const std::string& text)
{
    auto file = writtenNew(root, path, text);
    return file ? file->close() : std::unexpected(file.error());
}

CallResult<void> writeNewDurably(const Root& root, const DiskPath& path, const std::string& text)
{
    auto file = writtenNew(root, path, text);
    if (!file) {
        return std::unexpected(file.error());
    }
    if (const auto durable = makeDurable(*root.calls(), file->get()); !durable) {
        return durable;
    }
    return file->close();
}

FreshFile freshFor(const std::string& text)
{
    return {.temporary = freshTemporary(),
        .content = {.size = static_cast<std::int64_t>(text.size()), .sha256 = sha256(text)}};
}

/// One try; a read-back that differs is `EIO`.
CallResult<FreshFile> writtenSidecar(const std::shared_ptr<const Root>& root, const std::string& text,
    bool readItBack, const std::shared_ptr<Heartbeat>& heartbeat)
{
    FreshFile fresh = freshFor(text);
    if (const auto written = writeNewDurably(*root, fresh.temporary, text); !written) {
        removeTemporaries(*root, {fresh.temporary});
        return std::unexpected(written.error());
    }
    heartbeat->beat();
    if (readItBack) {
        const auto digest = coldDigest({.root = root,
            .relative = fresh.temporary,
            .expectedSize = fresh.content.size,
            .heartbeat = heartbeat});
        if (!digest || *digest != fresh.content) {
            removeTemporaries(*root, {fresh.temporary});
            return std::unexpected(EIO);
        }
    }
    return fresh;
}

} // namespace

void removeTemporaries(const Root& root, const std::vector<DiskPath>& temporaries)
{
    for (const DiskPath& temporary : temporaries) {
        std::ignore = root.unlink(temporary); // see above
    }
}

CallResult<FreshFile> writeSidecar(const std::shared_ptr<const Root>& root, const std::string& text,
    bool readItBack, const std::shared_ptr<Heartbeat>& heartbeat)
{
    auto fresh = writtenSidecar(root, text, readItBack, heartbeat);
    const bool isWorthATry = !fresh && fresh.error() == EIO && !heartbeat->gaveUp();
    return isWorthATry ? writtenSidecar(root, text, readItBack, heartbeat) : fresh;
}

void SaveStages::commit(CommitGroup& group)
{
    using Stage = void (SaveStages::*)(CommitGroup&);
    for (const Stage stage : {&SaveStages::writeSidecars, &SaveStages::sync, &SaveStages::readBack,
             &SaveStages::rename, &SaveStages::syncFolders, &SaveStages::record}) {
        if (!group.goesOn()) {
            return;
        }
        (this->*stage)(group);
    }
}

void SaveStages::writeSidecars(CommitGroup& group)
{
    const std::vector<std::size_t> positions = aliveIn(group);
    std::vector<std::size_t> items;
    for (const std::size_t position : positions) {
        items.push_back(group.items[position].index);
    }
    using Fresh = std::vector<Written<FreshFile>>;
    const auto written = onDestination(*context_, group,
        [context = context_, items = std::move(items)](const std::shared_ptr<Heartbeat>& heartbeat) {
            Fresh result;
            for (const std::size_t item : items) {
                heartbeat->beat();
                const std::string text = context->sidecars->text(item);
                FreshFile fresh = freshFor(text);
                if (const auto done = writeNew(*context->root, fresh.temporary, text); !done) {
                    removeTemporaries(*context->root, {fresh.temporary});
                    result.push_back(failed(done.error(), *context->destinationWatch));
                    break;
                }
                result.push_back(std::move(fresh));
            }
            return result;
        });
    for (std::size_t i = 0; written && i < written->size(); ++i) {
        if (const auto& fresh = (*written)[i]) {
            group.items[positions[i]].freshSidecar = *fresh;
        } else {
            group.cutFrom(positions[i], stopAt(fresh.error()));
        }
    }
}

void SaveStages::sync(CommitGroup& group)
{
    const std::vector<FreshOf> files = freshFilesOf(group);
    const auto synced =
        severalOnDestination(*context_, group, {.count = files.size(), .atOnce = context_->syncsAtOnce},
            [context = context_, fresh = filesAlone(files)](
                std::size_t number, const std::shared_ptr<Heartbeat>& heartbeat) -> Written<Unit> {
                if (heartbeat->gaveUp()) {
                    return std::unexpected(DestinationError{.code = ECANCELED});
                }
                if (const auto done = syncFile(*context->root, fresh[number].temporary); !done) {
                    return failed(done.error(), *context->destinationWatch);
                }
                return Unit{};
            });
    for (std::size_t i = 0; synced && i < files.size(); ++i) {
        if (!(*synced)[i]) {
            group.cutFrom(files[i].position, stopAt((*synced)[i].error()));
        }
    }
}

void SaveStages::readBack(CommitGroup& group)
{
    if (!context_->settings.verifyCopies) {
        return;
    }
    const std::vector<FreshOf> files = freshFilesOf(group);
    const bool isAnyLarge =
        std::ranges::any_of(files, [](const FreshOf& one) { return one.file.content.size > largeToRead; });
    const std::size_t readers = isAnyLarge ? context_->largeReadsAtOnce : context_->smallReadsAtOnce;
    const auto matches = severalOnDestination(*context_, group, {.count = files.size(), .atOnce = readers},
        [context = context_, fresh = filesAlone(files)](
            std::size_t number, const std::shared_ptr<Heartbeat>& heartbeat) -> Written<bool> {
            const FreshFile& file = fresh[number];
            const auto digest = coldDigest({.root = context->root,
                .relative = file.temporary,
                .expectedSize = file.content.size,
                .heartbeat = heartbeat,
                .cancel = context->steps->cancel(),
                .clock = context->steps->clock()});
            if (!digest && digest.error().kind == ColdReadFailure::Kind::stopped) {
                return std::unexpected(DestinationError{.code = ECANCELED});
            }
            if (!digest && !context->destinationWatch->isStillThere()) {
                return failed(digest.error().code, *context->destinationWatch);
            }
            const bool isSame = digest && *digest == file.content;
            if (!isSame) {
                removeTemporaries(*context->root, {file.temporary});
            }
            return isSame;
        });
    for (std::size_t i = 0; matches && i < files.size(); ++i) {
        const FreshOf& file = files[i];
        const Written<bool>& isSame = (*matches)[i];
        if (!isSame) {
            group.cutFrom(file.position, stopAt(isSame.error()));
            return;
        }
        if (file.part == nullptr) {
            if (!*isSame && group.items[file.position].isAlive()) {
                writeSidecarAgain(group, file.position);
            }
            continue;
        }
        mismatchesInARow_ = *isSame ? 0 : mismatchesInARow_ + 1;
        if (!*isSame) {
            file.part->cause = SkipCause{.reason = SkipReason::mismatch};
        }
        if (mismatchesInARow_ >= mostMismatchesInARow) {
            group.cutFrom(file.position,
                {.state = ExportOutcome::Failed{
                     .reason = "the disk you are saving to does not keep what is written to it"}});
            return;
        }
    }
}

/// A sidecar's text is here and not on a sick disk: it is worth another try.
void SaveStages::writeSidecarAgain(CommitGroup& group, std::size_t position)
{
    SavingItem& item = group.items[position];
    auto written = onDestination(*context_, group,
        [context = context_, index = item.index](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Written<FreshFile> {
            auto fresh = writtenSidecar(context->root, context->sidecars->text(index), true, heartbeat);
            if (!fresh) {
                return failed(fresh.error(), *context->destinationWatch);
            }
            return *fresh;
        });
    if (written && *written) {
        item.freshSidecar = **written;
    } else if (written) {
        group.cutFrom(position, stopAt(written->error()));
    }
}

void SaveStages::rename(CommitGroup& group)
{
    struct Task {
        std::size_t item = 0;
        std::vector<std::optional<FreshFile>> files{};
        FreshFile sidecar{};
    };
    struct Done {
        PlacedFiles files{};
        std::optional<FilePlacer::PlacedSidecar> sidecar{};
    };
    const std::vector<std::size_t> positions = aliveIn(group);
    std::vector<Task> tasks;
    for (const std::size_t position : positions) {
        const SavingItem& item = group.items[position];
        Task task{.item = item.index, .sidecar = item.freshSidecar};
        for (const FilePart& part : item.parts) {
            task.files.push_back(
                part.isAlive() ? std::optional(FreshFile{part.temporary, part.content}) : std::nullopt);
        }
        tasks.push_back(std::move(task));
    }
    const auto placed = onDestination(*context_, group,
        [context = context_, tasks = std::move(tasks)](const std::shared_ptr<Heartbeat>& heartbeat) {
            std::vector<Written<Done>> result;
            for (const Task& task : tasks) {
                auto files = context->placer->placeFiles(task.item, task.files, heartbeat);
                if (!files) {
                    result.push_back(failed(files.error(), *context->destinationWatch));
                    break;
                }
                for (std::size_t i = 0; i < task.files.size(); ++i) {
                    const bool hasPath = files->paths[i] && *files->paths[i];
                    if (task.files[i] && !hasPath) {
                        removeTemporaries(*context->root, {task.files[i]->temporary});
                    }
                }
                Done done{.files = std::move(*files)};
                if (*done.files.paths.front()) {
                    auto sidecar = context->placer->placeSidecar(task.sidecar, done.files.sidecar, heartbeat);
                    if (!sidecar) {
                        result.push_back(failed(sidecar.error(), *context->destinationWatch));
                        break;
                    }
                    done.sidecar = std::move(*sidecar);
                }
                if (!done.sidecar) {
                    removeTemporaries(*context->root, {task.sidecar.temporary});
                }
                result.push_back(std::move(done));
            }
            return result;
        });
    for (std::size_t i = 0; placed && i < placed->size(); ++i) {
        SavingItem& item = group.items[positions[i]];
        if (!(*placed)[i]) {
            group.cutFrom(positions[i], stopAt((*placed)[i].error()));
            return;
        }
        const auto& [files, sidecar] = *(*placed)[i];
        for (std::size_t k = 0; k < item.parts.size(); ++k) {
            const auto& path = files.paths[k];
            if (path && *path) {
                item.parts[k].path = **path;
            } else if (path) {
                item.parts[k].cause = SkipCause{.reason = path->error()};
            }
        }
        item.hasSidecar = sidecar.has_value();
        item.sidecar = sidecar ? sidecar->path : std::string();
        group.setAside += files.setAside + (sidecar ? sidecar->setAside : 0);
    }
}

void SaveStages::syncFolders(CommitGroup& group)
{
    std::vector<std::string> folders; // each once, however many items of the group it got
    std::vector<std::size_t> first;   // the position of the first of them
    for (const std::size_t position : aliveIn(group)) {
        std::string folder = folderOf(group.items[position].parts.front().path);
        if (std::ranges::find(folders, folder) == folders.end()) {
            folders.push_back(std::move(folder));
            first.push_back(position);
        }
    }
    const auto synced =
        severalOnDestination(*context_, group, {.count = folders.size(), .atOnce = context_->syncsAtOnce},
            [context = context_, folders](
                std::size_t number, const std::shared_ptr<Heartbeat>& /*heartbeat*/) -> Written<Unit> {
                if (const auto done = context->root->syncFolder(folders[number]); !done) {
                    return failed(done.error(), *context->destinationWatch);
                }
                return Unit{};
            });
    for (std::size_t i = 0; synced && i < synced->size(); ++i) {
        if (!(*synced)[i]) {
            group.cutFrom(first[i], stopAt((*synced)[i].error()));
            return;
        }
    }
}

void SaveStages::record(CommitGroup& group)
{
    std::string lines;
    for (SavingItem& item : group.items) {
        JournalEntry entry{.sidecar = item.sidecar};
        for (const FilePart& part : item.parts) {
            if (part.isAlive()) {
                entry.files.push_back(
                    {.path = part.path, .size = part.content.size, .sha256 = part.content.sha256});
            }
        }
        // What an earlier run recorded of it stands where this one got less; a photo without its sidecar is
        // saved again.
        const bool isLess = item.earlier && entry.files.size() < item.earlier->paths.size();
        if (!item.isAlive() || !item.hasSidecar || isLess) {
            continue;
        }
        entry.key = context_->plan->items[item.index].files.front().relativePath;
        lines += journalLine(entry);
    }
    if (lines.empty()) {
        return;
    }
    const auto added = onDestination(
        *context_, group, [context = context_, lines](const std::shared_ptr<Heartbeat>&) -> Written<Unit> {
            if (const auto done = context->journal->add(lines); !done) {
                return failed(done.error(), *context->destinationWatch);
            }
            return Unit{};
        });
    if (added && !*added) {
        group.cutFrom(0, stopAt(added->error()));
    }
}

} // namespace vantorel
