#include "sample/FileWriter.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel::sample {

namespace {

constexpr std::size_t pieceSize = std::size_t{1} << 20U;

[[noreturn]] void fail(const DiskPath& path, int error)
{
    throw std::runtime_error(fmt::format("{} could not be written: {}.", path.string(), errorText(error)));
}

void setTimes(const DiskPath& path, std::int64_t modified)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(modified);
    const std::array<timespec, 2> times{time, time};
    if (::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) {
        fail(path, errno);
    }
}

} // namespace

FileWriter::FileWriter(DiskPath root)
    : root_(std::move(root))
{
    if (::mkdir(root_.c_str(), 0755) != 0) {
        fail(root_, errno);
    }
}

void FileWriter::makeFolder(const DiskPath& relative)
{
    if (relative.empty() || folders_.contains(relative)) {
        return;
    }
    makeFolder(relative.parent_path());
    const DiskPath path = root_ / relative;
    if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        fail(path, errno);
    }
    folders_.insert(relative);
}

void FileWriter::write(const DiskPath& relative, std::string_view bytes, std::int64_t modified)
{
    makeFolder(relative.parent_path());
    GrowingFile file(root_ / relative);
    file.append(bytes);
    file.close();
    setModified(relative, modified);
}

void FileWriter::link(const DiskPath& existing, const DiskPath& relative)
{
    makeFolder(relative.parent_path());
    const DiskPath path = root_ / relative;
    if (::link((root_ / existing).c_str(), path.c_str()) != 0) {
        fail(path, errno);
    }
}

void FileWriter::setModified(const DiskPath& relative, std::int64_t modified) const
{
    setTimes(root_ / relative, modified);
}

void FileWriter::finishFolders(std::int64_t modified) const
{
    for (const DiskPath& folder : folders_) {
        setTimes(root_ / folder, modified);
    }
    setTimes(root_, modified);
}

GrowingFile::GrowingFile(DiskPath path)
    : path_(std::move(path))
    , fd_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644))
{
    if (fd_ < 0) {
        fail(path_, errno);
    }
}

GrowingFile::~GrowingFile()
{
    if (fd_ >= 0) {
        std::ignore = ::close(fd_); // On the way out of a failure that is told already.
    }
}

void GrowingFile::append(std::string_view bytes)
{
    pending_ += bytes;
    if (pending_.size() >= pieceSize) {
        flush();
    }
}

void GrowingFile::flush()
{
    std::string_view rest = pending_;
    while (!rest.empty()) {
        const ssize_t count = ::write(fd_, rest.data(), rest.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            fail(path_, count < 0 ? errno : EIO);
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    pending_.clear();
}

void GrowingFile::close()
{
    flush();
    if (::close(std::exchange(fd_, -1)) != 0) {
        fail(path_, errno);
    }
}

} // namespace vantorel::sample
