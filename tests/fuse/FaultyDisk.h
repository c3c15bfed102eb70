#pragma once

#include "fuse/DiskControl.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel::fuse {

/// A folder mounted through a file system that is faulty on command, for as long as this lives; then what
/// waits on it is let go, and it is unmounted. What goes wrong here is the test's fault and throws.
class FaultyDisk {
public:
    /// Whether such a disk can be mounted here; else the reason for skipping.
    static std::optional<std::string> whyNot();

    /// `mountPoint` is made if it is not there.
    FaultyDisk(const std::filesystem::path& folder, std::filesystem::path mountPoint);
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    const std::filesystem::path& path() const { return mountPoint_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const
    {
        return mountPoint_ / relative;
    }

    /// Puts rules (DiskControl.h) into force in the place of all before; none: a good disk.
    void set(const std::vector<std::string>& rules = {});
    /// How often a rule in force was met, by its place among them.
    std::uint64_t hits(std::size_t rule = 0) const;
    /// Waits until a rule was met, at most 30 seconds.
    bool waitForHit(std::size_t rule = 0) const;
    std::uint64_t count(Operation operation) const;
    /// All operations so far that change something.
    std::uint64_t changes() const;
    /// Takes the disk away from its place; who has it open still reaches it.
    void detach();

private:
    TemporaryFolder control_;
    std::filesystem::path mountPoint_;
    DiskCounts* counts_ = nullptr;
    pid_t process_ = -1;
    std::uint64_t sets_ = 0;
};

} // namespace vantorel::fuse
