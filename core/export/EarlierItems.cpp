#include "export/EarlierItems.h"

#include "disk/AtOnce.h"
#include "disk/ChunkBuffer.h"
#include "export/SaveStages.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace vantorel {

namespace {

using Found = EarlierItems::Found;

/// What is read before conclusions are drawn: enough for several readers, and little for a stop.
constexpr std::size_t mostLookedAt = 256;
constexpr std::int64_t mostBytesLookedAt = 64'000'000;

bool isInBookkeeping(const std::string& path)
{
    return path == bookkeeping::folder || path.starts_with(std::string(bookkeeping::folder) + "/");
}

/// Whether a journal's line can be about the item: written for this plan, by a run like this one.
bool fits(const JournalEntry& entry, const PlannedItem& item)
{
    const bool isAnyInBookkeeping = std::ranges::any_of(
        entry.files, [](const ExportJournalFile& file) { return isInBookkeeping(file.path); });
    return entry.files.size() <= item.files.size() && !isAnyInBookkeeping && !isInBookkeeping(entry.sidecar);
}

ReportRow rowOf(const PlannedItem& item, const JournalEntry& entry)
{
    ReportRow row = reportRow(item, entry.sidecar);
    for (const ExportJournalFile& file : entry.files) {
        row.hashes.push_back(file.sha256);
        row.paths.push_back(file.path);
        row.sizes.push_back(file.size);
    }
    return row;
}

/// Where an item's look fails, the run ends; `ECANCELED` is the user's stop.
using Looked = std::expected<EarlierItems::Look, DestinationError>;

/// The look at several items on workers; owns all that it touches and changes nothing.
struct EarlierLook {
    struct Task {
        std::size_t item = 0;
        JournalEntry entry{};
        bool isComplete = false; ///< All files of the plan were saved.
    };
    std::shared_ptr<const SavingContext> context;
    std::vector<Task> tasks;

    Looked operator()(std::size_t number, const std::shared_ptr<Heartbeat>& heartbeat) const
    {
        const Task& task = tasks[number];
        EarlierItems::Look look;
        for (const ExportJournalFile& file : task.entry.files) {
            const auto found = lookedAt(task.item, file, heartbeat);
            if (!found) {
                return std::unexpected(found.error());
            }
            look.files.push_back(*found);
        }
        const bool areWhole =
            std::ranges::all_of(look.files, [](Found one) { return one == Found::matching; });
        if (areWhole && task.isComplete) {
            const std::string text = context->sidecars->text(task.item);
            const auto standing = readWhole(*context->root, task.entry.sidecar, text.size(), heartbeat.get());
            look.sidecarMatches = standing && *standing == text;
        }
        return look;
    }

private:
    std::expected<Found, DestinationError> lookedAt(
        std::size_t item, const ExportJournalFile& file, const std::shared_ptr<Heartbeat>& heartbeat) const
    {
        const auto digest = coldDigest({.root = context->root,
            .relative = file.path,
            .expectedSize = file.size,
            .heartbeat = heartbeat,
            .cancel = context->steps->cancel(),
            .afterChunk = [this, item](std::int64_t bytes) { context->box->chunk(item, bytes); },
            .clock = context->steps->clock()});
        if (digest) {
            return *digest == FileDigest{.size = file.size, .sha256 = file.sha256} ? Found::matching
                                                                                   : Found::different;
        }
        using Kind = ColdReadFailure::Kind;
        if (digest.error().kind == Kind::stopped) {
            return std::unexpected(DestinationError{.code = ECANCELED});
        }
        const bool isError = digest.error().kind == Kind::error;
        if (isError && FS::kindOfFailure(digest.error().code) == FS::Kind::missing) {
            return Found::missing;
        }
        const DestinationError error = destinationError(digest.error().code, *context->destinationWatch);
        if (isError && !error.volumeIsThere) {
            return std::unexpected(error);
        }
        return Found::different; // unreadable: nothing relies on it
    }
};

/// The conclusions for one item, on its worker; owns all that it touches.
struct EarlierCheck {
    std::shared_ptr<const SavingContext> context;
    std::size_t item = 0;
    JournalEntry entry;
    EarlierItems::Look look;
    ItemNames planned;
    std::string sidecarText;
    std::shared_ptr<Heartbeat> heartbeat{};

    using Result = std::expected<EarlierItems::Checked, DestinationError>;

