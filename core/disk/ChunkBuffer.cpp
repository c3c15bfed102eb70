#include "disk/ChunkBuffer.h"

#include <array>
#include <mutex>
#include <utility>
#include <vector>

namespace vantorel {

struct alignas(ChunkBuffer::alignment) ChunkBuffer::Memory {
    std::array<std::byte, size> bytes;
};

/// Those that nobody uses at the moment.
class ChunkBuffer::Store {
public:
    static const std::shared_ptr<Store>& shared()
    {
        static const auto store = std::make_shared<Store>();
        return store;
    }

    std::unique_ptr<Memory> take()
    {
        {
            const std::scoped_lock held(lock_);
            if (!free_.empty()) {
                auto memory = std::move(free_.back());
                free_.pop_back();
                return memory;
            }
        }
        return std::make_unique_for_overwrite<Memory>();
    }

    void giveBack(std::unique_ptr<Memory> memory)
    {
        constexpr std::size_t mostKept = 8; // as many as an export has in use at once
        const std::scoped_lock held(lock_);
        if (free_.size() < mostKept) {
            free_.push_back(std::move(memory));
        }
    }

private:
    std::mutex lock_; // guards the other
    std::vector<std::unique_ptr<Memory>> free_;
};

ChunkBuffer::ChunkBuffer()
    : store_(Store::shared())
    , memory_(store_->take())
{
}

ChunkBuffer::~ChunkBuffer() { store_->giveBack(std::move(memory_)); }

std::span<std::byte> ChunkBuffer::bytes() const { return memory_->bytes; }

} // namespace vantorel
