#pragma once

#include "disk/Heartbeat.h"
#include "disk/SystemCalls.h"

#include <chrono>
#include <cstdint>
#include <expected>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vantorel {

/// The few raw looks at a file system, each of which tells missing, refused and not available apart. They
/// block: callers run them guarded.
namespace FS {

/// `special`: links that are not followed, devices, sockets, pipes. `denied` is about permissions,
/// `unavailable` is any other error; neither says that something is not there.
enum class Kind { missing, regular, directory, special, denied, unavailable };

using Links = SystemCalls::Links;

struct Entry {
    std::string name{}; ///< Bytes as the disk gives them.
    Kind kind = Kind::missing;
    std::int64_t size = 0; ///< Bytes, from the entry's own status (links not followed).
    std::chrono::sys_seconds modified{};
    bool contentElsewhere = false; ///< A cloud file whose content is not on this machine.

    bool operator==(const Entry&) const = default;
};

struct ListFailure {
    enum class Kind { unavailable, denied, missing };
    Kind kind = Kind::unavailable;
    int code = 0; ///< errno

    bool operator==(const ListFailure&) const = default;
};

/// What a listing produced, also when it stopped early.
struct PartialList {
    std::vector<Entry> entries{};   ///< Sorted by name (bytes).
    std::int64_t badEntries = 0;    ///< Their status could not be read, for another reason than permission.
    std::int64_t deniedEntries = 0; ///< Their status was refused.
    bool stoppedEarly = false;      ///< Reading the folder ended with an error.
    int code = 0;                   ///< The last error number seen, 0 for none.

    bool operator==(const PartialList&) const = default;
};

/// Shared by a listing worker and its waiter, so that a waiter that gives up can take what was listed so far.
class ListBox {
public:
    /// A copy of what is there, sorted.
    PartialList taken() const;

private:
    friend std::expected<PartialList, ListFailure> list(
        const SystemCalls&, const DiskPath&, Heartbeat*, ListBox&, Links);
    friend std::expected<PartialList, ListFailure> listOpen(const SystemCalls&, int, Heartbeat*, ListBox&);
    friend std::expected<PartialList, ListFailure> listInto(SystemCalls::Folder&, Heartbeat*, ListBox&);
    mutable std::mutex lock_;
    PartialList list_;
};

/// EPERM, EACCES: denied; ENOENT, ENOTDIR: missing; anything else: unavailable.
Kind kindOfFailure(int code);
/// The same classes for a folder that could not be opened.
ListFailure listFailureOf(int code);
Kind kindOf(FileStatus::Type type);

Kind kind(const SystemCalls& calls, const DiskPath& path, Links links);
/// Bytes of a regular file, links not followed; none for anything else and where it could not be told.
std::optional<std::int64_t> size(const SystemCalls& calls, const DiskPath& path);
/// Lists a folder, beating the heartbeat (may be none) once per entry and ending early when it gave up.
std::expected<PartialList, ListFailure> list(const SystemCalls& calls, const DiskPath& folder,
    Heartbeat* heartbeat, ListBox& box, Links links = Links::followed);
/// The same for a folder that is open already.
std::expected<PartialList, ListFailure> listOpen(
    const SystemCalls& calls, int folder, Heartbeat* heartbeat, ListBox& box);
/// The same for a folder that is being read: for readers that pass names over before their status is asked.
std::expected<PartialList, ListFailure> listInto(
    SystemCalls::Folder& folder, Heartbeat* heartbeat, ListBox& box);

} // namespace FS

} // namespace vantorel
