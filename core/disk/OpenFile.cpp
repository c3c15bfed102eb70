#include "disk/OpenFile.h"

#include <tuple>
#include <utility>

namespace vantorel {

OpenFile::OpenFile(std::shared_ptr<const SystemCalls> calls, int fd)
    : calls_(std::move(calls))
    , fd_(fd)
{
}

OpenFile::OpenFile(OpenFile&& other) noexcept
    : calls_(std::move(other.calls_))
    , fd_(std::exchange(other.fd_, -1))
{
}

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept
{
    if (this != &other) {
        std::ignore = close(); // what it held is dropped; whoever wrote to it has closed it by hand
        calls_ = std::move(other.calls_);
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

OpenFile::~OpenFile()
{
    std::ignore = close(); // the way out on failure, or a file that was only read
}

CallResult<void> OpenFile::close()
{
    if (fd_ < 0) {
        return {};
    }
    return calls_->close(std::exchange(fd_, -1));
}

} // namespace vantorel
