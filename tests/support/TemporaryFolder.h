#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace vantorel {

/// A real scratch folder, removed at the end with all that is in it. Its path has no link in it. What goes
/// wrong here is the test's fault and throws.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return path_ / relative; }

    /// Writes a file, making the folders above it; returns its full path. The same for the next two.
    std::filesystem::path write(const std::filesystem::path& relative, std::string_view bytes) const;
    std::filesystem::path makeFolder(const std::filesystem::path& relative) const;
    std::filesystem::path makeLink(
        const std::filesystem::path& relative, const std::filesystem::path& target) const;
    std::string read(const std::filesystem::path& relative) const;
    bool has(const std::filesystem::path& relative) const;

    /// Everything beneath a folder: files with their bytes, folders as "name/" with "", links as "-> target".
    std::map<std::string, std::string> tree(const std::filesystem::path& relative = {}) const;

private:
    std::filesystem::path path_;
};

/// Bytes without a pattern that a mix-up of blocks would keep; the same for the same seed, never a zero.
std::string someBytes(std::size_t count, std::uint32_t seed = 1);

/// How many descriptors this process has open.
std::size_t openDescriptors();

} // namespace vantorel
