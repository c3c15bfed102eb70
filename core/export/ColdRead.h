#pragma once

#include "disk/CancelToken.h"
#include "disk/Root.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <string>

namespace vantorel {

/// What a file really holds, read from the disk and not from what the system still has in memory.
struct FileDigest {
    std::int64_t size = 0;
    std::string sha256{}; ///< Lower-case hexadecimal; empty where the size alone ruled the file out.

    bool operator==(const FileDigest&) const = default;
};

struct ColdReadFailure {
    enum class Kind {
        error,      ///< `code` is the error number.
        notRegular, ///< A folder, a link or another thing that is no file.
        stopped,    ///< Cancelled, or nobody waits any longer.
    };
    Kind kind = Kind::error;
    int code = 0;

    bool operator==(const ColdReadFailure&) const = default;
};

struct ColdReadRequest {
    std::shared_ptr<const Root> root{};
    DiskPath relative{};
    std::int64_t expectedSize = 0; ///< A file of another size is not read.
    std::shared_ptr<Heartbeat> heartbeat{};
    SharedCancelToken cancel{};
    std::function<void(std::int64_t bytes)> afterChunk{};
    std::shared_ptr<const Clock> clock{}; ///< With it a large file is hashed on a thread beside the reading.
};

/// Reads a file past the cache and gives its digest. Blocks; beats after every chunk.
std::expected<FileDigest, ColdReadFailure> coldDigest(const ColdReadRequest& request);

} // namespace vantorel
