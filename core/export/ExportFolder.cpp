#include "export/ExportFolder.h"

#include "base/Text.h"
#include "export/ExportReport.h"
#include "export/SafeNames.h"

#include <algorithm>
#include <cerrno>
#include <tuple>

namespace vantorel {

namespace {

constexpr std::int64_t mostNumbers = 100'000; // of one name; far more exports than anybody keeps in a place

std::string baseName(const std::string& libraryName)
{
    return SafeNames::clean(libraryName, "Photos Library") + " export";
}

std::string numbered(const std::string& base, std::int64_t number)
{
    return number == 1 ? base : base + " (" + std::to_string(number) + ")";
}

std::string incomplete(const std::string& base) { return base + std::string(bookkeeping::incompleteSuffix); }

CallResult<bool> isThere(const Root& root, const DiskPath& name)
{
    const auto status = root.status(name);
    if (status) {
        return true;
    }
    if (status.error() == ENOENT) {
        return false;
    }
    return std::unexpected(status.error());
}

/// The names in a folder, or the error number.
CallResult<std::vector<FS::Entry>> entriesOf(const Root& root, const DiskPath& folder, Heartbeat* heartbeat)
{
    FS::ListBox box;
    auto listing = root.list(folder, heartbeat, box);
    if (!listing) {
        return std::unexpected(listing.error().code);
    }
    if (listing->stoppedEarly) {
        return std::unexpected(listing->code);
    }
    return std::move(listing->entries);
}

/// A folder that an earlier start made and did not get beyond: nothing of the user's can be in it.
bool isOnlyBegun(const Root& destination, const std::string& folder)
{
    const auto top = entriesOf(destination, folder, nullptr);
    if (!top || top->size() > 1) {
        return false;
    }
    if (top->empty()) {
        return true;
    }
    if (top->front().name != bookkeeping::folder || top->front().kind != FS::Kind::directory) {
        return false;
    }
    const auto inner = entriesOf(destination, DiskPath(folder) / bookkeeping::folder, nullptr);
    return inner && (inner->empty() || (inner->size() == 1 && inner->front().name == "tmp"));
}

CallResult<void> makeIfMissing(const Root& root, const DiskPath& folder)
{
    const auto made = root.makeFolder(folder);
    return !made && made.error() == EEXIST ? CallResult<void>() : made;
}

CallResult<void> writeBookkeeping(const Root& root, const ExportState& state, const std::string& folderName)
{
    for (const std::string_view folder : {bookkeeping::folder, bookkeeping::temporary}) {
        if (auto made = makeIfMissing(root, folder); !made) {
            return made;
        }
    }
    if (auto written = writeDurably(root, freshTemporary(), bookkeeping::state, stateText(state)); !written) {
        return written;
    }
    // Syncs the top folder too, and with it the name of the bookkeeping folder.
    return writeDurably(root, freshTemporary(), bookkeeping::readMeUnfinished, readMeAtStart(folderName));
}

/// Removes the files of a folder of ours; what cannot be removed stays.
void removeFilesIn(const Root& root, const DiskPath& folder)
{
    const auto entries = entriesOf(root, folder, nullptr);
    if (!entries) {
        return;
    }
    for (const FS::Entry& entry : *entries) {
        if (entry.kind != FS::Kind::directory) {
            std::ignore = root.unlink(folder / entry.name); // a leftover costs space and nothing else
        }
    }
}

/// Takes back what a failed start made.
void undoStart(const Root& destination, const std::string& folderName)
{
    if (const auto root = Root::open(
            destination.calls(), destination.path() / folderName, SystemCalls::Links::notFollowed)) {
        std::ignore = (*root)->unlink(bookkeeping::readMeUnfinished); // may not be there yet
        removeBookkeeping(**root);
    }
    std::ignore = destination.removeFolder(folderName); // the start failed already
}

CallResult<std::shared_ptr<const Root>> setUp(
    const Root& destination, const ExportState& state, const std::string& folderName)
{
    auto root =
        Root::open(destination.calls(), destination.path() / folderName, SystemCalls::Links::notFollowed);
    if (!root) {
        return root;
    }
    if (auto written = writeBookkeeping(**root, state, folderName); !written) {
        return std::unexpected(written.error());
    }
    if (auto synced = destination.syncFolder({}); !synced) {
        return std::unexpected(synced.error());
    }
    return root;
}

} // namespace

DiskPath freshTemporary() { return DiskPath(bookkeeping::temporary) / (randomUuid() + ".part"); }

bool isAboutTheName(int code)
{
    return code == EINVAL || code == ENOENT || code == EILSEQ || code == ENAMETOOLONG || code == EPERM;
}

CallResult<ExportFolder> makeExportFolder(
    const Root& destination, const ExportState& state, Heartbeat& heartbeat)
{
    const std::string base = baseName(state.library);
    for (std::int64_t number = 1; number < mostNumbers && !heartbeat.gaveUp(); ++number) {
        heartbeat.beat();
        const std::string finalBase = numbered(base, number);
        const std::string folderName = incomplete(finalBase);
        const auto isTaken = isThere(destination, finalBase);
        if (!isTaken) {
            return std::unexpected(isTaken.error());
        }
        if (*isTaken) {
            continue;
        }
        const auto made = destination.makeFolder(folderName);
        const bool isBegun = !made && made.error() == EEXIST && isOnlyBegun(destination, folderName);
        if (!made && !isBegun && made.error() == EEXIST) {
            continue;
        }
        if (!made && !isBegun) {
            return std::unexpected(made.error());
        }
        auto root = setUp(destination, state, folderName);
        if (!root) {
            undoStart(destination, folderName);
            return std::unexpected(root.error());
        }
        return ExportFolder{.root = std::move(*root), .finalBase = finalBase};
    }
    return std::unexpected(EEXIST);
}

CallResult<void> prepareContinued(const Root& root, const ExportState& state, const std::string& folderName,
    bool stateDiffers, Heartbeat& heartbeat)
{
    if (auto made = makeIfMissing(root, bookkeeping::temporary); !made) {
        return made;
    }
    removeFilesIn(root, bookkeeping::temporary);
    heartbeat.beat();
    if (stateDiffers) {
        if (auto written = writeDurably(root, freshTemporary(), bookkeeping::state, stateText(state));
            !written) {
            return written;
        }
    }
    heartbeat.beat();
    return writeDurably(root, freshTemporary(), bookkeeping::readMeUnfinished, readMeAtStart(folderName));
}

CallResult<FinalName> giveFinalName(const Root& destination, const std::string& folderName,
    const std::string& finalBase, const std::string& libraryName, const Heartbeat& heartbeat)
{
    const std::string base = baseName(libraryName);
    for (std::int64_t number = 1; number < mostNumbers; ++number) {
        if (heartbeat.gaveUp()) {
            return std::unexpected(ECANCELED);
        }
        const std::string name = number == 1 ? finalBase : numbered(base, number);
        if (number > 1) {
            const auto isTaken = isThere(destination, incomplete(name));
            if (!isTaken) {
                return std::unexpected(isTaken.error());
            }
            if (*isTaken && incomplete(name) != folderName) {
                continue;
            }
        }
        const auto renamed = destination.renameExclusive(folderName, name);
        const bool isTaken = !renamed
            && (renamed.error() == EEXIST || renamed.error() == ENOTEMPTY || renamed.error() == ENOTDIR);
        if (isTaken) {
            continue;
        }
        if (!renamed) {
            return std::unexpected(renamed.error());
        }
        return FinalName{.name = name, .isDurable = destination.syncFolder({}).has_value()};
    }
    return std::unexpected(EEXIST);
}

void removeTemporaryFiles(const Root& root) { removeFilesIn(root, bookkeeping::temporary); }

void removeBookkeeping(const Root& root)
{
    removeFilesIn(root, bookkeeping::temporary);
    std::ignore = root.removeFolder(bookkeeping::temporary); // harmless where it stays, as the rest
    removeFilesIn(root, bookkeeping::folder);
    std::ignore = root.removeFolder(bookkeeping::folder);
}

void removeForgottenBookkeeping(const Root& destination, const std::string& libraryName, Heartbeat& heartbeat)
{
    const auto entries = entriesOf(destination, {}, &heartbeat);
    if (!entries) {
        return;
    }
    const std::string base = baseName(libraryName);
    for (const FS::Entry& entry : *entries) {
        const bool mayBe = entry.kind == FS::Kind::directory && entry.name.starts_with(base)
            && !entry.name.ends_with(bookkeeping::incompleteSuffix);
        if (!mayBe || heartbeat.gaveUp()) {
            continue;
        }
        heartbeat.beat();
        const DiskPath folder(entry.name);
        const auto text =
            readWhole(destination, folder / bookkeeping::state, bookkeeping::mostStateBytes, &heartbeat);
        const auto state = text ? parseState(*text) : std::nullopt;
        const bool isFinished = destination.kind(folder / finishedReportName) == FS::Kind::regular
            && destination.kind(folder / bookkeeping::readMeUnfinished) == FS::Kind::missing;
        if (!state || state->library != repairedUtf8(libraryName) || !isFinished) {
            continue;
        }
        if (const auto root = Root::open(
                destination.calls(), destination.path() / folder, SystemCalls::Links::notFollowed)) {
            removeBookkeeping(**root);
        }
    }
}

} // namespace vantorel
