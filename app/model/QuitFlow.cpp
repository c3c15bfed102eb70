#include "app/model/QuitFlow.h"

#include "app/model/MainTimers.h"

#include <utility>

namespace vantorel {

namespace {

/// After a stop the export has this long to come to its safe point.
constexpr Seconds longestStop{5};
/// A sheet takes a moment to go away.
constexpr Seconds sheetMoment{0.05};
constexpr int mostAttempts = 20;

} // namespace

QuitFlow::QuitFlow(AppModel& model, std::shared_ptr<MainTimers> timers, QuitWindows& windows)
    : model_(model)
    , timers_(std::move(timers))
    , windows_(windows)
{
}

void QuitFlow::quit()
{
    if (!model_.isExporting()) {
        stopAndQuit(0);
        return;
    }
    if (std::exchange(isAsking_, true)) {
        return; // the question is up already
    }
    windows_.askWhetherToQuit([this, alive = std::weak_ptr(alive_)](QuitWindows::Answer answer) {
        if (alive.expired()) {
            return;
        }
        isAsking_ = false;
        if (answer == QuitWindows::Answer::stopAndQuit) {
            stopAndQuit(0);
        }
    });
}

bool QuitFlow::mayTerminate()
{
    if (!model_.isExporting() || quitConfirmed_) {
        return true;
    }
    quit();
    return false;
}

void QuitFlow::stopAndQuit(int attempt)
{
    const auto later = [this](Seconds delay, std::function<void()> action) {
        timers_->after(delay, [alive = std::weak_ptr(alive_), action = std::move(action)] {
            if (!alive.expired()) {
                action();
            }
        });
    };
    if (model_.isExporting()) {
        model_.setQuitAfterExport([this, alive = std::weak_ptr(alive_)] {
            if (!alive.expired()) {
                stopAndQuit(0);
            }
        });
        model_.stopExport();
        later(longestStop, [this] {
            quitConfirmed_ = true;
            windows_.terminate();
        });
        return;
    }
    model_.closeExport();
    if (!windows_.closeAttachedSheets() || attempt >= mostAttempts) {
        windows_.terminate();
        return;
    }
    later(sheetMoment, [this, attempt] { stopAndQuit(attempt + 1); });
}

} // namespace vantorel
