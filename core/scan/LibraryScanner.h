#pragma once

#include "database/LibraryReader.h"
#include "scan/OriginalsInspector.h"

namespace vantorel {

/// What a library's records say, joined with what is on the disk for each photo.
struct LibraryScanResult {
    LibrarySnapshot snapshot{};
    OriginalsReport originals{};

    bool operator==(const LibraryScanResult&) const = default;
};

/// The one entry from a library folder to a scan result. Synchronous and long; runs on a background thread.
class LibraryScanner {
public:
    explicit LibraryScanner(CoreServices services)
        : services_(std::move(services))
    {
    }

    Seconds stallTimeout =
        DiskPatience::scan; ///< Of the database side; the check of the files gets at most 90 s.
    CopyHooks copyHooks{};

    /// Throws `ReadError`.
    LibraryScanResult scan(
        const DiskPath& library, const SharedCancelToken& cancel, const ScanProgressCallback& progress) const;

private:
    CoreServices services_;
};

/// Deals with the files that no record claims: a note on a library that was read whole; else each becomes an
/// asset of its own (with a negative key) and gets an entry. Also appends the report's problem notes.
LibraryScanResult reconciled(LibrarySnapshot snapshot, OriginalsReport report);

} // namespace vantorel
