#pragma once

#include "disk/SystemCalls.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace vantorel::sample {

/// Writes the files of a sample library. Times come from the library, not from the clock, so that the same
/// library has the same times. Failures are std::runtime_error with a sentence; a full disk ends the writing.
class FileWriter {
public:
    explicit FileWriter(DiskPath root);

    const DiskPath& root() const { return root_; }
    /// A folder below the root, with those above it.
    void makeFolder(const DiskPath& relative);
    /// A new file and the folders above it. `modified` is in seconds since 1970.
    void write(const DiskPath& relative, std::string_view bytes, std::int64_t modified);
    /// One more name for a file that is there.
    void link(const DiskPath& existing, const DiskPath& relative);
    /// For files that somebody else wrote.
    void setModified(const DiskPath& relative, std::int64_t modified) const;
    /// The times of all folders, once nothing more is put into them.
    void finishFolders(std::int64_t modified) const;

private:
    DiskPath root_;
    std::set<DiskPath> folders_;
};

/// A file that is written bit by bit.
class GrowingFile {
public:
    explicit GrowingFile(DiskPath path);
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;
    ~GrowingFile();

    void append(std::string_view bytes);
    /// Writes what is left and closes; without it the file is not whole.
    void close();

private:
    void flush();

    DiskPath path_;
    int fd_ = -1;
    std::string pending_;
};

} // namespace vantorel::sample
