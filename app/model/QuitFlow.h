#pragma once

#include "app/model/AppModel.h"

#include <functional>
#include <memory>

namespace vantorel {

/// What quitting asks of the windows. Main thread.
class QuitWindows {
public:
    enum class Answer { keepRunning, stopAndQuit };

    virtual ~QuitWindows() = default;
    /// Shows the quit question; may call back at once or later.
    virtual void askWhetherToQuit(std::function<void(Answer)> answered) = 0;
    /// Closes what is still attached to a window, and tells whether anything still is.
    virtual bool closeAttachedSheets() = 0;
    /// Asks the application to end, which goes through `QuitFlow::mayTerminate`.
    virtual void terminate() = 0;
};

/// Ends the application: asks while an export runs, stops it at a safe point, closes sheets, and only then
/// quits. Main thread; lives as long as the model and the windows.
class QuitFlow {
public:
    QuitFlow(AppModel& model, std::shared_ptr<MainTimers> timers, QuitWindows& windows);
    QuitFlow(const QuitFlow&) = delete;
    QuitFlow& operator=(const QuitFlow&) = delete;

    /// From the menu, the last window, a log-out or a signal.
    void quit();
    /// The answer to a request to terminate. When it is no, the quit question was started.
    bool mayTerminate();

private:
    void stopAndQuit(int attempt);

    AppModel& model_;
    std::shared_ptr<MainTimers> timers_;
    QuitWindows& windows_;
    bool isAsking_ = false;
    bool quitConfirmed_ = false; ///< The safeguard asked: answered at once, even though an export still runs.
    std::shared_ptr<bool> alive_ =
        std::make_shared<bool>(true); ///< Callbacks look whether this is still there.
};

} // namespace vantorel
