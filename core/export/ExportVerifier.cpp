#include "export/ExportVerifier.h"

#include "base/Text.h"
#include "export/ColdRead.h"
#include "export/DiskSteps.h"
#include "export/ExportReport.h"
#include "export/UnfinishedExport.h"
#include "export/WellFormedXml.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace vantorel {

namespace {

using Trouble = VerifyResult::Trouble;

constexpr std::size_t mostReportBytes = std::size_t{1} << 30u;  // some millions of items
constexpr std::size_t mostSidecarBytes = std::size_t{1} << 30u; // texts are saved however long they are
constexpr int mostSilentInARow = 2;

std::string inQuotes(std::string_view path) { return "\"" + displayText(path) + "\""; }

std::string folderFailure(const DiskPath& folder, int code)
{
    const FS::Kind kind = FS::kindOfFailure(code);
    if (kind == FS::Kind::missing) {
        return "There is no folder " + inQuotes(folder.native()) + ".";
    }
    if (kind == FS::Kind::denied) {
        return "Access to the folder " + inQuotes(folder.native()) + " was refused.";
    }
    return "The folder " + inQuotes(folder.native()) + " could not be read: " + errorText(code) + ".";
}

/// What is to be checked, and where that stands.
struct Listed {
    std::vector<ReportedItem> items;
    std::string source;
    bool isFinished = false;
};

ReportedItem itemOf(const JournalEntry& entry)
{
    ReportedItem item{.sidecar = entry.sidecar};
    for (const ExportJournalFile& file : entry.files) {
        item.files.push_back(file.path);
        item.sizes.push_back(file.size);
        item.hashes.push_back(file.sha256);
    }
    return item;
}

/// The journal is newer than the report of a run that was cut off: it wins where both name a file.
std::vector<ReportedItem> joinedItems(
    std::vector<ReportedItem> reported, const std::vector<JournalEntry>& journal)
{
    std::vector<ReportedItem> items;
    std::unordered_set<std::string> known;
    for (const JournalEntry& entry : journal) {
        items.push_back(itemOf(entry));
        known.insert(items.back().files.begin(), items.back().files.end());
    }
    for (ReportedItem& item : reported) {
        if (!item.files.empty() && !known.contains(item.files.front())) {
            items.push_back(std::move(item));
        }
    }
    return items;
}

/// Finds and reads the report or the journal. On failure a sentence.
std::expected<Listed, std::string> listedIn(const Root& root, Heartbeat& heartbeat)
{
    const auto notReadable = [&](std::string_view name, int code) {
        return std::unexpected("\"" + std::string(name) + "\" in " + inQuotes(root.path().native())
            + " could not be read: " + errorText(code) + ".");
    };
    const auto notUnderstood = [&](std::string_view name) {
        return std::unexpected("\"" + std::string(name) + "\" in " + inQuotes(root.path().native())
            + " is damaged: it cannot be understood, so nothing can be checked against it.");
    };

    const auto finished = readWhole(root, finishedReportName, mostReportBytes, &heartbeat);
    if (finished) {
        auto items = parseReport(*finished);
        if (!items) {
            return notUnderstood(finishedReportName);
        }
        const bool isFinished = root.kind(bookkeeping::readMeUnfinished) == FS::Kind::missing;
        return Listed{
            .items = std::move(*items), .source = std::string(finishedReportName), .isFinished = isFinished};
    }
    if (finished.error() != ENOENT) {
        return notReadable(finishedReportName, finished.error());
    }

    const auto unfinished = readWhole(root, unfinishedReportName, mostReportBytes, &heartbeat);
    if (!unfinished && unfinished.error() != ENOENT) {
        return notReadable(unfinishedReportName, unfinished.error());
    }
    const auto journal = readWhole(root, bookkeeping::journal, mostReportBytes, &heartbeat);
    if (!journal && journal.error() != ENOENT) {
        return notReadable(bookkeeping::journal, journal.error());
    }
    if (!unfinished && !journal) {
        return std::unexpected("There is no report and no journal of an export in "
            + inQuotes(root.path().native()) + ", so there is nothing to check.");
    }
    auto reported = unfinished ? parseReport(*unfinished) : std::vector<ReportedItem>();
    if (!reported && !journal) {
        return notUnderstood(unfinishedReportName);
    }
    return Listed{
        .items = joinedItems(reported ? std::move(*reported) : std::vector<ReportedItem>(),
            journal ? parseJournal(*journal) : std::vector<JournalEntry>()),
        .source = std::string(unfinished && reported ? unfinishedReportName : bookkeeping::journal),
    };
}

VerifyResult::Difference difference(const std::string& path, Trouble trouble, std::string_view rest)
{
    return {.path = repairedUtf8(path), .trouble = trouble, .text = inQuotes(path) + std::string(rest)};
}

VerifyResult::Difference failure(const std::string& path, int code, Trouble whenMissing)
{
    const FS::Kind kind = FS::kindOfFailure(code);
    if (kind == FS::Kind::missing) {
        return difference(path, whenMissing, " is missing.");
    }
    if (kind == FS::Kind::denied) {
        return difference(path, Trouble::refused, " may not be read: access was refused.");
    }
    if (code == ELOOP) {
        return difference(path, Trouble::unreadable, " is or lies behind a link, which is not followed.");
    }
    return difference(path, Trouble::unreadable, " could not be read: " + errorText(code) + ".");
}

VerifyResult::Difference unsafePath(const std::string& path)
{
    return difference(path, Trouble::refused, " leads out of the export folder, so it was not read.");
}

VerifyResult::Difference silent(const std::string& path)
{
    return difference(path, Trouble::notAnswering, " could not be checked: the disk did not answer.");
}

bool mayBeRead(const std::string& path) { return !path.empty() && isSafeRelativePath(path); }

class Check {
public:
    Check(const CoreServices& services, const VerifyRequest& request, std::shared_ptr<const Root> root,
        Listed listed)
        : request_(request)
        , root_(std::move(root))
        , listed_(std::move(listed))
        , box_(std::make_shared<RunBox>(countOfFiles(), sumOfFiles()))
        , steps_(
              services.clock, request.cancel, box_,
              [&request](const ExportProgress& progress) {
                  if (request.progress) {
                      request.progress(progress.itemsDone, progress.itemsTotal, progress.bytesDone,
                          progress.waitingForDisk);
                  }
              },
              request.stallLimit)
    {
        result_.isFinishedExport = listed_.isFinished;
        result_.source = listed_.source;
    }