    Result operator()(const std::shared_ptr<Heartbeat>& beating)
    {
        heartbeat = beating;
        const PlannedItem& plan = context->plan->items[item];
        EarlierItems::Checked checked{.row = rowOf(plan, entry)};
        if (!std::ranges::all_of(look.files, [](Found one) { return one == Found::matching; })) {
            return madeRoom(std::move(checked), look.files);
        }
        if (entry.files.size() == plan.files.size()) {
            checked.state = EarlierItems::Checked::State::whole;
            return withSidecar(std::move(checked));
        }
        checked.state = EarlierItems::Checked::State::partly;
        // The fresh copies of what is there already may replace it.
        for (const ExportJournalFile& file : entry.files) {
            if (isPlannedPath(file.path)) {
                context->names->takeBack(file.path);
            }
        }
        if (entry.sidecar == planned.sidecar) {
            context->names->takeBack(entry.sidecar);
        }
        return checked;
    }

private:
    bool isPlannedPath(const std::string& path) const
    {
        return std::ranges::find(planned.files, path) != planned.files.end();
    }

    std::unexpected<DestinationError> failed(int code) const
    {
        return std::unexpected(destinationError(code, *context->destinationWatch));
    }

    /// The item is saved again: its old files are kept where they would be in the way or in nobody's report.
    /// An equal one under its planned name is replaced by the fresh copy.
    Result madeRoom(EarlierItems::Checked checked, const std::vector<Found>& found) const
    {
        for (std::size_t i = 0; i < found.size(); ++i) {
            const std::string& path = entry.files[i].path;
            const bool isPlanned = isPlannedPath(path);
            const bool mayStay = found[i] == Found::matching && isPlanned;
            if (found[i] != Found::missing && !mayStay) {
                const auto isAside = context->placer->setAside(path);
                if (!isAside) {
                    return failed(isAside.error());
                }
                checked.setAside += *isAside ? 1 : 0;
            }
            context->names->takeBack(path);
        }
        const bool sidecarIsElsewhere =
            entry.sidecar != planned.sidecar && context->root->kind(entry.sidecar) == FS::Kind::regular;
        if (sidecarIsElsewhere) {
            const auto isAside = context->placer->setAside(entry.sidecar);
            if (!isAside) {
                return failed(isAside.error());
            }
            checked.setAside += *isAside ? 1 : 0;
        }
        context->names->takeBack(entry.sidecar);
        checked.state = EarlierItems::Checked::State::notUsed;
        return checked;
    }

    Result withSidecar(EarlierItems::Checked checked) const
    {
        const auto standing = readWhole(*context->root, entry.sidecar, sidecarText.size(), heartbeat.get());
        if (standing && *standing == sidecarText) {
            return checked;
        }
        if (standing || FS::kindOfFailure(standing.error()) != FS::Kind::missing) {
            const auto isAside = context->placer->setAside(entry.sidecar);
            if (!isAside) {
                return failed(isAside.error());
            }
            checked.setAside += *isAside ? 1 : 0;
        }
        const auto fresh =
            writeSidecar(context->root, sidecarText, context->settings.verifyCopies, heartbeat);
        if (!fresh) {
            return failed(fresh.error());
        }
        const auto placed = context->placer->placeSidecar(*fresh, entry.sidecar, heartbeat);
        if (!placed) {
            return failed(placed.error());
        }
        if (!*placed) {
            removeTemporaries(*context->root, {fresh->temporary});
            return failed(EINVAL); // the disk took this very name before
        }
        if (const auto synced = context->root->syncFolder(folderOf((*placed)->path)); !synced) {
            return failed(synced.error());
        }
        if ((*placed)->path != entry.sidecar) {
            JournalEntry moved = entry;
            moved.sidecar = (*placed)->path;
            if (const auto added = context->journal->add(journalLine(moved)); !added) {
                return failed(added.error());
            }
        }
        checked.row.sidecar = (*placed)->path;
        checked.setAside += (*placed)->setAside;
        return checked;
    }
};

} // namespace

