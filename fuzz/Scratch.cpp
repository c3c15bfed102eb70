#include "Scratch.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace vantorel::fuzz {

namespace {

class SteppingClock final : public Clock {
public:
    std::chrono::nanoseconds uptime() const override { return ++looks_ * std::chrono::milliseconds(100); }
    std::chrono::nanoseconds continuous() const override { return uptime(); }
    std::chrono::system_clock::time_point wall() const override { return real_->wall(); }
    bool acquire(Signal& signal, std::chrono::nanoseconds atMost) const override
    {
        return real_->acquire(signal, atMost);
    }
    void sleepFor(std::chrono::nanoseconds duration) const override { real_->sleepFor(duration); }

private:
    std::shared_ptr<const Clock> real_ = systemClock();
    mutable std::atomic<std::int64_t> looks_{0};
};

} // namespace

ScratchFolder::ScratchFolder()
{
    const char* chosen = std::getenv("TMPDIR");
    const std::filesystem::path memory("/dev/shm");
    std::string name = (chosen != nullptr                          ? std::filesystem::path(chosen)
                               : access(memory.c_str(), W_OK) == 0 ? memory
                                                                   : std::filesystem::temp_directory_path())
        / "vantorel-fuzz-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("There is no place for scratch files.");
    }
    path_ = std::filesystem::canonical(name);
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void ScratchFolder::write(const std::filesystem::path& relative, std::string_view bytes) const
{
    const auto file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush()) {
        throw std::runtime_error("A scratch file could not be written.");
    }
}

void ScratchFolder::clear() const
{
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        std::filesystem::remove_all(entry.path());
    }
}

std::shared_ptr<const Clock> steppingClock()
{
    static const std::shared_ptr<const Clock> clock = std::make_shared<SteppingClock>();
    return clock;
}

} // namespace vantorel::fuzz
