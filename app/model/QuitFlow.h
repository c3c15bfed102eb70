#pragma once

#include "app/model/AppModel.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

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
    /// Whether the application ends; called once, right before it does or when the user keeps it running.
    using Answered = std::function<void(bool ends)>;

    QuitFlow(AppModel& model, std::shared_ptr<MainTimers> timers, QuitWindows& windows);
    QuitFlow(const QuitFlow&) = delete;
    QuitFlow& operator=(const QuitFlow&) = delete;

    /// From the menu, the last window or a log-out.
    void quit(Answered answered = {});
    /// The answer to a request to terminate. When it is no, the quit question was started.
    bool mayTerminate();
    /// The system is about to end the application: stops at a safe point and quits without a question.
    void endSoon();
    /// The computer is about to sleep: calls back when the item that is being saved is in its place, or the
    /// export has ended; at once without one.
    void beforeSleep(std::function<void()> reached);

private:
    void ask();
    void lookForSafePoint();
    void stopAndQuit(int attempt);
    void terminate();
    void answerAll(bool ends);
    void later(Seconds delay, std::function<void()> action);

    AppModel& model_;
    std::shared_ptr<MainTimers> timers_;
    QuitWindows& windows_;
    std::vector<Answered> waiting_{}; ///< Who asked and has no answer yet.
    std::vector<std::function<void()>> sleepWaits_{};
    std::int64_t itemsBeforeSleep_ = 0;
    std::vector<QPropertyNotifier> notifiers_{};
    bool isAsking_ = false;
    bool isEnding_ = false;      ///< The user, or the system, decided: nothing is asked any more.
    bool quitConfirmed_ = false; ///< The safeguard asked: answered at once, even though an export still runs.
    std::shared_ptr<bool> alive_ =
        std::make_shared<bool>(true); ///< Callbacks look whether this is still there.
};

} // namespace vantorel
