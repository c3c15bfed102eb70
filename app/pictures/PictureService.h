#pragma once

#include "app/model/AppServices.h"
#include "app/model/Mailbox.h"
#include "app/pictures/PictureCache.h"
#include "app/pictures/PictureWork.h"

#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <QtCore/qobject.h>
#include <QtGui/qimage.h>

namespace vantorel {

/// Pictures of the items of a scan, for every list and preview. Main thread only; it never waits there: a
/// view says what it shows, paints what is there, and paints an item again when its picture came.
///
/// Only what is wanted now is read: what was scrolled away is forgotten. A disk that falls silent or is gone
/// is left alone until the user asks to try again.
class PictureService final : public QObject {
    Q_OBJECT

public:
    using Wanted = PictureWork::Job;
    enum class Pace {
        full,
        gentle, ///< Somebody else needs the disk: one at a time, and nothing in advance.
        paused, ///< Nothing is read.
    };
    enum class Disk { answers, isSlow, silent, gone };
    enum class State { waiting, here, none };
    struct Picture {
        State state = State::waiting;
        QImage image{}; ///< While waiting maybe one of another size.
    };

    static constexpr std::size_t usualBytes = 64 << 20;

    PictureService(
        PictureReader read, BackgroundStart start, QObject* parent, std::size_t mostBytes = usualBytes);
    ~PictureService() override;

    /// The items that are meant from now on; everything else is forgotten.
    void setLibrary(std::shared_ptr<const ScannedLibrary> library);
    void setPace(Pace pace);
    /// What a view shows, in the order of its urgency, and what it will show soon. Replaces what the same
    /// view wanted before; the view that asked last comes first. Empty: nothing any more.
    void want(const QObject* view, std::vector<Wanted> shown, std::vector<Wanted> soon = {});
    Picture picture(std::size_t asset, int side);

    Disk disk() const { return disk_; }
    /// What to say of the disk; empty while it answers.
    std::string_view diskText() const;
    /// Reads again after the disk was silent or gone.
    void tryAgain();

Q_SIGNALS:
    void pictureCame(std::size_t asset);
    void diskChanged();

private:
    struct Wish {
        std::vector<Wanted> shown{};
        std::vector<Wanted> soon{};
        std::uint64_t number = 0; ///< The highest was made last.
    };

    void pass();
    void apply(const PictureWork::Result& result);
    void setDisk(Disk disk);

    std::shared_ptr<Mailbox> mailbox_;
    std::shared_ptr<PictureWork> work_;
    PictureCache cache_;
    std::map<const QObject*, Wish> wishes_{};
    std::uint64_t wishNumber_ = 0;
    std::unordered_map<std::size_t, PictureTrouble> troubles_{}; ///< Of items without a picture, by asset.
    std::uint64_t generation_ = 0;
    std::size_t assets_ = 0; ///< How many items the library has.
    Pace pace_ = Pace::full;
    Disk disk_ = Disk::answers;
    bool isOn_;
    int errorsInARow_ = 0;
    int silent_ = 0; ///< Reads that wait for a disk longer than usual.
};

} // namespace vantorel
