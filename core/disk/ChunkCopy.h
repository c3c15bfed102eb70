#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/Heartbeat.h"
#include "disk/Root.h"
#include "disk/SystemCalls.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace vantorel {

/// Copies one file in chunks of 1 MiB in a way that survives slow, sleeping and failing source disks. The
/// source is never changed, not even its access time; a copy that fails leaves no file behind.
namespace ChunkCopy {

inline constexpr std::size_t chunkBytes = 1'048'576;
inline constexpr std::size_t pieceBytes = 4'096; ///< What is read alone, and zeroed when it stays unreadable.

struct Failure {
    enum class Kind {
        read,       ///< `code` is the error number.
        write,      ///< `code` is the error number.
        notRegular, ///< The source is not a regular file.
        cancelled,
        abandoned, ///< The caller's heartbeat was given up.
        readHung,  ///< A read stayed silent beyond the limit.
    };
    Kind kind = Kind::read;
    int code = 0;

    bool operator==(const Failure&) const = default;
};

/// Present when damaged regions are to be skipped rather than fail the copy. A look that is not given answers
/// yes. Both are called on the copying thread, which alone writes here.
struct KeepGoing {
    std::function<bool()>
        quickLook{}; ///< Asked at every read problem after the first: go on saving what is readable?
    std::function<bool()> firstLook{}; ///< Asked at the first read problem of the copy.
    bool looked = false;               ///< The first check has been asked.
    std::int64_t badBytes = 0;         ///< Bytes written as zeros.
};

struct Hooks {
    std::function<void(bool)> onSilence{}; ///< true: a read has been silent for 8 s; false: it answered.
    std::function<void(std::span<const std::byte>)>
        afterChunk{}; ///< After each chunk was written, with its bytes.
    /// Lets a test make a read at an offset and size fail with an error number.
    std::function<std::optional<int>(std::int64_t offset, std::size_t size)> readFault{};
};

/// A place beneath a held folder.
struct Place {
    std::shared_ptr<const Root> root;
    DiskPath relative;
};

struct Request {
    Place source{};
    Place destination{};
    Seconds stallLimit{60};
    SharedCancelToken cancel{};
    std::shared_ptr<Heartbeat>
        heartbeat{};     ///< The caller's own; beaten after each chunk and while waiting for the source.
    bool watched = true; ///< Reads run on a thread of their own (disks that may hang).
    /// Written past the cache, or sent to the medium as it grows: somebody makes it durable later.
    bool uncachedDestination = false;
    bool syncAtEnd = true;                  ///< The end of the copy syncs the destination.
    bool keepModified = false;              ///< The destination gets the source's modification time.
    std::shared_ptr<KeepGoing> keepGoing{}; ///< None: the first read error ends the copy.
    Hooks hooks{};
};

struct Copied {
    std::int64_t bytes = 0; ///< Bytes read, zeros included.
    FileStatus source{};    ///< As opened, from fstat.
};

/// The destination is created anew (O_EXCL, mode 0644): an existing file makes it fail with `write` and
/// EEXIST and stays untouched. Blocks; called inside a guarded run or on a background thread.
std::expected<Copied, Failure> run(std::shared_ptr<const Clock> clock, Request request);

} // namespace ChunkCopy

} // namespace vantorel
