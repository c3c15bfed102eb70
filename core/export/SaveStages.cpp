#include "export/SaveStages.h"

#include "base/Digest.h"

#include <cerrno>
#include <set>
#include <tuple>

#include <fcntl.h>

namespace vantorel {

namespace {

/// A disk that answers but keeps nothing would otherwise cost a copy of every file.
constexpr int mostMismatchesInARow = 8;

template <typename T>
using Written = std::expected<T, DestinationError>;

/// One step on the destination, for a group: its result, or the group is stopped.
template <typename Work>
auto onDestination(const SavingContext& context, CommitGroup& group, Work work)
    -> std::optional<typename std::invoke_result_t<Work&, const std::shared_ptr<Heartbeat>&>::value_type>
{
    auto done = context.steps->run(DiskPatience::destinationWrite, std::move(work));
    if (!done) {
        group.stop = stopOf(done.error());
        return std::nullopt;
    }
    if (!*done) {
        group.stop = done->error().code == ECANCELED ? RunStop{.state = ExportOutcome::Cancelled{}}
                                                     : stopOf(done->error());
        return std::nullopt;
    }
    return std::move(**done);
}

/// The error as a result of a step.
std::unexpected<DestinationError> failed(int code, const VolumeWatch& watch)
{
    return std::unexpected(destinationError(code, watch));
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

CallResult<void> writeNew(const Root& root, const DiskPath& path, const std::string& text)
{
    auto file = root.openFile(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    if (!file) {
        return std::unexpected(file.error());
    }
    if (const auto written = writeAll(*root.calls(), file->get(), text); !written) {
        return written;
    }
    if (const auto durable = makeDurable(*root.calls(), file->get()); !durable) {
        return durable;
    }
    return file->close();
}

/// One try; a read-back that differs is `EIO`.
CallResult<FreshFile> writtenSidecar(const std::shared_ptr<const Root>& root, const std::string& text,
    bool readItBack, const std::shared_ptr<Heartbeat>& heartbeat)
{
    FreshFile fresh{
        .temporary = freshTemporary(),
        .content = {.size = static_cast<std::int64_t>(text.size()), .sha256 = sha256(text)},
    };
    if (const auto written = writeNew(*root, fresh.temporary, text); !written) {
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

void SaveStages::sync(CommitGroup& group)
{
    std::vector<DiskPath> temporaries;
    for (const SavingItem& item : group.items) {
        for (const FilePart& part : item.parts) {
            if (item.isAlive() && part.isAlive()) {
                temporaries.push_back(part.temporary);
            }
        }
    }
    if (temporaries.empty()) {
        return;
    }
    std::ignore = onDestination(*context_, group,
        [context = context_, temporaries](const std::shared_ptr<Heartbeat>& heartbeat) -> Written<Unit> {
            for (const DiskPath& temporary : temporaries) {
                heartbeat->beat();
                if (const auto synced = syncFile(*context->root, temporary); !synced) {
                    return failed(synced.error(), *context->destinationWatch);
                }
            }
            return Unit{};
        });
}

void SaveStages::readBack(CommitGroup& group)
{
    if (!context_->settings.verifyCopies) {
        return;
    }
    std::vector<FilePart*> parts;
    std::vector<FreshFile> files;
    for (SavingItem& item : group.items) {
        for (FilePart& part : item.parts) {
            if (item.isAlive() && part.isAlive()) {
                parts.push_back(&part);
                files.push_back({.temporary = part.temporary, .content = part.content});
            }
        }
    }
    if (files.empty()) {
        return;
    }
    using Matches = std::vector<bool>;
    const auto matches = onDestination(*context_, group,
        [context = context_, files = std::move(files)](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Written<Matches> {
            Matches result;
            for (const FreshFile& file : files) {
                const auto digest = coldDigest({.root = context->root,
                    .relative = file.temporary,
                    .expectedSize = file.content.size,
                    .heartbeat = heartbeat,
                    .cancel = context->steps->cancel()});
                if (!digest && digest.error().kind == ColdReadFailure::Kind::stopped) {
                    return std::unexpected(DestinationError{.code = ECANCELED});
                }
                if (!digest && !context->destinationWatch->isStillThere()) {
                    return failed(digest.error().code, *context->destinationWatch);
                }
                result.push_back(digest && *digest == file.content);
                if (!result.back()) {
                    removeTemporaries(*context->root, {file.temporary});
                }
            }
            return result;
        });
    for (std::size_t i = 0; matches && i < parts.size(); ++i) {
        mismatchesInARow_ = (*matches)[i] ? 0 : mismatchesInARow_ + 1;
        if (!(*matches)[i]) {
            parts[i]->cause = SkipCause{.reason = SkipReason::mismatch};
        }
        if (mismatchesInARow_ >= mostMismatchesInARow) {
            group.stop = RunStop{.state = ExportOutcome::Failed{
                                     .reason = "the disk you are saving to does not keep what is written to "
                                               "it"}};
            return;
        }
    }
}

void SaveStages::rename(CommitGroup& group)
{
    struct Task {
        std::size_t item = 0;
        std::vector<std::optional<FreshFile>> files{};
    };
    std::vector<Task> tasks;
    std::vector<SavingItem*> items;
    for (SavingItem& item : group.items) {
        if (!item.isAlive()) {
            continue;
        }
        Task task{.item = item.index};
        for (const FilePart& part : item.parts) {
            task.files.push_back(
                part.isAlive() ? std::optional(FreshFile{part.temporary, part.content}) : std::nullopt);
        }
        tasks.push_back(std::move(task));
        items.push_back(&item);
    }
    if (tasks.empty()) {
        return;
    }
    const auto placed = onDestination(*context_, group,
        [context = context_, tasks = std::move(tasks)](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Written<std::vector<PlacedFiles>> {
            std::vector<PlacedFiles> result;
            for (const Task& task : tasks) {
                auto files = context->placer->placeFiles(task.item, task.files, heartbeat);
                if (!files) {
                    return failed(files.error(), *context->destinationWatch);
                }
                for (std::size_t i = 0; i < task.files.size(); ++i) {
                    const bool hasPath = files->paths[i] && *files->paths[i];
                    if (task.files[i] && !hasPath) {
                        removeTemporaries(*context->root, {task.files[i]->temporary});
                    }
                }
                result.push_back(std::move(*files));
            }
            return result;
        });
    for (std::size_t i = 0; placed && i < items.size(); ++i) {
        SavingItem& item = *items[i];
        const PlacedFiles& files = (*placed)[i];
        item.sidecar = files.sidecar;
        group.setAside += files.setAside;
        for (std::size_t k = 0; k < item.parts.size(); ++k) {
            const auto& path = files.paths[k];
            if (path && *path) {
                item.parts[k].path = **path;
            } else if (path) {
                item.parts[k].cause = SkipCause{.reason = path->error()};
            }
        }
    }
}

void SaveStages::writeSidecars(CommitGroup& group)
{
    struct Task {
        std::string text{};
        std::string wanted{};
    };
    std::vector<Task> tasks;
    std::vector<SavingItem*> items;
    for (SavingItem& item : group.items) {
        if (item.isAlive()) {
            tasks.push_back({.text = context_->sidecars->text(item.index), .wanted = item.sidecar});
            items.push_back(&item);
        }
    }
    if (tasks.empty()) {
        return;
    }
    using Placed = std::vector<std::optional<FilePlacer::PlacedSidecar>>;
    const auto placed = onDestination(*context_, group,
        [context = context_, tasks = std::move(tasks)](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Written<Placed> {
            Placed result;
            for (const Task& task : tasks) {
                const auto fresh =
                    writeSidecar(context->root, task.text, context->settings.verifyCopies, heartbeat);
                if (!fresh) {
                    return failed(fresh.error(), *context->destinationWatch);
                }
                const auto sidecar = context->placer->placeSidecar(*fresh, task.wanted, heartbeat);
                if (!sidecar) {
                    return failed(sidecar.error(), *context->destinationWatch);
                }
                if (!*sidecar) {
                    removeTemporaries(*context->root, {fresh->temporary});
                }
                result.push_back(*sidecar);
            }
            return result;
        });
    for (std::size_t i = 0; placed && i < items.size(); ++i) {
        const auto& sidecar = (*placed)[i];
        items[i]->hasSidecar = sidecar.has_value();
        items[i]->sidecar = sidecar ? sidecar->path : std::string();
        group.setAside += sidecar ? sidecar->setAside : 0;
    }
}

void SaveStages::syncFolders(CommitGroup& group)
{
    std::set<std::string> folders; // each once, however many items of the group it got
    for (const SavingItem& item : group.items) {
        if (item.isAlive()) {
            folders.insert(folderOf(item.parts.front().path));
        }
    }
    if (folders.empty()) {
        return;
    }
    std::ignore = onDestination(*context_, group,
        [context = context_, folders](const std::shared_ptr<Heartbeat>& heartbeat) -> Written<Unit> {
            for (const std::string& folder : folders) {
                heartbeat->beat();
                if (const auto synced = context->root->syncFolder(folder); !synced) {
                    return failed(synced.error(), *context->destinationWatch);
                }
            }
            return Unit{};
        });
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
        item.isRecorded = true;
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
    for (SavingItem& item : group.items) {
        item.isRecorded = item.isRecorded && added;
    }
}

void SerialExecutor::run(const std::vector<Stage>& stages,
    const std::function<std::optional<CommitGroup>()>& next,
    const std::function<bool(CommitGroup&)>& committed) const
{
    while (auto group = next()) {
        for (const Stage& stage : stages) {
            if (!group->stop) {
                stage(*group);
            }
        }
        if (!committed(*group)) {
            return;
        }
    }
}

} // namespace vantorel
