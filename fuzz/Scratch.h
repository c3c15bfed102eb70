#pragma once

#include "base/Clock.h"

#include <filesystem>
#include <memory>
#include <string_view>

namespace vantorel::fuzz {

/// A scratch folder of this process, made anew on construction. In memory where the system has such a place.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& relative) const { return path_ / relative; }
    const std::filesystem::path& path() const { return path_; }
    /// Writes a file, with the folders above it.
    void write(const std::filesystem::path& relative, std::string_view bytes) const;
    /// Removes all that is in it.
    void clear() const;

private:
    std::filesystem::path path_;
};

/// A clock on which a tenth of a second passes with every look at it. So limits of time against statements
/// that run for ever are limits of steps, soon reached and the same on every machine. Waiting is real.
std::shared_ptr<const Clock> steppingClock();

} // namespace vantorel::fuzz
