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
    notifiers_.push_back(model_.exportProgress.onChange([this] { lookForSafePoint(); }));
    notifiers_.push_back(model_.isExporting.onChange([this] { lookForSafePoint(); }));
}

void QuitFlow::quit(Answered answered)
{
    if (answered) {
        waiting_.push_back(std::move(answered));
    }
    if (isEnding_) {
        return; // it is on its way
    }
    if (model_.isExporting()) {
        ask();
    } else {
        isEnding_ = true;
        stopAndQuit(0);
    }
}

bool QuitFlow::mayTerminate()
{
    if (!model_.isExporting() || quitConfirmed_) {
        return true;
    }
    quit();
    return false;
}

void QuitFlow::endSoon()
{
    if (!std::exchange(isEnding_, true)) {
        stopAndQuit(0);
    }
}

void QuitFlow::beforeSleep(std::function<void()> reached)
{
    sleepWaits_.push_back(std::move(reached));
    itemsBeforeSleep_ = model_.exportProgress().itemsDone;
    lookForSafePoint();
}

void QuitFlow::lookForSafePoint()
{
    if (!model_.isExporting() || model_.exportProgress().itemsDone != itemsBeforeSleep_) {
        for (const auto& reached : std::exchange(sleepWaits_, {})) {
            reached();
        }
    }
}

void QuitFlow::ask()
{
    if (std::exchange(isAsking_, true)) {
        return; // the question is up already
    }
    windows_.askWhetherToQuit([this, alive = std::weak_ptr(alive_)](QuitWindows::Answer answer) {
        if (alive.expired()) {
            return;
        }
        isAsking_ = false;
        if (isEnding_) {
            return; // decided without the user meanwhile, and the question taken away
        }
        if (answer == QuitWindows::Answer::keepRunning) {
            answerAll(false);
        } else {
            isEnding_ = true;
            model_.openExport(); // where it says that it stops
            stopAndQuit(0);
        }
    });
}

void QuitFlow::stopAndQuit(int attempt)
{
    if (model_.isExporting()) {
        model_.setQuitAfterExport([this, alive = std::weak_ptr(alive_)] {
            if (!alive.expired()) {
                stopAndQuit(0);
            }
        });
        model_.stopExport();
        later(longestStop, [this] {
            quitConfirmed_ = true;
            terminate();
        });
        return;
    }
    model_.closeExport();
    if (!windows_.closeAttachedSheets() || attempt >= mostAttempts) {
        terminate();
        return;
    }
    later(sheetMoment, [this, attempt] { stopAndQuit(attempt + 1); });
}

void QuitFlow::terminate()
{
    isEnding_ = false; // should the application stay after all, it can be quit again
    answerAll(true);
    windows_.terminate();
}

void QuitFlow::answerAll(bool ends)
{
    for (const auto& answered : std::exchange(waiting_, {})) {
        answered(ends);
    }
}

void QuitFlow::later(Seconds delay, std::function<void()> action)
{
    timers_->after(delay, [alive = std::weak_ptr(alive_), action = std::move(action)] {
        if (!alive.expired()) {
            action();
        }
    });
}

} // namespace vantorel
