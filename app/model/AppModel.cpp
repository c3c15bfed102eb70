#include "app/model/AppModel.h"

#include "app/model/AppModelWork.h"
#include "app/model/MainTimers.h"
#include "app/model/SavedOptions.h"

#include <QtCore/qpointer.h>

namespace vantorel {

AppModel::AppModel(AppEnvironment given, AppServices services, QObject* parent)
    : QObject(parent)
    , environment(std::move(given))
    , services_(std::move(services))
    , mailbox_(std::make_shared<Mailbox>(this))
    , scanNotice_(services_.timers, [this](DiskWait wait) { scanWait.set(wait); })
    , compareNotice_(services_.timers, [this](DiskWait wait) { compareWait.set(wait); })
    , exportNotice_(services_.timers, [this](DiskWait wait) { exportWait.set(wait); })
{
    readSavedOptions();
    if (services_.settings->flag(settingsKeys::onboardingDone)) {
        screen.set(Screen::sources);
        hasFullDiskAccess.set(environment.fullDiskAccess());
        lookForLibraries();
    }
}

AppModel::~AppModel()
{
    mailbox_->close();
    for (const auto& token : {findToken_, scanToken_, compareToken_, exportToken_}) {
        if (token) {
            token->cancel();
        }
    }
}

void AppModel::readSavedOptions()
{
    const auto saved = services_.settings->bytes(settingsKeys::exportOptions);
    if (const auto options = saved ? savedExportOptions(*saved) : std::nullopt) {
        exportOptions.set(*options);
    }
    itemsLook.set(savedItemsLook(services_.settings->text(settingsKeys::itemsLook).value_or("")));
}

void AppModel::later(Seconds delay, std::function<void()> action)
{
    services_.timers->after(delay, [model = QPointer(this), action = std::move(action)] {
        if (model) {
            action();
        }
    });
}

void AppModel::finishOnboarding()
{
    services_.settings->setFlag(settingsKeys::onboardingDone, true);
    hasFullDiskAccess.set(environment.fullDiskAccess());
    lookForLibraries();
    screen.set(Screen::sources);
}

bool AppModel::hasSeenWelcome() const { return services_.settings->flag(settingsKeys::seenWelcome); }

void AppModel::setWelcomeSeen() { services_.settings->setFlag(settingsKeys::seenWelcome, true); }

void AppModel::recheckFullDiskAccess() { hasFullDiskAccess.set(environment.fullDiskAccess()); }

void AppModel::applicationBecameActive()
{
    const bool had = hasFullDiskAccess();
    recheckFullDiskAccess();
    if (hasFullDiskAccess() != had && screen() != Screen::onboarding) {
        lookForLibraries();
    }
}

void AppModel::volumesChanged()
{
    // Nobody was asked yet to let the program read disks.
    if (screen() != Screen::onboarding) {
        lookForLibraries();
    }
}

void AppModel::setTab(ResultTab chosen) { tab.set(chosen); }

void AppModel::setItemsLook(const ItemsLook& look)
{
    if (look != itemsLook()) {
        itemsLook.set(look);
        services_.settings->setText(settingsKeys::itemsLook, savedForm(look));
    }
}

void AppModel::showLimited(std::optional<OriginalClass> filter)
{
    limitedFilter.set(filter);
    tab.set(ResultTab::notSaved);
}

void AppModel::showSources()
{
    if (screen() == Screen::results) {
        closeExport();
        screen.set(Screen::sources);
    }
}

void AppModel::showResults()
{
    if (screen() == Screen::sources && scanned()) {
        screen.set(Screen::results);
    }
}

void AppModel::beginActivity(const std::string& reason)
{
    ++activityUsers_;
    if (!activity_) {
        activity_ = services_.desktop->beginActivity(reason);
    }
}

void AppModel::endActivity()
{
    if (--activityUsers_ == 0) {
        activity_.reset();
    }
}

void AppModel::announce(const std::string& text) { services_.desktop->announce(text); }

} // namespace vantorel
