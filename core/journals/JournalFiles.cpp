#include "journals/JournalFiles.h"

#include "disk/Guarded.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace vantorel {

namespace {

using State = JournalFile::State;

/// A million photos, all in iCloud, take 5 to 7 GB in both files together.
constexpr std::int64_t mostFileBytes = std::int64_t{8} << 30U;
constexpr std::size_t chunkBytes = 262'144;
/// A second silence is not waited for as long as the first: by then the disk had its time.
constexpr Seconds afterSilenceAtMost{20};
constexpr int mostSilences = 2;

DiskPath pathOf(JournalKind kind, JournalPart part)
{
    return fmt::format("resources/journals/{}-{}.plj", nameIn(journalKindNames, kind),
        part == JournalPart::snapshot ? "snapshot" : "change");
}

State stateOfFailure(int code)
{
    if (code == ELOOP || code == EXDEV) { // a link, or a path that leads out of the library
        return State::refused;
    }
    switch (FS::kindOfFailure(code)) {
    case FS::Kind::missing:
        return State::missing;
    case FS::Kind::denied:
        return State::refused;
    case FS::Kind::regular:
    case FS::Kind::directory:
    case FS::Kind::special:
    case FS::Kind::unavailable:
        return State::unreadable;
    }
    std::unreachable();
}

JournalFile looked(const Root& library, JournalKind kind, JournalPart part)
{
    const auto status = library.status(pathOf(kind, part));
    if (!status) {
        return {.state = stateOfFailure(status.error())};
    }
    if (status->type == FileStatus::Type::link) {
        return {.state = State::refused};
    }
    if (status->type != FileStatus::Type::regular || status->size > mostFileBytes) {
        return {.state = State::unreadable};
    }
    return {.state = status->size > 0 ? State::given : State::empty,
        .size = std::max<std::int64_t>(status->size, 0)};
}

struct ReadFile {
    State state = State::unreadable;
    std::string bytes{};
};

/// On a worker: owns all that it uses.
struct Reading {
    std::shared_ptr<const Root> library;
    DiskPath path;
    std::size_t expected;
    SharedCancelToken cancel;
    std::function<void(std::int64_t)> onBytes;

    ReadFile operator()(const std::shared_ptr<Heartbeat>& heartbeat) const
    {
        try {
            return readAll(*heartbeat);
        } catch (const std::bad_alloc&) {
            return {}; // more than this machine can hold: as good as not given
        }
    }

private:
    ReadFile readAll(Heartbeat& heartbeat) const
    {
        const SystemCalls& calls = *library->calls();
        const auto file = library->openFile(path, readOnlyOpenFlags());
        if (!file) {
            return {.state = stateOfFailure(file.error())};
        }
        const auto status = calls.statusOf(file->get());
        if (!status) {
            return {.state = stateOfFailure(status.error())};
        }
        if (status->type != FileStatus::Type::regular) {
            return {};
        }
        ReadFile result;
        result.bytes.reserve(expected);
        std::vector<std::byte> chunk(chunkBytes);
        while (!heartbeat.gaveUp() && !isCancelled(cancel)) {
            const auto got = calls.read(file->get(), chunk);
            if (!got) {
                return {.state = stateOfFailure(got.error())};
            }
            if (*got == 0) {
                result.state = result.bytes.empty() ? State::empty : State::given;
                return result;
            }
            if (static_cast<std::int64_t>(result.bytes.size() + *got) > mostFileBytes) {
                return {};
            }
            result.bytes.append(reinterpret_cast<const char*>(chunk.data()), *got);
            heartbeat.beat();
            onBytes(static_cast<std::int64_t>(result.bytes.size()));
        }
        return {.state = State::notAnswering};
    }
};

} // namespace

JournalPresence journalPresence(const Root& library)
{
    JournalPresence presence = JournalPresence::absent;
    for (const JournalPart part : {JournalPart::snapshot, JournalPart::change}) {
        const JournalFile file = looked(library, JournalKind::asset, part);
        if (file.state == State::given) {
            return JournalPresence::present;
        }
        if (file.isTrouble()) {
            presence = JournalPresence::unclear;
        }
    }
    return presence;
}

bool JournalFiles::anyDidNotAnswer() const
{
    return std::ranges::any_of(
        files_, [](const JournalFile& file) { return file.state == State::notAnswering; });
}

void JournalFiles::look()
{
    auto found = guardedRun(access_.clock,
        {.stallLimit = access_.stallLimit,
            .keepGoing = keepGoingWithGrace(access_.clock, access_.cancel),
            .onSilence = access_.onSilence},
        [library = access_.library](const std::shared_ptr<Heartbeat>& heartbeat) {
            decltype(files_) files{};
            auto next = files.begin();
            for (const auto& [kind, name] : journalKindNames) {
                for (const JournalPart part : {JournalPart::snapshot, JournalPart::change}) {
                    if (heartbeat->gaveUp()) {
                        return files;
                    }
                    *next++ = looked(*library, kind, part);
                    heartbeat->beat();
                }
            }
            return files;
        });
    if (found.isStalled()) {
        files_.fill({.state = State::notAnswering});
        return;
    }
    files_ = std::move(found).value();
    for (const JournalFile& each : files_) {
        bytesInAll_ += each.state == State::given ? each.size : 0;
    }
}

std::string JournalFiles::read(JournalKind kind, JournalPart part)
{
    JournalFile& target = files_[placeOf(kind, part)];
    if (silences_ >= mostSilences) {
        target.state = State::notAnswering;
        return {};
    }
    const auto tellBytes = [told = access_.onBytes, before = bytesDone_, total = bytesInAll_](
                               std::int64_t bytes) {
        if (told) {
            told(std::min(before + bytes, total), total);
        }
    };
    const Seconds limit =
        silences_ > 0 ? std::min(access_.stallLimit, afterSilenceAtMost) : access_.stallLimit;
    auto outcome = guardedRun(access_.clock,
        {.stallLimit = limit,
            .keepGoing = keepGoingWithGrace(access_.clock, access_.cancel),
            .onSilence = access_.onSilence},
        Reading{.library = access_.library,
            .path = pathOf(kind, part),
            .expected = static_cast<std::size_t>(target.size),
            .cancel = access_.cancel,
            .onBytes = tellBytes});
    bytesDone_ += target.size;
    if (outcome.isStalled()) {
        ++silences_;
        target.state = State::notAnswering;
        return {};
    }
    ReadFile result = std::move(outcome).value();
    target.state = result.state;
    return std::move(result.bytes);
}

} // namespace vantorel
