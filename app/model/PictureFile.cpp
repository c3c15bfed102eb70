#include "app/model/PictureFile.h"

#include "disk/FS.h"
#include "disk/Guarded.h"
#include "disk/Root.h"

#include <algorithm>
#include <array>

namespace vantorel {

namespace {

/// Enough to tell every format.
constexpr std::size_t beginningBytes = 4096;

PictureTrouble troubleOf(int code)
{
    switch (FS::kindOfFailure(code)) {
    case FS::Kind::denied:
        return PictureTrouble::refused;
    case FS::Kind::missing:
        return PictureTrouble::noFile;
    default:
        // A link on the way, or a way out of the library.
        return code == ELOOP || code == EXDEV || code == EINVAL ? PictureTrouble::refused
                                                                : PictureTrouble::readError;
    }
}

std::expected<std::string, PictureTrouble> contentOf(
    const Root& library, const std::string& path, const PictureQuestion& question, Heartbeat& heartbeat)
{
    const auto& calls = *library.calls();
    const auto file = library.openFile(path, readOnlyOpenFlags());
    if (!file) {
        return std::unexpected(troubleOf(file.error()));
    }
    const auto status = calls.statusOf(file->get());
    if (!status) {
        return std::unexpected(troubleOf(status.error()));
    }
    if (status->type != FileStatus::Type::regular || status->size <= 0 || status->contentElsewhere) {
        return std::unexpected(PictureTrouble::noFile);
    }
    if (static_cast<std::uint64_t>(status->size) > mostPictureBytes) {
        return std::unexpected(PictureTrouble::tooLarge);
    }
    // One byte more than the size: its end is seen in one call, and that it grew.
    std::string content;
    content.resize(static_cast<std::size_t>(status->size) + 1);
    std::size_t filled = 0;
    bool isKnown = false;
    while (filled < content.size()) {
        if (heartbeat.gaveUp() || isCancelled(question.cancel)) {
            return std::unexpected(PictureTrouble::cancelled);
        }
        const std::size_t wanted =
            isKnown ? std::min<std::size_t>(content.size() - filled, 1 << 20) : beginningBytes;
        const auto into = std::as_writable_bytes(std::span(content))
                              .subspan(filled)
                              .first(std::min(wanted, content.size() - filled));
        const auto got = calls.read(file->get(), into);
        if (!got) {
            return std::unexpected(troubleOf(got.error()));
        }
        heartbeat.beat();
        filled += *got;
        if (*got == 0) {
            break;
        }
        if (!isKnown) {
            if (question.isWanted && !question.isWanted(std::string_view(content).substr(0, filled))) {
                return std::unexpected(PictureTrouble::notAPicture);
            }
            isKnown = true;
        }
    }
    content.resize(filled);
    return content;
}

PictureRead firstOf(
    const std::shared_ptr<const SystemCalls>& calls, const PictureQuestion& question, Heartbeat& heartbeat)
{
    const auto library = Root::open(calls, question.library);
    if (!library) {
        const auto trouble = troubleOf(library.error());
        return std::unexpected(
            trouble == PictureTrouble::refused ? PictureTrouble::refused : PictureTrouble::diskGone);
    }
    auto worst = PictureTrouble::noFile;
    for (std::size_t i = question.first; i < question.files.size(); ++i) {
        auto content = contentOf(**library, question.files[i], question, heartbeat);
        if (content) {
            return PictureFile{.position = i, .bytes = *std::move(content)};
        }
        if (content.error() == PictureTrouble::cancelled) {
            return std::unexpected(content.error());
        }
        worst = std::max(worst, content.error());
        heartbeat.beat();
    }
    return std::unexpected(worst);
}

} // namespace

PictureRead readPicture(const CoreServices& services, const PictureQuestion& question)
{
    auto read =
        guardedRun(services.clock, Patience{.stallLimit = picturePatience, .onSilence = question.onSilence},
            [calls = services.calls, question](const std::shared_ptr<Heartbeat>& heartbeat) {
                return firstOf(calls, question, *heartbeat);
            });
    return read.isStalled() ? PictureRead(std::unexpected(PictureTrouble::silent)) : std::move(read).value();
}

} // namespace vantorel
