#include "app/pictures/PictureWork.h"

#include "app/model/PictureFiles.h"
#include "app/pictures/PictureDecoder.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vantorel {

void PictureWork::setReports(Reports reports) { reports_ = std::move(reports); }

void PictureWork::setJobs(std::deque<Job> jobs, const std::vector<Job>& stillWanted)
{
    {
        const std::scoped_lock held(lock_);
        jobs_ = std::move(jobs);
        for (const auto& running : running_) {
            if (std::ranges::find(stillWanted, running.job) == stillWanted.end()) {
                running.cancel->cancel();
            }
        }
    }
    startThreads();
}

void PictureWork::setLibrary(std::shared_ptr<const ScannedLibrary> library, std::uint64_t generation)
{
    const std::scoped_lock held(lock_);
    library_ = std::move(library);
    generation_ = generation;
    jobs_.clear();
    reported_.clear();
    for (const auto& running : running_) {
        running.cancel->cancel();
    }
}

void PictureWork::taken(const Result& result)
{
    const std::scoped_lock held(lock_);
    if (const auto found = std::ranges::find(reported_, result.job);
        found != reported_.end() && result.generation == generation_) {
        reported_.erase(found);
    }
}

void PictureWork::setThreads(int most)
{
    {
        const std::scoped_lock held(lock_);
        mostThreads_ = most;
    }
    startThreads();
}

bool PictureWork::isUnderWay(const Job& job) const
{
    const std::scoped_lock held(lock_);
    const auto isSame = [&](const Running& running) {
        return running.job == job && running.generation == generation_ && !running.cancel->isCancelled();
    };
    return std::ranges::any_of(running_, isSame) || std::ranges::find(reported_, job) != reported_.end();
}

void PictureWork::startThreads()
{
    for (;;) {
        {
            const std::scoped_lock held(lock_);
            const auto waiting = static_cast<int>(std::min<std::size_t>(jobs_.size(), 8));
            if (threads_ >= mostThreads_ || threads_ - std::ssize(running_) >= waiting) {
                return;
            }
            ++threads_;
        }
        if (!start_([self = shared_from_this()] { self->run(); })) {
            const std::scoped_lock held(lock_);
            --threads_;
            return; // the next wish tries again
        }
    }
}

void PictureWork::run()
{
    for (;;) {
        Running running{.cancel = std::make_shared<CancelToken>()};
        std::shared_ptr<const ScannedLibrary> library;
        {
            const std::scoped_lock held(lock_);
            if (jobs_.empty() || threads_ > mostThreads_) {
                --threads_;
                return;
            }
            running.job = jobs_.front();
            running.generation = generation_;
            jobs_.pop_front();
            library = library_;
            running_.push_back(running);
        }
        Result result{.job = running.job, .generation = running.generation};
        try {
            result.picture = pictureOf(*library, running.job, running.cancel);
        } catch (const std::exception&) {
            result.picture = std::unexpected(PictureTrouble::tooLarge); // out of memory
        }
        {
            const std::scoped_lock held(lock_);
            std::erase_if(running_, [&](const Running& other) { return other.cancel == running.cancel; });
            if (result.generation == generation_) {
                reported_.push_back(result.job);
                if (result.picture == std::unexpected(PictureTrouble::silent)
                    || result.picture == std::unexpected(PictureTrouble::diskGone)) {
                    jobs_.clear(); // each would wait as long
                }
            }
        }
        reports_.result(result);
    }
}

std::expected<QImage, PictureTrouble> PictureWork::pictureOf(
    const ScannedLibrary& library, const Job& job, const SharedCancelToken& cancel) const
{
    const auto& asset = library.result->snapshot.assets[job.asset];
    PictureQuestion question{
        .library = library.result->snapshot.libraryURL,
        .files = pictureFiles(asset, entryOf(*library.result, asset.pk), job.side),
        .isWanted = isDecodable,
        .cancel = cancel,
        .onSilence = reports_.silence,
    };
    std::optional<PictureTrouble> firstTrouble;
    for (;;) {
        const auto file = read_(question);
        if (!file) {
            // What one file was found to be says more than that there is no other.
            return std::unexpected(
                file.error() == PictureTrouble::noFile && firstTrouble ? *firstTrouble : file.error());
        }
        auto picture = decodePicture(file->bytes, job.side);
        if (picture) {
            return *std::move(picture);
        }
        firstTrouble = picture.error() == DecodeFailure::tooLarge ? PictureTrouble::tooLarge
                                                                  : PictureTrouble::notAPicture;
        question.first = file->position + 1;
    }
}

} // namespace vantorel
