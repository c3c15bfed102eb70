#include "app/LibraryPictures.h"

#include "app/model/AppModel.h"
#include "app/model/RealServices.h"

namespace vantorel {

namespace {

/// Saving comes first: pictures take little from a disk that works, but on one that struggles every further
/// question is one too many.
PictureService::Pace paceOf(const AppModel& app)
{
    const bool waits = app.exportWait() != DiskWait::none || app.scanWait() != DiskWait::none
        || app.compareWait() != DiskWait::none;
    const bool works = app.isExporting() || app.isComparing() || app.screen() == Screen::scanning;
    return waits ? PictureService::Pace::paused
        : works  ? PictureService::Pace::gentle
                 : PictureService::Pace::full;
}

/// Watches the model for as long as the service lives.
class LibraryWatch final : public QObject {
public:
    LibraryWatch(AppModel& app, PictureService& pictures)
        : QObject(&pictures)
    {
        const auto pace = [&app, &pictures] { pictures.setPace(paceOf(app)); };
        const auto watchPace = [&](const auto& property) {
            notifiers_.push_back(std::make_unique<QPropertyNotifier>(property.onChange(pace)));
        };
        watchPace(app.exportWait);
        watchPace(app.scanWait);
        watchPace(app.compareWait);
        watchPace(app.isExporting);
        watchPace(app.isComparing);
        watchPace(app.screen);
        const auto library = [&app, &pictures] { pictures.setLibrary(app.scanned()); };
        notifiers_.push_back(std::make_unique<QPropertyNotifier>(app.scanned.onChange(library)));
        library();
        pace();
    }

private:
    std::vector<std::unique_ptr<QPropertyNotifier>> notifiers_{};
};

} // namespace

PictureService* makeLibraryPictures(AppModel& app, QObject* parent)
{
    auto* pictures = new PictureService(app.environment.readPicture, startOnThread, parent);
    new LibraryWatch(app, *pictures);
    return pictures;
}

} // namespace vantorel