    VerifyResult run()
    {
        for (const ReportedItem& item : listed_.items) {
            for (std::size_t i = 0; i < item.files.size() && goesOn(); ++i) {
                checkFile(item.files[i], {.size = item.sizes[i], .sha256 = item.hashes[i]});
            }
            if (goesOn() && !item.sidecar.empty()) {
                checkSidecar(item.sidecar);
            }
            if (!goesOn()) {
                break;
            }
            result_.itemsChecked += item.files.empty() ? 0 : 1;
        }
        steps_.tellProgress();
        result_.wasCancelled = isCancelled(request_.cancel);
        if (silentInARow_ >= mostSilentInARow) {
            result_.differences.push_back({.path = {},
                .trouble = Trouble::notAnswering,
                .text = "The disk stopped answering, so the check ended here. "
                    + grouped(countOfFiles() - result_.filesChecked) + " files were not checked."});
        }
        return std::move(result_);
    }

private:
    std::int64_t countOfFiles() const
    {
        std::int64_t count = 0;
        for (const ReportedItem& item : listed_.items) {
            count += static_cast<std::int64_t>(item.files.size());
        }
        return count;
    }

    std::int64_t sumOfFiles() const
    {
        std::int64_t sum = 0;
        for (const ReportedItem& item : listed_.items) {
            for (const std::int64_t size : item.sizes) {
                sum = sumOfSizes(sum, size);
            }
        }
        return sum;
    }

    bool goesOn() const { return !isCancelled(request_.cancel) && silentInARow_ < mostSilentInARow; }

