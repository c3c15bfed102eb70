#include "export/CopyStage.h"

#include "export/DigestBehind.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <tuple>

namespace vantorel {

namespace {

constexpr int mostFailuresInARow = 8;
constexpr int mostSilentInARow = 2; ///< Files, each silent also at its second try.
constexpr std::int64_t mostBytesOnFat = 4'294'967'295;

/// Opens a folder outside the library; ELOOP where a component of its path is a link.
CallResult<std::shared_ptr<const Root>> openOutside(
    const std::shared_ptr<const SystemCalls>& calls, const DiskPath& folder)
{
    DiskPath walked;
    std::optional<FileStatus> last;
    for (const DiskPath& component : folder) {
        walked /= component;
        const auto status = calls->status(walked, SystemCalls::Links::notFollowed);
        if (!status) {
            return std::unexpected(status.error());
        }
        if (status->type == FileStatus::Type::link) {
            return std::unexpected(ELOOP);
        }
        last = *status;
    }
    auto root = Root::open(calls, folder, SystemCalls::Links::notFollowed);
    if (!root) {
        return root;
    }
    const auto opened = (*root)->status({});
    const bool isSame = opened && last && opened->device == last->device && opened->inode == last->inode;
    return isSame ? root : std::unexpected(opened ? ELOOP : opened.error()); // exchanged meanwhile
}

/// The source as it looks after a failure, and whether its volume is still there.
struct SourceLook {
    std::optional<FileStatus> status;
    bool volumeIsThere = true;
};

/// The end of a copy on its worker.
struct CopyEnd {
    std::expected<ChunkCopy::Copied, ChunkCopy::Failure> copied;
    std::string sha256;
    DestinationError writeError{};
};

/// Everything that one copy needs on its worker.
struct CopyWork {
    std::shared_ptr<const SavingContext> context;
    ChunkCopy::Request request;
    std::int64_t expectedSize = 0;
    std::shared_ptr<DigestBehind> digest{};

