#include "export/ExportJournal.h"

#include "export/UnfinishedExport.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include <fcntl.h>

namespace vantorel {

CallResult<void> writeAll(const SystemCalls& calls, int fd, std::string_view text)
{
    auto rest = std::as_bytes(std::span(text));
    while (!rest.empty()) {
        const auto written = calls.write(fd, rest);
        if (!written) {
            return std::unexpected(written.error());
        }
        if (*written == 0) {
            return std::unexpected(EIO); // no error and no progress: it would never end
        }
        rest = rest.subspan(std::min(*written, rest.size()));
    }
    return {};
}

CallResult<std::shared_ptr<ExportJournal>> ExportJournal::open(
    std::shared_ptr<const Root> root, bool endsTorn)
{
    auto file =
        root->openFile(bookkeeping::journal, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0644);
    if (!file) {
        return std::unexpected(file.error());
    }
    const auto status = root->calls()->statusOf(file->get());
    if (!status) {
        return std::unexpected(status.error());
    }
    if (status->type != FileStatus::Type::regular) {
        return std::unexpected(EINVAL);
    }
    // Some network disks know no locks; two runs at once are then the user's to avoid.
    const auto locked = root->calls()->tryLock(file->get());
    if (!locked && locked.error() == EWOULDBLOCK) {
        return std::unexpected(EWOULDBLOCK);
    }
    if (auto synced = root->syncFolder(bookkeeping::folder); !synced) {
        return std::unexpected(synced.error());
    }
    return std::shared_ptr<ExportJournal>(new ExportJournal(std::move(root), std::move(*file), endsTorn));
}

ExportJournal::ExportJournal(std::shared_ptr<const Root> root, OpenFile file, bool endsTorn)
    : root_(std::move(root))
    , file_(std::move(file))
    , endsTorn_(endsTorn)
{
}

CallResult<void> ExportJournal::add(std::string lines)
{
    if (std::exchange(endsTorn_, false)) {
        lines.insert(0, "\n");
    }
    if (auto written = writeAll(*root_->calls(), file_.get(), lines); !written) {
        return written;
    }
    return makeDurable(*root_->calls(), file_.get());
}

} // namespace vantorel
