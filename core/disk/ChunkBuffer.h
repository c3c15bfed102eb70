#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace vantorel {

/// Memory for one chunk of a file, aligned as reads past the cache ask for it. Taken from what earlier ones
/// gave back, where there is some: fresh memory costs a page fault for every 4 KiB of it. Not shared between
/// threads.
class ChunkBuffer {
public:
    static constexpr std::size_t size = 1'048'576;
    static constexpr std::size_t alignment = 4'096;

    ChunkBuffer();
    ~ChunkBuffer();
    ChunkBuffer(const ChunkBuffer&) = delete;
    ChunkBuffer& operator=(const ChunkBuffer&) = delete;

    /// All of it; what it holds at first is left over from others.
    std::span<std::byte> bytes() const;

private:
    struct Memory;
    class Store;

    std::shared_ptr<Store> store_; ///< Kept alive by those who will give back, also while the program ends.
    std::unique_ptr<Memory> memory_;
};

} // namespace vantorel