    CopyEnd operator()(const std::shared_ptr<Heartbeat>& heartbeat)
    {
        request.heartbeat = heartbeat;
        const ChunkCopy::Place destination = request.destination;
        CopyEnd end{.copied = ChunkCopy::run(context->steps->clock(), std::move(request)), .sha256 = {}};
        if (!end.copied) {
            if (end.copied.error().kind == ChunkCopy::Failure::Kind::write) {
                end.writeError = destinationError(end.copied.error().code, *context->destinationWatch);
            }
            return end;
        }
        end.sha256 = digest->finish();
        if (end.copied->bytes != expectedSize) {
            std::ignore = destination.root->unlink(destination.relative); // goes with the folder otherwise
        }
        return end;
    }
};

} // namespace

CommitGroup CopyStage::run(CommitGroup& group)
{
    const auto begin = steps_->clock()->uptime();
    for (std::size_t i = 0; i < group.items.size(); ++i) {
        if (i > 0 && steps_->clock()->uptime() - begin > context_->settings.group.time) {
            const auto left = group.items.begin() + static_cast<std::ptrdiff_t>(i);
            CommitGroup rest;
            rest.items.assign(std::make_move_iterator(left), std::make_move_iterator(group.items.end()));
            group.items.erase(left, group.items.end());
            return rest;
        }
        if (const auto stop = copy(group.items[i])) {
            group.cutFrom(i, *stop);
            return {};
        }
    }
    return {};
}

std::optional<RunStop> CopyStage::copy(SavingItem& item)
{
    const PlannedItem& planned = context_->plan->items[item.index];
    context_->box->begin(item.index, context_->sidecars->name(item.index));
    steps_->tellProgress();
    item.parts.resize(planned.files.size());
    for (std::size_t file = 0; file < item.parts.size(); ++file) {
        if (file > 0 && !item.isAlive()) {
            item.parts[file].cause = item.parts.front().cause;
            continue;
        }
        if (const auto stop = copy(item.index, file, item.parts[file])) {
            return stop;
        }
    }
    return std::nullopt;
}

std::optional<RunStop> CopyStage::copy(std::size_t item, std::size_t file, FilePart& part)
{
    const PlannedFile& planned = context_->plan->items[item].files[file];
    if (context_->destinationIsFat && planned.size > mostBytesOnFat) {
        part.cause = SkipCause{.reason = SkipReason::tooLarge};
        return std::nullopt;
    }
    auto tried = copyOnce(item, planned, context_->settings.stallTimeout);
    const bool isSilent =
        !tried && !tried.error().stop && tried.error().cause == SkipCause{.reason = SkipReason::silent};
    if (isSilent) {
        // The reason stands should the run end before the second try does.
        part.cause = tried.error().cause;
        tried =
            copyOnce(item, planned, std::min(context_->settings.stallTimeout, DiskPatience::exportSecondTry));
        if (!tried && tried.error().cause == part.cause) {
            tried.error().cause = SkipCause{.reason = SkipReason::silentTwice};
        }
    }
    if (!tried && tried.error().stop) {
        return tried.error().stop;
    }
    part.cause.reset();
    if (tried) {
        part.temporary = std::move(tried->temporary);
        part.content = std::move(tried->content);
        if (part.content.size != planned.size) {
            part.cause = SkipCause{.reason = SkipReason::sizeChanged};
        }
        return noted(std::nullopt);
    }
    part.cause = tried.error().cause;
    return noted(part.cause);
}

/// Counts what the library's disk failed on, one file after another; a stop when that is enough.
std::optional<RunStop> CopyStage::noted(const std::optional<SkipCause>& cause)
{
    const bool hasFailed = cause && isDiskFailure(*cause);
    const bool wasSilent = cause && cause->reason == SkipReason::silentTwice;
    failuresInARow_ = hasFailed ? failuresInARow_ + 1 : 0;
    silentInARow_ = wasSilent ? silentInARow_ + 1 : 0;
    if (silentInARow_ >= mostSilentInARow) {
        return RunStop{.state = ExportOutcome::Stalled{}};
    }
    if (failuresInARow_ >= mostFailuresInARow) {
        return RunStop{.state = ExportOutcome::SourceFailing{}};
    }
    return std::nullopt;
}

CopyStage::Try CopyStage::copyOnce(std::size_t item, const PlannedFile& file, Seconds stallLimit)
{
    const auto source = placeOf(file);
    if (!source) {
        return std::unexpected(source.error());
    }
    const DiskPath temporary = freshTemporary();
    const auto counted = std::make_shared<std::atomic<std::int64_t>>(0);
    CopyWork work{.context = context_,
        .request = {},
        .expectedSize = file.size,
        .digest = std::make_shared<DigestBehind>(steps_->clock(), file.size)};
    work.request.source = *source;
    work.request.destination = {.root = context_->root, .relative = temporary};
    work.request.stallLimit = stallLimit;
    work.request.cancel = steps_->cancel();
    work.request.uncachedDestination = true;
    work.request.syncAtEnd = false; // the next stage does, for the whole group
    work.request.keepModified = true;
    work.request.hooks.onSilence = [box = context_->box](bool waiting) { box->setWaiting(waiting); };
    work.request.hooks.afterChunk = [context = context_, digest = work.digest, counted, item](
                                        std::span<const std::byte> bytes) {
        digest->add(bytes);
        *counted += static_cast<std::int64_t>(bytes.size());
        context->box->chunk(item, static_cast<std::int64_t>(bytes.size()));
        if (context->settings.hooks.afterChunk) {
            context->box->observe(context->settings.hooks.afterChunk);
        }
    };
    if (context_->settings.hooks.readFault) {
        work.request.hooks.readFault = [context = context_, path = file.source](
                                           std::int64_t offset, std::size_t size) {
            std::optional<int> fault;
            context->box->observe([&] { fault = context->settings.hooks.readFault(path, offset, size); });
            return fault;
        };
    }

    const auto end = steps_->run(DiskPatience::destinationWrite, std::move(work));
    if (end && end->copied) {
        return Copied{.temporary = temporary, .content = {.size = end->copied->bytes, .sha256 = end->sha256}};
    }
    context_->box->chunk(item, -counted->load());
    if (!end) {
        return std::unexpected(Trouble{.stop = stopOf(end.error())});
    }
    using Kind = ChunkCopy::Failure::Kind;
    const ChunkCopy::Failure& failure = end->copied.error();
    if (failure.kind == Kind::cancelled || failure.kind == Kind::abandoned) {
        return std::unexpected(Trouble{.stop = RunStop{.state = ExportOutcome::Cancelled{}}});
    }
    if (failure.kind == Kind::write && failure.code == EFBIG) {
        return std::unexpected(Trouble{.cause = SkipCause{.reason = SkipReason::tooLarge}});
    }
    if (failure.kind == Kind::write) {
        return std::unexpected(Trouble{.stop = stopOf(end->writeError)});
    }
    return std::unexpected(judgedRead(*source, failure));
}

/// Where a file of the plan lies: in the library, or elsewhere.
std::expected<ChunkCopy::Place, CopyStage::Trouble> CopyStage::placeOf(const PlannedFile& file)
{
    if (!file.source.is_absolute()) {
        return ChunkCopy::Place{.root = context_->library, .relative = file.source};
    }
    const DiskPath folder = file.source.parent_path();
    if (!outside_ || outsidePath_ != folder) {
        const auto opened = steps_->run(context_->settings.stallTimeout,
            [calls = context_->calls, folder](
                const std::shared_ptr<Heartbeat>&) { return openOutside(calls, folder); });
        if (!opened && opened.error() == DiskSteps::Trouble::cancelled) {
            return std::unexpected(Trouble{.stop = RunStop{.state = ExportOutcome::Cancelled{}}});
        }
        if (!opened) {
            return std::unexpected(Trouble{.cause = SkipCause{.reason = SkipReason::silent}});
        }
        if (!*opened) {
            return std::unexpected(Trouble{.cause = causeOfReadError(opened->error())});
        }
        outside_ = **opened;
        outsidePath_ = folder;
    }
    return ChunkCopy::Place{.root = outside_, .relative = file.source.filename()};
}

/// Tells a link, a cloud file, a disk that is gone and a bad spot apart, by one more look.
CopyStage::Trouble CopyStage::judgedRead(const ChunkCopy::Place& source, const ChunkCopy::Failure& failure)
{
    const auto look = steps_->run(std::min(context_->settings.stallTimeout, DiskPatience::singleLook),
        [source, watch = context_->libraryWatch](const std::shared_ptr<Heartbeat>& heartbeat) {
            SourceLook seen{.status = std::nullopt, .volumeIsThere = watch->isStillThere()};
            heartbeat->beat();
            if (const auto status = source.root->status(source.relative)) {
                seen.status = *status;
            }
            return seen;
        });
    if (!look && look.error() == DiskSteps::Trouble::cancelled) {
        return {.stop = RunStop{.state = ExportOutcome::Cancelled{}}};
    }
    const SourceLook seen = look ? *look : SourceLook{}; // silent again: that says no more than before
    if (!seen.volumeIsThere) {
        return {.stop = RunStop{.state = ExportOutcome::SourceGone{}}};
    }
    if (seen.status && seen.status->type == FileStatus::Type::link) {
        return {.cause = SkipCause{.reason = SkipReason::link}};
    }
    const bool isOther = seen.status && seen.status->type != FileStatus::Type::regular;
    if (isOther || failure.kind == ChunkCopy::Failure::Kind::notRegular) {
        return {.cause = SkipCause{.reason = SkipReason::notRegular}};
    }
    if (seen.status && seen.status->contentElsewhere) {
        return {.cause = SkipCause{.reason = SkipReason::inCloud}};
    }
    if (failure.kind == ChunkCopy::Failure::Kind::readHung) {
        return {.cause = SkipCause{.reason = SkipReason::silent}};
    }
    return {.cause = causeOfReadError(failure.code)};
}

} // namespace vantorel
