#pragma once

#include "base/Clock.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vantorel {

/// SHA-256 of a file's bytes, computed on another thread while the next ones are read: at the speed of the
/// disk or of the processor, and not at that of both one after the other. Small files are hashed where they
/// are read. Touches no disk. One thread at a time; given up by destroying it.
class DigestBehind {
public:
    /// `expectedBytes`: about how much will come.
    DigestBehind(std::shared_ptr<const Clock> clock, std::int64_t expectedBytes);
    ~DigestBehind();
    DigestBehind(const DigestBehind&) = delete;
    DigestBehind& operator=(const DigestBehind&) = delete;

    /// A buffer of the size of a chunk, to read into; the same one until `add` is called.
    std::span<std::byte> buffer();
    /// Takes the first bytes of that buffer.
    void add(std::size_t size);
    /// Takes bytes from elsewhere, at most a chunk.
    void add(std::span<const std::byte> bytes);
    /// Lower-case hexadecimal digest of all that was added. Only once.
    std::string finish();

private:
    struct Shared;
    static void serve(Shared& shared);

    std::shared_ptr<Shared> shared_;
    std::size_t current_ = 0; ///< The buffer that is filled.
    bool isFree_ = true;      ///< It is not hashed any more.
    bool hasThread_ = false;
};

} // namespace vantorel
