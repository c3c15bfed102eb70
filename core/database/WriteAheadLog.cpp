#include "database/WriteAheadLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

// An SQLite write-ahead log is a header of 32 bytes and frames, each a header of 24 bytes and one page of the
// database. All numbers are big-endian, 4 bytes each.
//
//   header: magic (377f0682 or 377f0683), format 3007000, page size, checkpoint number, two salts, two sums
//   frame:  page number, size of the database in pages after a commit (0: no commit), two salts, two sums
//
// The sums run from the header (its first 24 bytes) through every frame (8 bytes of its header, and the
// page), each frame starting from the sums of the one before. They add up words of 4 bytes, whose byte order
// is little-endian for the even magic and big-endian for the odd one.
//
// A log is written again from the start after its changes were merged, with new salts: frames with other
// salts behind the last one are left over from an earlier round. Frames with the same salts whose sums do not
// fit can be left over as well: from a large change that was written in part and then taken back. Such frames
// stand directly behind a commit, and none of them is a commit.

namespace vantorel {

namespace {

constexpr std::size_t headerBytes = 32;
constexpr std::size_t frameHeaderBytes = 24;
constexpr std::size_t summedFrameHeaderBytes = 8;
constexpr std::size_t saltOffset = 8; ///< In a frame's header.
constexpr std::size_t saltBytes = 8;
constexpr std::uint32_t magic = 0x377f'0682;
constexpr std::uint32_t formatVersion = 3'007'000;
constexpr std::uint32_t smallestPage = 512;
constexpr std::uint32_t largestPage = 65'536;
constexpr std::size_t bufferBytes = 1U << 20U;

using Bytes = std::span<const std::byte>;

enum class Order { littleEndian, bigEndian };

std::uint32_t wordAt(Bytes bytes, std::size_t at, Order order = Order::bigEndian)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t place = order == Order::bigEndian ? i : 3 - i;
        word = (word << 8U) | std::to_integer<std::uint32_t>(bytes[at + place]);
    }
    return word;
}

struct Sums {
    std::uint32_t first = 0;
    std::uint32_t second = 0;

    bool operator==(const Sums&) const = default;
};

/// `bytes` is a multiple of 8 long.
Sums added(Sums sums, Bytes bytes, Order order)
{
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
        sums.first += wordAt(bytes, at, order) + sums.second;
        sums.second += wordAt(bytes, at + 4, order) + sums.first;
    }
    return sums;
}

struct Header {
    Order order = Order::bigEndian;
    std::uint32_t pageBytes = 0;
    std::array<std::byte, saltBytes> salts{};
    Sums sums{};
};

/// None for a header that SQLite would not accept.
std::optional<Header> headerFrom(Bytes bytes)
{
    if (bytes.size() < headerBytes || (wordAt(bytes, 0) & ~1U) != magic
        || wordAt(bytes, 4) != formatVersion) {
        return std::nullopt;
    }
    Header header;
    header.order = (wordAt(bytes, 0) & 1U) != 0 ? Order::bigEndian : Order::littleEndian;
    header.pageBytes = wordAt(bytes, 8);
    const bool isPowerOfTwo = (header.pageBytes & (header.pageBytes - 1)) == 0;
    if (header.pageBytes < smallestPage || header.pageBytes > largestPage || !isPowerOfTwo) {
        return std::nullopt;
    }
    std::ranges::copy(bytes.subspan(16, saltBytes), header.salts.begin());
    header.sums = added({}, bytes.first(24), header.order);
    if (header.sums != Sums{wordAt(bytes, 24), wordAt(bytes, 28)}) {
        return std::nullopt;
    }
    return header;
}

/// Judges frames as they come, in order.
class FrameWalk {
public:
    explicit FrameWalk(const Header& header)
        : header_(header)
        , sums_(header.sums)
    {
    }