    void checkFile(const std::string& path, const FileDigest& expected)
    {
        const std::size_t number = number_++;
        if (!mayBeRead(path)) {
            ended(expected, unsafePath(path));
            return;
        }
        const auto look = steps_.run(request_.stallLimit,
            [root = root_, box = box_, cancel = request_.cancel, clock = steps_.clock(), path, expected,
                number](const std::shared_ptr<Heartbeat>& heartbeat) {
                return coldDigest({.root = root,
                    .relative = path,
                    .expectedSize = expected.size,
                    .heartbeat = heartbeat,
                    .cancel = cancel,
                    .afterChunk = [&](std::int64_t bytes) { box->chunk(number, bytes); },
                    .clock = clock});
            });
        if (isCancelled(request_.cancel)) {
            return;
        }
        silentInARow_ = look ? 0 : silentInARow_ + 1;
        if (!look) {
            ended(expected, silent(path));
        } else if (!*look && look->error().kind == ColdReadFailure::Kind::notRegular) {
            ended(expected, difference(path, Trouble::unreadable, " is not an ordinary file any more."));
        } else if (!*look) {
            ended(expected, failure(path, look->error().code, Trouble::missing));
        } else if ((*look)->size != expected.size) {
            ended(expected,
                difference(path, Trouble::sizeDiffers,
                    " has " + grouped((*look)->size) + " bytes instead of " + grouped(expected.size) + "."));
        } else if (**look != expected) {
            ended(expected,
                difference(path, Trouble::digestDiffers, " was changed: its content is not what was saved."));
        } else {
            ended(expected, std::nullopt);
        }
    }

    void ended(const FileDigest& expected, std::optional<VerifyResult::Difference> found)
    {
        ++result_.filesChecked;
        if (found) {
            result_.differences.push_back(std::move(*found));
        } else {
            result_.bytesChecked = sumOfSizes(result_.bytesChecked, expected.size);
        }
        box_->end(number_ - 1, expected.size, RunBox::End::saved);
        steps_.tellProgress();
    }

    void checkSidecar(const std::string& path)
    {
        if (!mayBeRead(path)) {
            result_.differences.push_back(unsafePath(path));
            return;
        }
        const auto text = steps_.run(
            request_.stallLimit, [root = root_, path](const std::shared_ptr<Heartbeat>& heartbeat) {
                return readWhole(*root, path, mostSidecarBytes, heartbeat.get());
            });
        if (isCancelled(request_.cancel)) {
            return;
        }
        silentInARow_ = text ? 0 : silentInARow_ + 1;
        if (!text) {
            result_.differences.push_back(silent(path));
        } else if (!*text && (text->error() == EINVAL || text->error() == EFBIG)) {
            result_.differences.push_back(
                difference(path, Trouble::sidecarDamaged, " is damaged: it is no sidecar any more."));
        } else if (!*text) {
            result_.differences.push_back(failure(path, text->error(), Trouble::sidecarMissing));
        } else if (!isWellFormedXml(**text)) {
            result_.differences.push_back(
                difference(path, Trouble::sidecarDamaged, " is damaged: it is not well-formed XML."));
        }
    }

    const VerifyRequest& request_;
    std::shared_ptr<const Root> root_;
    Listed listed_;
    std::shared_ptr<RunBox> box_;
    DiskSteps steps_;
    VerifyResult result_;
    std::size_t number_ = 0; ///< Of files that were begun.
    int silentInARow_ = 0;
};

} // namespace

std::expected<VerifyResult, std::string> verifyExport(
    const CoreServices& services, const VerifyRequest& request)
{
    struct Opened {
        std::shared_ptr<const Root> root;
        Listed listed;
    };
    using Result = std::expected<Opened, std::string>;
    const DiskSteps steps(
        services.clock, request.cancel, std::make_shared<RunBox>(0, 0),
        [&request](const ExportProgress& progress) {
            if (request.progress) {
                request.progress(0, 0, 0, progress.waitingForDisk);
            }
        },
        request.stallLimit);
    auto opened = steps.run(request.stallLimit,
        [calls = services.calls, folder = request.folder](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Result {
            auto root = Root::open(calls, folder);
            if (!root) {
                return std::unexpected(folderFailure(folder, root.error()));
            }
            heartbeat->beat();
            auto listed = listedIn(**root, *heartbeat);
            if (!listed) {
                return std::unexpected(std::move(listed.error()));
            }
            return Opened{.root = std::move(*root), .listed = std::move(*listed)};
        });
    if (!opened && opened.error() == DiskSteps::Trouble::cancelled) {
        return VerifyResult{.wasCancelled = true};
    }
    if (!opened) {
        return std::unexpected("The disk with " + inQuotes(request.folder.native())
            + " did not answer. A sleeping drive can take a minute.");
    }
    if (!*opened) {
        return std::unexpected(std::move(opened->error()));
    }
    return Check(services, request, std::move((*opened)->root), std::move((*opened)->listed)).run();
}

} // namespace vantorel
