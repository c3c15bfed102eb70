#pragma once

#include "app/model/AppServices.h"
#include "app/model/ScannedLibrary.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <QtGui/qimage.h>

namespace vantorel {

/// The background half of the picture service: what is to be read, and the threads that do it. A thread ends
/// when there is nothing left for it, so that none is there while nobody looks at pictures. Shared by the
/// threads; every member may be called from any thread.
class PictureWork : public std::enable_shared_from_this<PictureWork> {
public:
    struct Job {
        std::size_t asset = 0; ///< Position in the snapshot.
        int side = 0;          ///< Pixels.
        bool operator==(const Job&) const = default;
    };
    struct Result {
        Job job{};
        std::uint64_t generation = 0;
        std::expected<QImage, PictureTrouble> picture{std::unexpected(PictureTrouble::noFile)};
    };
    struct Reports {
        std::function<void(const Result&)> result{};
        std::function<void(bool)> silence{}; ///< A disk does not answer for the moment, or does again.
    };

    PictureWork(PictureReader read, BackgroundStart start)
        : read_(std::move(read))
        , start_(std::move(start))
    {
    }

    /// Called on the threads. Before anything else.
    void setReports(Reports reports);
    /// What is wanted from now on, most urgent first; it replaces what was wanted before. What is being read
    /// and is not in `stillWanted` is given up.
    void setJobs(std::deque<Job> jobs, const std::vector<Job>& stillWanted);
    /// Everything so far is dropped; results carry the new generation from now on.
    void setLibrary(std::shared_ptr<const ScannedLibrary> library, std::uint64_t generation);
    /// A result was taken; until then its job counts as under way.
    void taken(const Result& result);
    /// How many are read side by side.
    void setThreads(int most);
    bool isUnderWay(const Job& job) const;

private:
    struct Running {
        Job job{};
        SharedCancelToken cancel{};
        std::uint64_t generation = 0;
    };

    void startThreads();
    void run();
    std::expected<QImage, PictureTrouble> pictureOf(
        const ScannedLibrary& library, const Job& job, const SharedCancelToken& cancel) const;

    const PictureReader read_;
    const BackgroundStart start_;
    Reports reports_{};       ///< Not changed once threads run.
    mutable std::mutex lock_; ///< Guards all that follows.
    std::shared_ptr<const ScannedLibrary> library_{};
    std::uint64_t generation_ = 0;
    std::deque<Job> jobs_{};
    std::vector<Running> running_{};
    std::vector<Job> reported_{}; ///< Their results are on the way.
    int threads_ = 0;
    int mostThreads_ = 2;
};

} // namespace vantorel