    void whole(Bytes frame)
    {
        const bool ours = std::ranges::equal(frame.subspan(saltOffset, saltBytes), header_.salts);
        const bool isCommit = wordAt(frame, 4) != 0;
        if (!chainEnded_) {
            const Sums sums = added(added(sums_, frame.first(summedFrameHeaderBytes), header_.order),
                frame.subspan(frameHeaderBytes), header_.order);
            const bool fits = ours && wordAt(frame, 0) != 0
                && sums
                    == Sums{wordAt(frame, saltOffset + saltBytes), wordAt(frame, saltOffset + saltBytes + 4)};
            if (fits) {
                sums_ = sums;
                ++check_.goodFrames;
                if (isCommit) {
                    check_.committedFrames = check_.goodFrames;
                }
                return;
            }
            chainEnded_ = true;
        }
        if (ours) {
            oursBehind_ = true;
            commitBehind_ = commitBehind_ || isCommit;
        }
    }

    /// What is left at the end of the file, shorter than a frame. Where it is too short to tell its round it
    /// is of the round that reached so far.
    void cut(Bytes rest)
    {
        if (rest.empty()) {
            return;
        }
        const Bytes fromSalts = rest.subspan(std::min(saltOffset, rest.size()));
        const std::size_t known = std::min(saltBytes, fromSalts.size());
        const bool fits = std::ranges::equal(fromSalts.first(known), Bytes(header_.salts).first(known));
        cutFrame_ = fits && (known == saltBytes || !chainEnded_);
    }

    WriteAheadLogCheck result() const
    {
        WriteAheadLogCheck check = check_;
        const bool takenBack = check.goodFrames == check.committedFrames && !commitBehind_;
        const bool damaged = cutFrame_ || (oursBehind_ && !takenBack);
        check.state = damaged ? WriteAheadLogCheck::State::damaged : WriteAheadLogCheck::State::whole;
        return check;
    }

private:
    Header header_;
    Sums sums_;
    WriteAheadLogCheck check_{};
    bool chainEnded_ = false;
    bool oursBehind_ = false;   ///< Frames of this round that do not continue the chain.
    bool commitBehind_ = false; ///< One of them is a commit.
    bool cutFrame_ = false;
};

/// Fills as much of the buffer as the file has from there on.
CallResult<std::size_t> readUp(
    const SystemCalls& calls, int fd, std::int64_t offset, std::span<std::byte> into)
{
    std::size_t got = 0;
    while (got < into.size()) {
        const auto count = calls.readAt(fd, into.subspan(got), offset + static_cast<std::int64_t>(got));
        if (!count) {
            return std::unexpected(count.error());
        }
        if (*count == 0) {
            break;
        }
        got += *count;
    }
    return got;
}

} // namespace

CallResult<WriteAheadLogCheck> checkWriteAheadLog(const Root& folder, const DiskPath& log)
{
    using State = WriteAheadLogCheck::State;
    const SystemCalls& calls = *folder.calls();

    const auto file = folder.openFile(log, readOnlyOpenFlags());
    if (!file) {
        if (file.error() == ENOENT) {
            return WriteAheadLogCheck{.state = State::absent};
        }
        return std::unexpected(file.error());
    }
    const auto status = calls.statusOf(file->get());
    if (!status) {
        return std::unexpected(status.error());
    }
    if (status->type != FileStatus::Type::regular) {
        return std::unexpected(EINVAL);
    }

    std::array<std::byte, headerBytes> start{};
    const auto startBytes = readUp(calls, file->get(), 0, start);
    if (!startBytes) {
        return std::unexpected(startBytes.error());
    }
    if (*startBytes == 0) {
        return WriteAheadLogCheck{.state = State::absent};
    }
    const auto header = headerFrom(std::span(start).first(*startBytes));
    if (!header) {
        return WriteAheadLogCheck{.state = State::damaged};
    }

    const std::size_t frameBytes = frameHeaderBytes + header->pageBytes;
    std::vector<std::byte> buffer(std::max<std::size_t>(1, bufferBytes / frameBytes) * frameBytes);
    FrameWalk walk(*header);
    std::int64_t offset = headerBytes;
    while (true) {
        const auto got = readUp(calls, file->get(), offset, buffer);
        if (!got) {
            return std::unexpected(got.error());
        }
        Bytes rest = std::span(buffer).first(*got);
        for (; rest.size() >= frameBytes; rest = rest.subspan(frameBytes)) {
            walk.whole(rest.first(frameBytes));
        }
        if (*got < buffer.size()) {
            walk.cut(rest);
            return walk.result();
        }
        offset += static_cast<std::int64_t>(*got);
    }
}

} // namespace vantorel
