#pragma once

#include "export/ExportReport.h"
#include "export/ExportVerifier.h"
#include "export/Exporter.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vantorel {

using Tree = std::map<std::string, std::string>;

/// The real calls but those that wait for the medium: no test here pulls a plug, and thousands of syncs would
/// take minutes. Reads past the cache are refused, as some file systems do.
class QuickCalls final : public ScriptedCalls {
public:
    std::string format{}; ///< "vfat"; empty: the disk's own.

    CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override
    {
        auto status = ScriptedCalls::fileSystemOf(path);
        if (status && !format.empty()) {
            status->typeName = format;
        }
        return status;
    }
    CallResult<void> sync(int) const override { return {}; }
    CallResult<void> fullSync(int) const override { return {}; }
    CallResult<int> openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const override
    {
        const bool isPastTheCache = (flags & uncachedOpenFlag()) != 0;
        return isPastTheCache ? std::unexpected(EINVAL)
                              : ScriptedCalls::openBeneath(root, relative, flags, mode);
    }
};

/// A library of a few small files on the disk, its scan and its plan, and a folder "Out" to export into. The
/// system calls can be disturbed.
struct ExportFixture {
    TemporaryFolder place{};
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<QuickCalls> disk = std::make_shared<QuickCalls>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock, disk);
    LibraryScanResult scan{};
    ExportPlan plan{};
    ExportOptions options{};
    ExportSettings settings{};
    SharedCancelToken cancel = std::make_shared<CancelToken>();
    std::vector<ExportProgress> progress{}; ///< Of the last run.

    ExportFixture();

    /// A photo with its files ("IMG_1.heic", "IMG_1.mov"), saved into a folder; the bytes differ from file to
    /// file. The same photo again, into another folder, with `addCopy`.
    void add(std::int64_t pk, const std::string& folder, const std::vector<std::string>& names,
        std::size_t bytes = 3'000);
    void addCopy(std::int64_t pk, const std::string& folder);
    /// A Live Photo, a photo in two albums, and a movie of more than one chunk.
    void addTypical();

    CoreServices services() const
    {
        return {.calls = calls, .clock = clock, .children = {}, .temporary = {}};
    }
    Exporter::Request request();
    ExportOutcome run();
    VerifyResult verify(const std::string& folder = "Lib export") const;

    DiskPath library() const { return place / "Lib.photoslibrary"; }
    DiskPath destination() const { return place / "Out"; }
    Tree out() const { return place.tree("Out"); }
    /// Bytes of a planned file's source.
    std::string sourceBytes(const PlannedFile& file) const;
    /// Everything that the folder of a finished export holds, under the given name.
    Tree wholeExport(const ExportOutcome& outcome, const std::string& folder = "Lib export") const;
    /// Files under final names that are not what was planned for these names.
    std::vector<std::string> brokenFiles() const;
};

/// The reasons of what was skipped, in order.
std::vector<std::string> reasonsOf(const ExportOutcome& outcome);

} // namespace vantorel
