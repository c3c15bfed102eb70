#pragma once

#include "database/LibraryReader.h"
#include "scan/OriginalsInspector.h"

#include <optional>
#include <string>

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

/// Whether the records are all that the library ever had of what lies in it: the database was read whole, and
/// no photo row had to be left out. Only then is a file that no record claims left over from a deleted photo.
bool recordsAreComplete(const LibrarySnapshot& snapshot);

/// The sentence about files that are left over and not saved; none where the records are not complete, or
/// where these files were adopted.
std::optional<std::string> leftoverNote(const LibraryScanResult& scan);

/// Deals with the files that no record claims: a note where the records are complete; else each becomes an
/// asset of its own (with a negative key) and gets an entry. Also appends the report's problem notes.
LibraryScanResult reconciled(LibrarySnapshot snapshot, OriginalsReport report);

/// The result of a scan with the files that are left over as assets of their own, for who wants these too.
LibraryScanResult withLeftovers(LibraryScanResult scan);

} // namespace vantorel
