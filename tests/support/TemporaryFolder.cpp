#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder()
{
    std::string name = (fs::canonical(fs::temp_directory_path()) / "vantorel-test-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    if (ignored) {
        // A test took the right to write from a folder.
        for (auto each = fs::recursive_directory_iterator(path_, ignored); each != fs::end(each);
            each.increment(ignored)) {
            if (each->is_directory(ignored) && !each->is_symlink(ignored)) {
                fs::permissions(each->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
        fs::remove_all(path_, ignored);
    }
}

fs::path TemporaryFolder::write(const fs::path& relative, std::string_view bytes) const
{
    const auto whole = path_ / relative;
    fs::create_directories(whole.parent_path());
    std::ofstream file(whole, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + whole.native());
    }
    return whole;
}

fs::path TemporaryFolder::makeFolder(const fs::path& relative) const
{
    fs::create_directories(path_ / relative);
    return path_ / relative;
}

fs::path TemporaryFolder::makeLink(const fs::path& relative, const fs::path& target) const
{
    const auto whole = path_ / relative;
    fs::create_directories(whole.parent_path());
    fs::create_symlink(target, whole);
    return whole;
}

std::string TemporaryFolder::read(const fs::path& relative) const
{
    std::ifstream file(path_ / relative, std::ios::binary | std::ios::ate);
    std::string bytes(file ? static_cast<std::size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file) {
        throw std::runtime_error("cannot read " + (path_ / relative).native());
    }
    return bytes;
}

bool TemporaryFolder::has(const fs::path& relative) const
{
    return fs::exists(fs::symlink_status(path_ / relative));
}

std::map<std::string, std::string> TemporaryFolder::tree(const fs::path& relative) const
{
    std::map<std::string, std::string> found;
    const auto top = relative.empty() ? path_ : path_ / relative;
    for (const auto& each : fs::recursive_directory_iterator(top)) {
        const auto name = each.path().lexically_relative(top).native();
        if (each.is_symlink()) {
            found.emplace(name, "-> " + fs::read_symlink(each.path()).native());
        } else if (each.is_directory()) {
            found.emplace(name + "/", "");
        } else {
            found.emplace(name, read(each.path().lexically_relative(path_)));
        }
    }
    return found;
}

std::string someBytes(std::size_t count, std::uint32_t seed)
{
    std::mt19937_64 random(seed);
    std::string bytes(count + sizeof(std::uint64_t), '\0');
    for (std::size_t i = 0; i < count; i += sizeof(std::uint64_t)) {
        const std::uint64_t eight = random() | 0x0101010101010101;
        std::memcpy(bytes.data() + i, &eight, sizeof eight);
    }
    bytes.resize(count);
    return bytes;
}

std::size_t openDescriptors()
{
    std::size_t count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        count += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
    }
    return count;
}

} // namespace vantorel