EarlierItems::EarlierItems(
    std::shared_ptr<const SavingContext> context, const std::vector<JournalEntry>& journal)
    : context_(std::move(context))
{
    std::unordered_map<std::string_view, const JournalEntry*> byKey;
    for (const JournalEntry& entry : journal) {
        byKey.insert_or_assign(entry.key, &entry);
    }
    std::unordered_set<std::string_view> claimed;
    for (std::size_t item = 0; item < context_->plan->items.size(); ++item) {
        const PlannedItem& planned = context_->plan->items[item];
        const auto found = byKey.find(planned.files.front().relativePath);
        if (found == byKey.end() || !fits(*found->second, planned)) {
            continue;
        }
        // Two lines about one file are no journal of ours: what became of the file would hang on their order.
        std::vector<std::string_view> paths{found->second->sidecar};
        for (const ExportJournalFile& file : found->second->files) {
            paths.emplace_back(file.path);
        }
        if (std::ranges::any_of(paths, [&](std::string_view path) { return claimed.contains(path); })) {
            continue;
        }
        for (const std::string_view path : paths) {
            claimed.insert(path);
            context_->names->give(std::string(path));
        }
        entries_.emplace(item, *found->second);
    }
}

ReportRow EarlierItems::recorded(std::size_t item) const
{
    return rowOf(context_->plan->items[item], entries_.at(item));
}

std::expected<void, RunStop> EarlierItems::lookAt(std::span<const std::size_t> items)
{
    EarlierLook looking{.context = context_, .tasks = {}};
    std::int64_t bytes = 0;
    bool isAnyLarge = false;
    for (const std::size_t item : items) {
        if (looking.tasks.size() >= mostLookedAt || bytes >= mostBytesLookedAt) {
            break;
        }
        const auto found = entries_.find(item);
        if (found == entries_.end() || wasLookedAt(item)) {
            continue;
        }
        for (const ExportJournalFile& file : found->second.files) {
            bytes = sumOfSizes(bytes, file.size);
            isAnyLarge = isAnyLarge || file.size > static_cast<std::int64_t>(ChunkBuffer::size);
        }
        looking.tasks.push_back({.item = item,
            .entry = found->second,
            .isComplete = found->second.files.size() == context_->plan->items[item].files.size()});
    }
    std::vector<std::size_t> asked;
    asked.reserve(looking.tasks.size());
    for (const auto& task : looking.tasks) {
        asked.push_back(task.item);
    }
    const Spread spread{.count = asked.size(),
        .atOnce = isAnyLarge ? context_->largeReadsAtOnce : context_->smallReadsAtOnce};
    auto looked = context_->steps->run(DiskPatience::destinationWrite,
        [clock = context_->steps->clock(), spread, looking = std::move(looking)](
            const std::shared_ptr<Heartbeat>& heartbeat) {
            return atOnce(clock, heartbeat, spread,
                [looking, heartbeat](std::size_t number) { return looking(number, heartbeat); });
        });
    if (!looked || !*looked) {
        return std::unexpected(stopOf(looked ? context_->steps->whyNone() : looked.error()));
    }
    for (std::size_t i = 0; i < asked.size(); ++i) {
        Looked& look = (**looked)[i];
        if (!look) {
            return std::unexpected(look.error().code == ECANCELED
                    ? RunStop{.state = ExportOutcome::Cancelled{}}
                    : stopOf(look.error()));
        }
        looks_[asked[i]] = std::move(*look);
    }
    return {};
}

bool EarlierItems::isWholeAsItIs(std::size_t item, const Look& look) const
{
    const bool areWhole = std::ranges::all_of(look.files, [](Found one) { return one == Found::matching; });
    return areWhole && look.sidecarMatches && look.files.size() == context_->plan->items[item].files.size();
}

std::expected<EarlierItems::Checked, RunStop> EarlierItems::check(std::size_t item)
{
    Look look = std::move(looks_.at(item));
    looks_.erase(item);
    if (isWholeAsItIs(item, look)) {
        return Checked{.state = Checked::State::whole, .row = recorded(item)};
    }
    const auto done = context_->steps->run(DiskPatience::destinationWrite,
        EarlierCheck{
            .context = context_,
            .item = item,
            .entry = entries_.at(item),
            .look = std::move(look),
            .planned = context_->names->planned(item),
            .sidecarText = context_->sidecars->text(item),
        });
    if (!done) {
        return std::unexpected(stopOf(done.error()));
    }
    if (!*done) {
        return std::unexpected(done->error().code == ECANCELED ? RunStop{.state = ExportOutcome::Cancelled{}}
                                                               : stopOf(done->error()));
    }
    return **done;
}

} // namespace vantorel
