#include "fuse/FaultyDisk.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::fuse {

namespace {

using namespace std::chrono_literals;

constexpr auto mostWaiting = 30s;

template <typename Condition>
bool waitFor(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + mostWaiting;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

bool hasEnded(pid_t process) { return waitpid(process, nullptr, WNOHANG) == process; }

} // namespace

std::optional<std::string> FaultyDisk::whyNot()
{
    if (access("/dev/fuse", R_OK | W_OK) != 0) {
        return "there is no /dev/fuse here that may be used";
    }
    return geteuid() == 0 ? std::nullopt
                          : std::optional<std::string>("only the administrator may mount here");
}

FaultyDisk::FaultyDisk(const std::filesystem::path& folder, std::filesystem::path mountPoint)
    : mountPoint_(std::move(mountPoint))
{
    std::filesystem::create_directories(mountPoint_);
    control_.write("rules", "");
    const auto counts = control_.write("counts", std::string(sizeof(DiskCounts), '\0'));
    const int fd = open(counts.c_str(), O_RDWR | O_CLOEXEC);
    void* memory = mmap(nullptr, sizeof(DiskCounts), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory for counts");
    }
    counts_ = static_cast<DiskCounts*>(memory);
    const std::vector<std::string> words{VANTOREL_FAULTY_DISK, folder.string(), mountPoint_.string(),
        (control_ / "rules").string(), counts.string()};
    process_ = fork();
    if (process_ == 0) {
        execl(words[0].c_str(), words[0].c_str(), words[1].c_str(), words[2].c_str(), words[3].c_str(),
            words[4].c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    if (process_ < 0 || !waitFor([this] { return counts_->rulesRead > 0 && counts_->isMounted != 0; })) {
        throw std::runtime_error("the faulty disk could not be mounted");
    }
    sets_ = 1;
}

FaultyDisk::~FaultyDisk()
{
    kill(process_, SIGTERM); // it unmounts
    if (!waitFor([this] { return hasEnded(process_); })) {
        kill(process_, SIGKILL); // then the kernel lets go
        waitpid(process_, nullptr, 0);
        umount2(mountPoint_.c_str(), MNT_DETACH);
    }
    munmap(counts_, sizeof(DiskCounts));
}

void FaultyDisk::set(const std::vector<std::string>& rules)
{
    std::string text;
    for (const auto& rule : rules) {
        text += rule + "\n";
    }
    std::filesystem::rename(control_.write("fresh", text), control_ / "rules");
    ++sets_;
    if (!waitFor([this] { return counts_->rulesRead >= sets_; })) {
        throw std::runtime_error("the rules are not in force: " + text);
    }
}

std::uint64_t FaultyDisk::hits(std::size_t rule) const { return counts_->hits.at(rule); }

bool FaultyDisk::waitForHit(std::size_t rule) const
{
    return waitFor([this, rule] { return hits(rule) > 0; });
}

std::uint64_t FaultyDisk::count(Operation operation) const
{
    return counts_->operations.at(static_cast<std::size_t>(operation));
}

std::uint64_t FaultyDisk::changes() const
{
    std::uint64_t sum = 0;
    for (const auto& [operation, name] : operationNames) {
        sum += isChange(operation) ? count(operation) : 0;
    }
    return sum;
}

void FaultyDisk::detach()
{
    if (umount2(mountPoint_.c_str(), MNT_DETACH) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
}

} // namespace vantorel::fuse
