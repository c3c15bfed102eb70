#include "export/ExportEnd.h"

#include "export/ExportReport.h"

#include <cerrno>
#include <tuple>

namespace vantorel {

namespace {

CallResult<void> removeIfThere(const Root& root, const DiskPath& file)
{
    auto removed = root.unlink(file);
    return !removed && removed.error() == ENOENT ? CallResult<void>() : removed;
}

} // namespace

CallResult<std::string> finishFolder(const Root& destination, const Root& root, const ExportFolder& folder,
    const std::string& libraryName, const EndTexts& texts, Heartbeat& heartbeat)
{
    if (auto written = writeDurably(root, freshTemporary(), finishedReportName, texts.report); !written) {
        return std::unexpected(written.error());
    }
    heartbeat.beat();
    if (auto written = writeDurably(root, freshTemporary(), bookkeeping::readMe, texts.readMe); !written) {
        return std::unexpected(written.error());
    }
    heartbeat.beat();
    for (const std::string_view file : {unfinishedReportName, bookkeeping::readMeUnfinished}) {
        if (auto removed = removeIfThere(root, file); !removed) {
            return std::unexpected(removed.error());
        }
    }
    if (auto synced = root.syncFolder({}); !synced) {
        return std::unexpected(synced.error());
    }
    heartbeat.beat();
    const auto name =
        giveFinalName(destination, folder.finalBase + std::string(bookkeeping::incompleteSuffix),
            folder.finalBase, libraryName, heartbeat);
    if (!name) {
        return std::unexpected(name.error());
    }
    heartbeat.beat();
    if (name->isDurable) {
        removeBookkeeping(root);
    }
    return name->name;
}

CallResult<void> leaveUnfinished(const Root& root, const EndTexts& texts, Heartbeat& heartbeat)
{
    removeTemporaryFiles(root); // a full disk gets room for the report
    // From an end that failed half-way: the folder must not look finished.
    for (const std::string_view file : {finishedReportName, bookkeeping::readMe}) {
        std::ignore = root.unlink(file); // mostly not there; the other texts tell the truth anyway
    }
    heartbeat.beat();
    if (texts.tryLast.empty()) {
        std::ignore = root.unlink(bookkeeping::tryLast); // mostly not there, and only an order
    } else if (auto written = writeDurably(root, freshTemporary(), bookkeeping::tryLast, texts.tryLast);
        !written) {
        return written;
    }
    heartbeat.beat();
    if (auto written = writeDurably(root, freshTemporary(), bookkeeping::readMeUnfinished, texts.readMe);
        !written) {
        return written;
    }
    heartbeat.beat();
    return writeDurably(root, freshTemporary(), unfinishedReportName, texts.report);
}

} // namespace vantorel
